#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Helpers/FanPreset.h"
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

/// The user's presets, before anything is started; nothing where they cannot be told without it.
inline std::optional<std::vector<FanPreset>> storedCustomPresets(bool) {
  return std::nullopt;
}

/// The folder that should have a simulated machine and has none; nothing when all is well.
inline std::optional<std::string> folderWithoutMachine(const RuntimeLayout&) {
  return std::nullopt;
}

}  // namespace halcyra
