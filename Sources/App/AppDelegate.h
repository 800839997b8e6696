#pragma once

#include <functional>
#include <memory>
#include <string>

#include "App/AppModel.h"
#include "Platform/Platform.h"

namespace halcyra {

/// The answer to a request to quit.
enum class TerminateReply { terminateNow, terminateLater };

/// What the process was started for.
struct LaunchFlags {
  bool refreshHelperRegistration = false;
  bool installHelper = false;
};

/// What the delegate needs of the process.
struct AppDelegateSurroundings {
  /// Ends the process without another question.
  std::function<void()> terminate;
  std::function<void(const std::string&)> standardOutput;
  std::function<void(const std::string&)> standardError;
  /// Makes the update manager, which starts the updater.
  std::function<void()> startUpdates;
  /// Quitting waits for the helper for so long that a person wonders.
  std::function<void()> waitsForHandBack = [] {};
  /// The hand-back could not be confirmed: shows which fans and why, and ends the process when that has been read.
  std::function<void(const std::string&)> handBackFailed = {};
};

/// Launch and quit of the application. Main queue only.
class AppDelegate : public std::enable_shared_from_this<AppDelegate> {
 public:
  static constexpr int registrationAttempts = 3;
  static constexpr Seconds registrationRetryDelay{2.0};

  /// `platform` must outlive the delegate.
  AppDelegate(Platform& platform, std::shared_ptr<AppModel> model, LaunchFlags flags,
              AppDelegateSurroundings surroundings);

  void applicationDidFinishLaunching();
  /// After `terminateLater` the process is ended once the fans have been handed back; what cannot be confirmed within
  /// `HandBack::patience` is said first.
  TerminateReply applicationShouldTerminate();

 private:
  void refreshRegistration();
  void registerHelper(int attempt);

  Platform& platform_;
  std::shared_ptr<AppModel> model_;
  LaunchFlags flags_;
  AppDelegateSurroundings surroundings_;
  bool terminationPending_ = false;
  std::unique_ptr<Timer> retry_;
};

}  // namespace halcyra
