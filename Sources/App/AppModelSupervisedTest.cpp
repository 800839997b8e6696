#include <utility>

#include "fmt/format.h"

#include "App/AppModel.h"
#include "App/AppModelReplies.h"
#include "App/ClientFailure.h"
#include "App/HelperPreflight.h"

namespace halcyra {

void AppModel::runSupervisedFan0Test() {
  if (*fanControlOwnership_ == FanControlOwnership::anotherApp) {
    lastError_ =
        "Aerovane is in monitoring-only mode. Change fan-control ownership in Settings before running the write test.";
    return;
  }
  if (!*thermalControlSupported_) {
    lastError_ =
        "The supervised write test is unavailable because this Mac's fan topology has not been hardware-validated. "
        "Monitoring remains available.";
    return;
  }
  if (*helperState_ != HelperInstallState::enabled || *isBusy_ || powerLifecycle_.isSleeping() || isTerminating_) {
    return;
  }
  if (competingController_->has_value()) {
    // Not the conflict's message: that one is left to a banner, which Apple Default does not have.
    lastError_ = fmt::format("{} may write to the fans as well. Close or remove it before running the write test.",
                             **competingController_);
    return;
  }
  isBusy_ = true;
  supervisedTestRunning_ = true;
  lastError_ = std::nullopt;
  const std::uint64_t generation = controlGeneration_;
  helper_->beginSession(onSessionStart(
      generation, [generation](AppModel& self, const PropertyList& status, const std::optional<Error>& error) {
        if (error) {
          self.finishFailedTest(*error);
        } else {
          self.beginSupervisedTest(status, generation);
        }
      }));
}

void AppModel::beginSupervisedTest(const PropertyList& status, std::uint64_t generation) {
  const auto fan = preflightIsClean(status) ? supervisedFan(status) : std::nullopt;
  const auto target = fan ? supervisedTestTarget(*fan) : std::nullopt;
  if (!target) {
    finishFailedTest(ClientFailure::error(ClientFailure::Case::abnormalPreflight));
    return;
  }
  askForManualMode(
      fan->index, onMainWithin(generation, [index = fan->index, target = *target, generation](
                                               AppModel& self, const PropertyList&, const std::optional<Error>& error) {
        if (error) {
          self.finishFailedTest(*error);
        } else {
          self.writeSupervisedTarget(index, target, generation);
        }
      }));
}

void AppModel::writeSupervisedTarget(int fan, std::int64_t target, std::uint64_t generation) {
  helper_->setTarget(fan, target,
                     onMainWithin(generation, [generation](AppModel& self, const PropertyList&,
                                                           const std::optional<Error>& writeError) {
                       self.helper_->resetAll(
                           self.onMainWithin(generation, [writeError](AppModel& model, const PropertyList& resetReply,
                                                                      const std::optional<Error>& resetError) {
                             model.finishSupervisedTest(writeError, resetReply, resetError);
                           }));
                     }));
}

void AppModel::finishSupervisedTest(const std::optional<Error>& writeError, const PropertyList& resetReply,
                                    const std::optional<Error>& resetError) {
  if (writeError) {
    finishFailedTest(*writeError);
  } else if (resetError) {
    finishFailedTest(*resetError);
  } else if (preflightIsClean(resetReply)) {
    passSupervisedTest();
  } else {
    finishFailedTest(ClientFailure::error(ClientFailure::Case::resetUnverified));
  }
}

void AppModel::passSupervisedTest() {
  supervisedTestRunning_ = false;
  supervisedTestPassed_ = true;
  platform_.userDefaults.setInteger("supervisedFanTestProtocolVersion", supervisedTestProtocolVersion);
  lastError_ = std::nullopt;
  helper_->endSession(onMainWithin(controlGeneration_, [](AppModel& self, const std::optional<Error>&) {
    self.isBusy_ = false;
    self.poll();
  }));
}

void AppModel::finishFailedTest(const Error& error) {
  supervisedTestRunning_ = false;
  handBack([weak = weak_from_this(), generation = controlGeneration_, error](const HandBack& result) {
    const auto self = weak.lock();
    if (!self) {
      return;
    }
    self->showError(result.resetError.value_or(error));
    if (self->controlGeneration_ == generation) {
      self->isBusy_ = false;
    }
    self->poll();
  });
}

void AppModel::interruptSupervisedTest(const std::string& reason) {
  if (std::exchange(supervisedTestRunning_, false)) {
    lastError_ =
        reason == activeConflictMessage_ ? reason : fmt::format("The supervised fan test was interrupted: {}", reason);
  }
}

}  // namespace halcyra
