#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "Platform/Linux/LogSinks.h"
#include "Platform/Linux/PlainMainQueue.h"
#include "Platform/Linux/RuntimeLayout.h"
#include "Platform/Platform.h"

namespace halcyra {

class LinuxServiceManagement;

struct LinuxPlatformOptions {
  RuntimeLayout layout = RuntimeLayout::system();
  /// The settings file; nothing: `defaultsFilePath(layout)`.
  std::optional<std::filesystem::path> defaultsFile;
  LogDestination log = LogDestination::automatic;
  LogLevel minimumLogLevel = LogLevel::info;
  /// The helper daemon's program; nothing: `aerovane-helper` beside the running program.
  std::optional<std::filesystem::path> helperProgram;
  /// The main queue of another event loop, which then runs the main thread; must outlive the platform.
  /// Null: a `PlainMainQueue`.
  Queue* mainQueue = nullptr;
  /// The desktop's own; must outlive the platform. Null: no panels.
  Workspace* workspace = nullptr;
  /// Null: `org.freedesktop.Notifications` on the session bus.
  UserNotifications* notifications = nullptr;
};

/// Everything that the application takes from Linux, made and owned together. To be made and destroyed on the main
/// thread; destruction waits for the threads that it started.
class LinuxPlatform {
 public:
  explicit LinuxPlatform(const LinuxPlatformOptions& options);
  ~LinuxPlatform();
  LinuxPlatform(const LinuxPlatform&) = delete;
  LinuxPlatform& operator=(const LinuxPlatform&) = delete;

  Platform& platform();
  const RuntimeLayout& layout() const;

  /// The loop to run in the main thread. Not to be used when another main queue was given.
  PlainMainQueue& mainQueue();

  /// For `approve`, which the application's own interface does not have.
  LinuxServiceManagement& serviceManagement();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

/// `$XDG_CONFIG_HOME/aerovane`, or `~/.config/aerovane`.
std::filesystem::path configurationFolder();
/// The settings of the real machine, or those that all simulated ones share: a simulation changes nothing of the
/// former.
std::filesystem::path defaultsFilePath(const RuntimeLayout& layout);

}  // namespace halcyra
