#pragma once

#include <stdexcept>
#include <string_view>
#include <utility>

#include "XPC/HelperXPCError.h"

namespace halcyra {

/// Thrown by the work of a message: the error that it is answered with.
class HelperFailure : public std::runtime_error {
 public:
  /// Without a description the client shows its own text for the code.
  explicit HelperFailure(HelperXPCError::Code code) : HelperFailure(HelperXPCError::make(code)) {}
  HelperFailure(HelperXPCError::Code code, std::string_view description)
      : HelperFailure(HelperXPCError::make(code, description)) {}

  const Error& error() const { return error_; }

 private:
  explicit HelperFailure(Error error) : std::runtime_error(error.localizedDescription()), error_(std::move(error)) {}

  Error error_;
};

}  // namespace halcyra
