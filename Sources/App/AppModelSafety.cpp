#include <utility>

#include "fmt/format.h"

#include "App/AppModel.h"
#include "App/AppModelReplies.h"
#include "SMC/FanCapability.h"

namespace halcyra {

void AppModel::observePowerLifecycle() {
  observesPower_ = true;
  platform_.power.observe(
      [weak = weak_from_this()](std::function<void()> allowSleep) {
        if (const auto self = weak.lock()) {
          self->willSleep(std::move(allowSleep));
        } else {
          allowSleep();
        }
      },
      [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
          self->didWake();
        }
      });
}

void AppModel::willSleep(std::function<void()> allowSleep) {
  powerLifecycle_.willSleep();
  timer_.reset();
  conflictTimer_.reset();
  pollRequested_ = false;
  clearDerivedThermalState();
  resetToAutomatic("system sleep", true, false, std::move(allowSleep));
}

void AppModel::didWake() {
  powerLifecycle_.didWake();
  clearDerivedThermalState();
  requestCompetingControllerRefresh();
  restartPolling();
}

void AppModel::requestCompetingControllerRefresh() {
  if (competingControllerRefresh_.request()) {
    runCompetingControllerRefresh();
  }
}

void AppModel::runCompetingControllerRefresh() {
  auto apply = onMain([](AppModel& self, const std::optional<std::string>& name) {
    self.applyCompetingController(name);
    if (self.competingControllerRefresh_.complete()) {
      self.runCompetingControllerRefresh();
    }
  });
  competingControllerQueue_->async(
      [&system = platform_.system, apply] { apply(CompetingFanControllerDetector::runningController(system)); });
}

void AppModel::startConflictMonitor() {
  if (conflictTimer_ || powerLifecycle_.isSleeping() || isTerminating_) {
    return;
  }
  conflictTimer_ = platform_.dispatch.mainQueue().startTimer(conflictScanPeriod, conflictScanPeriod, Seconds{0},
                                                             [weak = weak_from_this()] {
                                                               if (const auto self = weak.lock()) {
                                                                 self->requestCompetingControllerRefresh();
                                                               }
                                                             });
}

void AppModel::applyCompetingController(const std::optional<std::string>& name) {
  if (name != *competingController_) {
    if (name) {
      noteCompetingController(*name);
    } else {
      noteCompetingControllerGone();
    }
  } else if (*fanControlOwnership_ == FanControlOwnership::anotherApp) {
    conflictTimer_.reset();
  } else if (name) {
    startConflictMonitor();
  }
}

void AppModel::noteCompetingController(const std::string& name) {
  competingController_ = name;
  logger_.error(fmt::format("competing fan controller detected: {}", name));
  const bool showedOldMessage = activeConflictMessage_ && *lastError_ == activeConflictMessage_;
  if (*fanControlOwnership_ == FanControlOwnership::anotherApp) {
    conflictTimer_.reset();
    clearConflictMessage();
    return;
  }
  startConflictMonitor();
  const std::string message = conflictMessage(name);
  activeConflictMessage_ = message;
  const bool presetSelected = activePreset_->kind != PresetKind::system;
  if (presetSelected || showedOldMessage) {
    lastError_ = message;
  }
  if (presetSelected) {
    keepSelectionForRestore();
    nextRestoreAttempt_ = restoreBlocked;
  }
  // Busy without a session: the start of one is out, and must not lead to driven fans any more.
  if (supervisedTestRunning_ || (presetSelected && (hasHelperSession() || *isBusy_))) {
    resetToAutomatic(message, true, true, {});
  }
}

void AppModel::noteCompetingControllerGone() {
  competingController_ = std::nullopt;
  conflictTimer_.reset();
  logger_.log("competing fan controller cleared; saved preset may resume");
  clearConflictMessage();
  nextRestoreAttempt_ = restoreAtOnce;
  if (*fanControlOwnership_ == FanControlOwnership::aerovane) {
    keepSelectionForRestore();
  }
}

void AppModel::clearConflictMessage() {
  const auto message = std::exchange(activeConflictMessage_, std::nullopt);
  if (message && *lastError_ == message) {
    lastError_ = std::nullopt;
  }
}

void AppModel::setFanControlOwnership(FanControlOwnership ownership) {
  if (ownership == *fanControlOwnership_) {
    return;
  }
  fanControlOwnership_ = ownership;
  ownershipStore_.save(ownership);
  if (ownership == FanControlOwnership::anotherApp) {
    logger_.log("fan-control ownership changed to another app; entering monitoring-only mode");
    conflictTimer_.reset();
    clearConflictMessage();
    nextRestoreAttempt_ = restoreBlocked;
    resetToAutomatic("another app selected as fan controller", true, true, {});
    return;
  }
  logger_.log("fan-control ownership changed to Aerovane");
  postponeRestore(ownershipRestoreDelay);
  if (competingController_->has_value()) {
    activeConflictMessage_ = conflictMessage(**competingController_);
    lastError_ = activeConflictMessage_;
    startConflictMonitor();
  } else {
    keepSelectionForRestore();
  }
  requestCompetingControllerRefresh();
  poll();
}

void AppModel::prepareForTermination(std::function<void()> completion) {
  isTerminating_ = true;
  timer_.reset();
  conflictTimer_.reset();
  powerLifecycle_.invalidatePendingPolls();
  pollRequested_ = false;
  resetToAutomatic("application termination", true, false,
                   [weak = weak_from_this(), completion = std::move(completion)] {
                     if (const auto self = weak.lock()) {
                       self->helper_->invalidate();
                       self->telemetryPoller_->close();
                     }
                     if (completion) {
                       completion();
                     }
                   });
}

}  // namespace halcyra
