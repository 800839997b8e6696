#include "Platform/Linux/LinuxPlatform.h"

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>
#include <utility>

#include "Platform/Linux/AdministratorPrompt.h"
#include "Platform/Linux/BusThread.h"
#include "Platform/Linux/DBusHelperConnections.h"
#include "Platform/Linux/JSONUserDefaults.h"
#include "Platform/Linux/LinuxActivityAssertions.h"
#include "Platform/Linux/LinuxClock.h"
#include "Platform/Linux/LinuxDesktop.h"
#include "Platform/Linux/LinuxFiles.h"
#include "Platform/Linux/LinuxIOKit.h"
#include "Platform/Linux/LinuxServiceManagement.h"
#include "Platform/Linux/LinuxSystemInformation.h"
#include "Platform/Linux/LogindPowerEvents.h"
#include "Platform/Linux/ThreadQueue.h"
#include "Platform/Precondition.h"

namespace halcyra {

namespace {

std::filesystem::path helperProgram(const LinuxPlatformOptions& options) {
  return options.helperProgram.value_or(siblingProgram("aerovane-helper"));
}

LinuxServiceManagementOptions serviceManagementOptions(const LinuxPlatformOptions& options,
                                                       AdministratorPrompt& administrator) {
  LinuxServiceManagementOptions result;
  result.layout = options.layout;
  result.helperProgram = helperProgram(options);
  result.userID = geteuid();
  // The records of a simulated machine belong to whoever runs it; those of the real one to root.
  if (options.layout.isSystem() && result.userID != 0) {
    result.askAdministrator = [&administrator] { administrator.ask(); };
  }
  std::error_code error;
  result.applicationProgram = std::filesystem::read_symlink("/proc/self/exe", error);
  result.autostartEntry = autostartEntryPath();
  return result;
}

std::filesystem::path homeFolder() {
  if (const char* home = std::getenv("HOME"); home != nullptr && home[0] == '/') {
    return home;
  }
  const passwd* user = getpwuid(geteuid());
  return user != nullptr && user->pw_dir != nullptr ? user->pw_dir : "/";
}

}  // namespace

struct LinuxPlatform::Parts {
  explicit Parts(const LinuxPlatformOptions& options)
      : layout(options.layout),
        ownMainQueue(options.mainQueue == nullptr ? std::make_unique<PlainMainQueue>() : nullptr),
        dispatch(options.mainQueue != nullptr ? *options.mainQueue : static_cast<Queue&>(*ownMainQueue)),
        log(makeLogSink(options.log, options.minimumLogLevel)),
        iokit(layout.smcSocket),
        machineBus(busOpener(layout.busAddress)),
        systemBus(busOpener({})),
        sessionBus(sessionBusOpener()),
        helper(machineBus),
        administrator(helperProgram(options), geteuid(), *log),
        serviceManagement(serviceManagementOptions(options, administrator), *log),
        userDefaults(options.defaultsFile.value_or(defaultsFilePath(layout)), *log),
        system(layout.hardwareModel, layout.folder),
        activities(systemBus),
        power(machineBus, dispatch.mainQueue(), *log),
        ownNotifications(sessionBus),
        platform{clock,
                 dispatch,
                 *log,
                 iokit,
                 helper,
                 serviceManagement,
                 userDefaults,
                 system,
                 activities,
                 power,
                 options.notifications != nullptr ? *options.notifications : ownNotifications,
                 options.workspace != nullptr ? *options.workspace : ownWorkspace,
                 files} {}

  /// Replies that are out, and work that waits, may hold the last reference to whoever uses this platform: they go
  /// while all of it is still there.
  ~Parts() {
    machineBus.stop();
    systemBus.stop();
    sessionBus.stop();
    if (ownMainQueue) {
      ownMainQueue->close();
    }
  }
  Parts(const Parts&) = delete;
  Parts& operator=(const Parts&) = delete;

  RuntimeLayout layout;
  LinuxClock clock;
  std::unique_ptr<PlainMainQueue> ownMainQueue;
  LinuxDispatch dispatch;
  std::unique_ptr<LogSink> log;
  LinuxIOKit iokit;
  // Before everything that uses a bus, so that the threads end after it.
  BusThread machineBus;
  BusThread systemBus;
  BusThread sessionBus;
  DBusHelperConnections helper;
  AdministratorPrompt administrator;
  LinuxServiceManagement serviceManagement;
  JSONUserDefaults userDefaults;
  LinuxSystemInformation system;
  LinuxActivityAssertions activities;
  LogindPowerEvents power;
  DBusUserNotifications ownNotifications;
  ConsoleWorkspace ownWorkspace;
  LinuxFiles files;
  Platform platform;
};

LinuxPlatform::LinuxPlatform(const LinuxPlatformOptions& options) : parts_(std::make_unique<Parts>(options)) {}

LinuxPlatform::~LinuxPlatform() = default;

Platform& LinuxPlatform::platform() {
  return parts_->platform;
}

const RuntimeLayout& LinuxPlatform::layout() const {
  return parts_->layout;
}

PlainMainQueue& LinuxPlatform::mainQueue() {
  precondition(parts_->ownMainQueue != nullptr, "the main queue belongs to another event loop");
  return *parts_->ownMainQueue;
}

LinuxServiceManagement& LinuxPlatform::serviceManagement() {
  return parts_->serviceManagement;
}

std::filesystem::path configurationFolder() {
  // A relative path is not allowed there and counts as none.
  if (const char* folder = std::getenv("XDG_CONFIG_HOME"); folder != nullptr && folder[0] == '/') {
    return std::filesystem::path(folder) / "aerovane";
  }
  return homeFolder() / ".config" / "aerovane";
}

std::filesystem::path defaultsFilePath(const RuntimeLayout& layout) {
  return configurationFolder() / (layout.isSystem() ? "defaults.json" : "simulated-defaults.json");
}

}  // namespace halcyra
