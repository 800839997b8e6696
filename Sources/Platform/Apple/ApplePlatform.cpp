#include "Platform/Apple/ApplePlatform.h"

#include "Platform/Apple/AppleActivityAssertions.h"
#include "Platform/Apple/AppleClock.h"
#include "Platform/Apple/AppleIOKit.h"
#include "Platform/Apple/AppleServiceManagement.h"
#include "Platform/Apple/AppleSystemInformation.h"
#include "Platform/Apple/AppleUserNotifications.h"
#include "Platform/Apple/CodeSigning.h"
#include "Platform/Apple/PreferencesUserDefaults.h"
#include "Platform/Apple/SystemPowerEvents.h"
#include "Platform/Apple/UnifiedLogSink.h"
#include "Platform/Apple/XPCHelperConnections.h"
#include "Platform/POSIX/POSIXFiles.h"
#include "Platform/Precondition.h"
#include "XPC/FanControlXPC.h"

namespace halcyra {

namespace {

/// A program without a desktop: nothing is chosen in a panel, and there is nothing to bring to the front.
class NoWorkspace : public Workspace {
 public:
  std::optional<std::string> runSavePanel(const std::string&) override { return std::nullopt; }
  std::optional<std::string> runOpenPanel() override { return std::nullopt; }
  void activateApplication() override {}
};

}  // namespace

struct ApplePlatform::Parts {
  explicit Parts(const ApplePlatformOptions& options)
      : ownMainQueue(options.mainQueue == nullptr ? std::make_unique<GCDMainQueue>() : nullptr),
        dispatch(options.mainQueue != nullptr ? *options.mainQueue : static_cast<Queue&>(*ownMainQueue)),
        log(options.standardErrorFrom),
        helper(std::string(FanControlXPC::machServiceName), teamRequirement(signingTeam())),
        userDefaults(std::string(FanControlXPC::clientBundleIdentifier), log),
        power(dispatch.mainQueue(), log),
        platform{clock,        dispatch,      log,
                 iokit,        helper,        serviceManagement,
                 userDefaults, system,        activities,
                 power,        notifications, options.workspace != nullptr ? *options.workspace : ownWorkspace,
                 files} {
    if (signingTeam().empty()) {
      Logger(log, "com.norwick.Halcyra", "Helper").log("a build without a signature: the helper's is not checked");
    }
  }

  /// Work that waits may hold the last reference to whoever uses this platform: it goes while all of it is still there.
  ~Parts() {
    if (ownMainQueue) ownMainQueue->close();
  }
  Parts(const Parts&) = delete;
  Parts& operator=(const Parts&) = delete;

  AppleClock clock;
  std::unique_ptr<GCDMainQueue> ownMainQueue;
  GCDDispatch dispatch;
  UnifiedLogSink log;
  AppleIOKit iokit;
  XPCHelperConnections helper;
  AppleServiceManagement serviceManagement;
  PreferencesUserDefaults userDefaults;
  AppleSystemInformation system;
  AppleActivityAssertions activities;
  SystemPowerEvents power;
  AppleUserNotifications notifications;
  NoWorkspace ownWorkspace;
  POSIXFiles files;
  Platform platform;
};

ApplePlatform::ApplePlatform(const ApplePlatformOptions& options) : parts_(std::make_unique<Parts>(options)) {}

ApplePlatform::~ApplePlatform() = default;

Platform& ApplePlatform::platform() {
  return parts_->platform;
}

GCDMainQueue& ApplePlatform::mainQueue() {
  precondition(parts_->ownMainQueue != nullptr, "the main queue belongs to another event loop");
  return *parts_->ownMainQueue;
}

void ApplePlatform::openApprovalSettings() {
  parts_->serviceManagement.openSystemSettingsLoginItems();
}

}  // namespace halcyra
