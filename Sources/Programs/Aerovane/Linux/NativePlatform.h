#pragma once

#include <optional>
#include <string>

#include "Helpers/FanCurveManager.h"
#include "Platform/Linux/JSONUserDefaults.h"
#include "Platform/Linux/LinuxPlatform.h"
#include "Platform/Linux/LinuxServiceManagement.h"
#include "XPC/FanControlXPC.h"

/// The operating system that the application is built for; the build names the folder.
namespace halcyra {

using NativePlatform = LinuxPlatform;
using NativePlatformOptions = LinuxPlatformOptions;

inline void logToStandardError(NativePlatformOptions& options, LogLevel minimum) {
  options.log = LogDestination::standardError;
  options.minimumLogLevel = minimum;
}

inline void approveHelper(NativePlatform& native) {
  native.serviceManagement().approve(std::string(FanControlXPC::daemonPlistName));
}

/// Settings that cannot be stored live on in memory; for a program that ends they are lost. Where they could not be
/// written; nothing when the presets are stored.
inline std::optional<std::string> placeOfLostPresets(NativePlatform& native) {
  const JSONUserDefaults stored(defaultsFilePath(), native.platform().log);
  const bool isStored =
      stored.data(FanCurveManager::storageKey) == native.platform().userDefaults.data(FanCurveManager::storageKey);
  return isStored ? std::nullopt : std::optional(defaultsFilePath().string());
}

}  // namespace halcyra
