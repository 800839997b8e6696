#pragma once

#include <optional>
#include <string>

#include "Platform/Apple/ApplePlatform.h"

/// The operating system that the application is built for; the build names the folder.
namespace halcyra {

using NativePlatform = ApplePlatform;
using NativePlatformOptions = ApplePlatformOptions;
using RuntimeLayout = AppleRuntimeLayout;

inline void logToStandardError(NativePlatformOptions& options, LogLevel minimum) {
  options.standardErrorFrom = minimum;
}

inline void approveHelper(NativePlatform& native) {
  native.openApprovalSettings();
}

/// Settings that cannot be stored live on in memory; for a program that ends they are lost. Where they could not be
/// written; nothing when the presets are stored.
inline std::optional<std::string> placeOfLostPresets(NativePlatform& native) {
  return native.areSettingsStored() ? std::nullopt : std::optional<std::string>("the system's preferences");
}

}  // namespace halcyra
