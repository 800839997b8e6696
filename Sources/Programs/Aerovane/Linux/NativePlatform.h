#pragma once

#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <string>
#include <sys/file.h>
#include <unistd.h>
#include <vector>

#include "Helpers/FanCurveManager.h"
#include "Platform/Linux/JSONUserDefaults.h"
#include "Platform/Linux/LinuxPlatform.h"
#include "Platform/Linux/LinuxServiceManagement.h"
#include "Platform/Linux/LogSinks.h"
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

/// The user's presets, before anything is started; nothing where they cannot be told without it.
inline std::optional<std::vector<FanPreset>> storedCustomPresets(bool isSimulated) {
  StandardErrorLogSink log(LogLevel::error);
  JSONUserDefaults settings(defaultsFilePath(isSimulated ? RuntimeLayout::inFolder("/any") : RuntimeLayout::system()),
                            log);
  return FanCurveManager(settings).loadCustomPresets();
}

/// The folder that should have a simulated machine and has none; nothing when all is well. A simulated machine keeps
/// the record of its process locked.
inline std::optional<std::string> folderWithoutMachine(const RuntimeLayout& layout) {
  if (layout.isSystem()) return std::nullopt;
  const int record = ::open(layout.machineProcessID.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  const bool isHeld = record >= 0 && ::flock(record, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  if (record >= 0) ::close(record);
  return isHeld ? std::nullopt : std::optional(layout.folder->string());
}

}  // namespace halcyra
