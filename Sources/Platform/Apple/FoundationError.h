#pragma once

// For Objective-C++ files alone.

#import <Foundation/Foundation.h>
#include <string>

#include "Platform/Error.h"

namespace halcyra {

inline std::string textOf(NSString* text) {
  const char* const bytes = text.UTF8String;
  return bytes != nullptr ? bytes : "";
}

inline Error errorOf(NSError* error) {
  return Error(textOf(error.domain), error.code, textOf(error.localizedDescription));
}

}  // namespace halcyra
