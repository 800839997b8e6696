#include "App/AppDelegate.h"

#include <utility>

#include "fmt/format.h"

#include "XPC/FanControlXPC.h"

namespace halcyra {

namespace {

std::string helperName() {
  return std::string(FanControlXPC::daemonPlistName);
}

}  // namespace

AppDelegate::AppDelegate(Platform& platform, std::shared_ptr<AppModel> model, LaunchFlags flags,
                         AppDelegateSurroundings surroundings)
    : platform_(platform), model_(std::move(model)), flags_(flags), surroundings_(std::move(surroundings)) {}

void AppDelegate::applicationDidFinishLaunching() {
  if (flags_.refreshHelperRegistration) {
    refreshRegistration();
    return;
  }
  surroundings_.startUpdates();
  if (flags_.installHelper) model_->installHelper();
}

TerminateReply AppDelegate::applicationShouldTerminate() {
  if (flags_.refreshHelperRegistration) return TerminateReply::terminateNow;
  if (!terminationPending_) {
    terminationPending_ = true;
    platform_.dispatch.mainQueue().async([self = shared_from_this()] {
      self->model_->prepareForTermination(
          [self] {
            const auto failure = self->model_->handBackFailure();
            if (failure && self->surroundings_.handBackFailed) {
              self->surroundings_.handBackFailed(*failure);
            } else {
              self->surroundings_.terminate();
            }
          },
          self->surroundings_.waitsForHandBack);
    });
  }
  return TerminateReply::terminateLater;
}

void AppDelegate::refreshRegistration() {
  try {
    platform_.serviceManagement.unregisterDaemon(helperName());
  } catch (...) {
    surroundings_.standardError(
        fmt::format("Aerovane helper unregister failed: {}\n", currentExceptionAsError().localizedDescription()));
    surroundings_.terminate();
    return;
  }
  platform_.dispatch.mainQueue().async([self = shared_from_this()] { self->registerHelper(1); });
}

void AppDelegate::registerHelper(int attempt) {
  try {
    platform_.serviceManagement.registerDaemon(helperName());
    surroundings_.standardOutput(fmt::format("Aerovane helper registration refreshed: {}\n",
                                             platform_.serviceManagement.daemonStatus(helperName())));
    surroundings_.terminate();
  } catch (...) {
    surroundings_.standardError(fmt::format("Aerovane helper register failed (attempt {}): {}\n", attempt,
                                            currentExceptionAsError().localizedDescription()));
    if (attempt == registrationAttempts) {
      surroundings_.terminate();
      return;
    }
    const std::weak_ptr<AppDelegate> weak = weak_from_this();
    retry_ = platform_.dispatch.mainQueue().startTimer(registrationRetryDelay, Seconds{0}, Seconds{0}, [weak, attempt] {
      if (const auto self = weak.lock()) {
        self->registerHelper(attempt + 1);
      }
    });
  }
}

}  // namespace halcyra
