#include <algorithm>
#include <string_view>
#include <utility>

#include "fmt/format.h"

#include "App/AppModel.h"
#include "App/AppModelReplies.h"
#include "App/ClientFailure.h"
#include "App/HelperPreflight.h"
#include "Helpers/SmartAutoDecision.h"
#include "XPC/HelperXPCError.h"

namespace halcyra {

namespace {

constexpr const char* monitoringOnlyMessage =
    "Aerovane is in monitoring-only mode. Choose “Aerovane controls fans” in Settings before applying a preset.";
constexpr const char* noFansMessage =
    "No controllable fans are currently available. Aerovane will retry when they return.";
constexpr const char* notReadyMessage = "Approve the helper and complete the supervised fan test first.";

}  // namespace

void AppModel::activate(const FanPreset& preset, bool quietTransientRetry) {
  if (*isBusy_ || powerLifecycle_.isSleeping() || isTerminating_) {
    return;
  }
  nextRestoreAttempt_ = restoreAtOnce;
  if (preset.kind == PresetKind::system) {
    activateAppleDefault();
    return;
  }
  if (refuseActivation()) {
    return;
  }
  // A copy: the argument may be one of the model's own presets.
  const FanPreset selected = preset;
  select(selected);
  if (!deferActivation()) {
    beginActivation(selected, quietTransientRetry);
  }
}

void AppModel::activateAppleDefault() {
  presetPendingRestore_.reset();
  selectionStore_.save(FanPreset::systemDefault());
  if (*lastError_ == activeConflictMessage_) {
    lastError_ = std::nullopt;
  }
  resetToAutomatic("apple default selected", false, true, {});
}

bool AppModel::refuseActivation() {
  if (*fanControlOwnership_ == FanControlOwnership::anotherApp) {
    lastError_ = monitoringOnlyMessage;
    return true;
  }
  if (*thermalControlSupported_) {
    return false;
  }
  lastError_ = fmt::format(
      "Fan control is hardware-verified only on Mac15,11. This {} remains in safe monitoring-only mode until its "
      "sensor and fan topology is validated.",
      hardwareModelIdentifier_);
  if (hasHelperSession()) {
    resetToAutomatic("unverified hardware topology", true, true, {});
  }
  return true;
}

void AppModel::select(const FanPreset& preset) {
  activePreset_ = preset;
  presetPendingRestore_ = preset;
  selectionStore_.save(preset);
  openControlGeneration();
}

bool AppModel::deferActivation() {
  if (competingController_->has_value()) {
    activeConflictMessage_ = conflictMessage(**competingController_);
    lastError_ = activeConflictMessage_;
    nextRestoreAttempt_ = restoreBlocked;
    return true;
  }
  const char* obstacle = fans_->empty()                                                            ? noFansMessage
                         : !*supervisedTestPassed_ || *helperState_ != HelperInstallState::enabled ? notReadyMessage
                                                                                                   : nullptr;
  if (obstacle == nullptr) {
    // Without a temperature to drive by it is put off, too; the error that is shown says why.
    return isTelemetryStale();
  }
  lastError_ = obstacle;
  if (hasHelperSession()) {
    postponeRestore(restoreRetryDelay);
    resetToAutomatic(obstacle, true, true, {});
  }
  return true;
}

void AppModel::beginActivation(const FanPreset& preset, bool quietTransientRetry) {
  isBusy_ = true;
  if (hasHelperSession()) {
    continueActivation(preset, quietTransientRetry, std::nullopt);
    return;
  }
  helper_->beginSession(onSessionStart(
      controlGeneration_,
      [preset, quietTransientRetry](AppModel& self, const PropertyList& status, std::optional<Error> error) {
        auto& controllable = self.control_.controllableFanIndices;
        if (status.is_object()) {
          controllable = helperControllableFans(status, *self.fans_);
          self.noteMonitorOnlyFans();
        }
        if (!error && (!status.is_object() || !preflightIsClean(status) || controllable.empty())) {
          error = ClientFailure::error(ClientFailure::Case::noControllableFans);
        }
        self.continueActivation(preset, quietTransientRetry, std::move(error));
      }));
}

void AppModel::continueActivation(const FanPreset& preset, bool quietTransientRetry, std::optional<Error> error) {
  if (activePreset_->id != preset.id) {
    return;
  }
  if (error) {
    if (!quietTransientRetry || !isTransientBeginFailure(*error)) {
      failSafe(*error);
      return;
    }
    logger_.log(fmt::format("preset restore deferred ({}); retrying shortly", error->localizedDescription()));
    isBusy_ = false;
    // Not as it was when the session was asked for: it may have been edited since.
    presetPendingRestore_ = *activePreset_;
    postponeRestore(restoreRetryDelay);
    return;
  }
  enableActivePreset();
}

void AppModel::enableActivePreset() {
  const FanPreset preset = *activePreset_;
  if (preset.kind == PresetKind::automatic) {
    smartAuto_.reset();
    logger_.log("smart auto engaged");
  } else {
    control_.curves.clear();
    for (const FanInfo& fan : *fans_) {
      control_.curves.emplace(fan.index, newCurve(fan.index, preset));
    }
  }
  std::vector<int> indices;
  for (const FanInfo& fan : *fans_) {
    if (isUnderControl(fan)) {
      indices.push_back(fan.index);
    }
  }
  enableFansSequentially(
      std::move(indices), preset, controlGeneration_,
      [preset](AppModel& self, const std::optional<Error>& outcome) { self.finishActivation(preset, outcome); });
}

void AppModel::finishActivation(const FanPreset& preset, const std::optional<Error>& error) {
  if (activePreset_->id != preset.id) {
    return;
  }
  isBusy_ = false;
  if (error) {
    failSafe(*error);
    return;
  }
  if (preset != *activePreset_) {
    // Edited meanwhile: the curves are made anew from what is shown.
    control_.curves.clear();
  }
  presetPendingRestore_.reset();
  nextRestoreAttempt_ = restoreAtOnce;
  clearErrorUnlessConflict("cleared resolved error after successful preset activation");
  selectionStore_.save(preset);
  logger_.log(fmt::format("remembered preset: {}", preset.name));
  poll();
}

void AppModel::enableFansSequentially(std::vector<int> indices, const FanPreset& preset, std::uint64_t generation,
                                      const ErrorCompletion& completion) {
  if (indices.empty()) {
    completion(*this, std::nullopt);
    return;
  }
  const int index = indices.front();
  indices.erase(indices.begin());
  if (publishedFan(index) == nullptr) {
    completion(*this, ClientFailure::error(ClientFailure::Case::abnormalPreflight));
    return;
  }
  enableFan(index, preset, generation,
            [indices, preset, generation, completion](AppModel& self, const std::optional<Error>& error) {
              if (error) {
                completion(self, error);
                return;
              }
              self.onMainWithin(generation, [indices, preset, generation, completion](AppModel& model) {
                model.enableFansSequentially(indices, preset, generation, completion);
              })();
            });
}

void AppModel::enableFan(int index, const FanPreset& preset, std::uint64_t generation,
                         const ErrorCompletion& completion) {
  askForManualMode(index,
                   onMainWithin(generation, [index, preset, generation, completion](AppModel& self, const PropertyList&,
                                                                                    const std::optional<Error>& error) {
                     if (error) {
                       completion(self, error);
                     } else {
                       self.setInitialTarget(index, preset, generation, completion);
                     }
                   }));
}

void AppModel::setInitialTarget(int index, const FanPreset& preset, std::uint64_t generation,
                                const ErrorCompletion& completion) {
  // The reading of now: polls have gone on while the mode latched.
  const FanInfo* fan = publishedFan(index);
  if (fan == nullptr || !hasUsableLimits(*fan)) {
    completion(*this, ClientFailure::error(ClientFailure::Case::abnormalPreflight));
    return;
  }
  const std::int64_t target = initialTarget(*fan, preset);
  if (preset.kind == PresetKind::automatic || preset.strategy == ControlStrategy::cpuCoreAverage) {
    logFanDecision(index, target, "preset activation");
  }
  helper_->setTarget(index, target,
                     onMainWithin(generation, [index, target, completion](AppModel& self, const PropertyList&,
                                                                          const std::optional<Error>& error) {
                       if (!error) {
                         self.control_.lastTargets[index] = target;
                       }
                       completion(self, error);
                     }));
}

std::int64_t AppModel::initialTarget(const FanInfo& fan, const FanPreset& preset) {
  if (*criticalThermalOverrideActive_) {
    return fan.maxRPM;
  }
  switch (preset.kind) {
    case PresetKind::system:
      return fan.minRPM;
    case PresetKind::automatic:
      return SmartAutoDecision::targetRPM(zoneTemperature(fan.index, smartAutoFallbackTemperature),
                                          *sustainedDieTemperature_, false, fan.minRPM, fan.maxRPM);
    case PresetKind::fullBlast:
      break;
    case PresetKind::custom:
      if (preset.strategy != ControlStrategy::constantRPM) {
        return curveTarget(fan, preset);
      }
      break;
  }
  return preset.fixedTarget(fan).value_or(fan.minRPM);
}

void AppModel::restoreRememberedPresetIfReady() {
  const bool ready = presetPendingRestore_ && *fanControlOwnership_ == FanControlOwnership::aerovane &&
                     !powerLifecycle_.isSleeping() && !isTerminating_ && !competingController_->has_value() &&
                     platform_.clock.steadyNow() >= nextRestoreAttempt_ && !hasHelperSession() && !fans_->empty() &&
                     *thermalControlSupported_ && !*isBusy_ && *supervisedTestPassed_ &&
                     *helperState_ == HelperInstallState::enabled;
  if (!ready) {
    return;
  }
  const FanPreset preset = *std::exchange(presetPendingRestore_, std::nullopt);
  logger_.log(fmt::format("restoring remembered preset: {}", preset.name));
  activate(preset, true);
}

bool AppModel::isTransientBeginFailure(const Error& error) {
  return HelperXPCError::isInvalidSession(error) ||
         (error.domain == HelperXPCError::domain &&
          error.code == static_cast<std::int64_t>(HelperXPCError::Code::busy)) ||
         (error.domain == cocoaErrorDomain &&
          (error.code == connectionInterruptedCode || error.code == connectionInvalidCode));
}

const FanInfo* AppModel::publishedFan(int index) const {
  const auto found = std::find_if(fans_->begin(), fans_->end(), [&](const FanInfo& fan) { return fan.index == index; });
  return found == fans_->end() ? nullptr : &*found;
}

}  // namespace halcyra
