#include <cstdlib>

#include "fmt/format.h"

#include "App/AppModel.h"
#include "App/AppModelReplies.h"
#include "Helpers/SmartAutoCurve.h"
#include "Helpers/SmartAutoDecision.h"

namespace halcyra {

namespace {

constexpr const char* sustainedDieDriver = "Sustained die heat";

}  // namespace

void AppModel::followPreset() {
  if (!isControllingFans()) {
    return;
  }
  for (const FanInfo& fan : *fans_) {
    if (!isUnderControl(fan)) {
      continue;
    }
    const std::int64_t target = initialTarget(fan, *activePreset_);
    if (isNearTarget(fan, target)) {
      continue;
    }
    if (activePreset_->strategy == ControlStrategy::cpuCoreAverage) {
      logFanDecision(fan.index, target, "custom curve");
    }
    enqueueTargetWrite(fan.index, target);
  }
}

void AppModel::applySmartAuto() {
  if (!isControllingFans()) {
    return;
  }
  const Instant now = platform_.clock.steadyNow();
  const std::optional<double>& sustained = *sustainedDieTemperature_;
  const bool boosting = SmartAutoCurve::isBoosting(thermal_.sustainedDieSamples);
  if (boosting && !smartAuto_.boostActive && sustained) {
    logger_.log(fmt::format("smart auto: predictive boost engaged (sustained die {:f}°C rising > {:f}°C/s)", *sustained,
                            SmartAutoCurve::boostRatePerSecond));
  }
  smartAuto_.boostActive = boosting;
  const auto dieTemperature = SmartAutoDecision::effectiveSustainedDieTemperature(sustained, boosting);
  for (const FanInfo& fan : *fans_) {
    if (isUnderControl(fan)) {
      applySmartAuto(fan, dieTemperature, now);
    }
  }
}

void AppModel::applySmartAuto(const FanInfo& fan, std::optional<double> dieTemperature, Instant now) {
  const double temperature = zoneTemperature(fan.index, smartAutoFallbackTemperature);
  noteSmartTier(fan.index, temperature);

  const bool critical = *criticalThermalOverrideActive_;
  const double curveTemperature =
      smartAuto_.boostActive ? SmartAutoCurve::nextTierTemperature(temperature) : temperature;
  const std::int64_t desired =
      SmartAutoDecision::targetRPM(curveTemperature, dieTemperature, critical, fan.minRPM, fan.maxRPM);
  const bool dieFloorDriven =
      !critical && SmartAutoDecision::floorDrivesDecision(curveTemperature, dieTemperature, fan.minRPM, fan.maxRPM);
  if (dieFloorDriven) {
    fanControlDrivers_.mutate([&](auto& drivers) { drivers[fan.index] = sustainedDieDriver; });
  }

  const std::int64_t commanded = commandedTarget(fan.index).value_or(fan.minRPM);
  const std::int64_t next = smartAuto_.rampDown[fan.index].nextTarget(
      desired, commanded, now, SmartAutoCurve::stepDownDelay, SmartAutoCurve::stepDownRPM);
  commandSmartAuto(fan, commanded, next, dieFloorDriven);
}

void AppModel::noteSmartTier(int fan, double temperature) {
  const int tier = SmartAutoCurve::tier(temperature);
  int& last = smartAuto_.lastTier.try_emplace(fan, tier).first->second;
  if (last != tier) {
    logger_.log(fmt::format("smart auto: fan {} tier {} → {} at {:f}°C", fan, last, tier, temperature));
    last = tier;
  }
}

void AppModel::commandSmartAuto(const FanInfo& fan, std::int64_t commanded, std::int64_t next, bool dieFloorDriven) {
  if (next != commanded) {
    if (next < commanded) {
      logger_.log(fmt::format("smart auto: fan {} steps down to {} RPM after cooldown hold", fan.index, next));
    }
    logFanDecision(fan.index, next, dieFloorDriven ? "smart auto (die-heat floor)" : "smart auto");
    enqueueTargetWrite(fan.index, next);
    return;
  }
  if (SmartAutoDecision::needsReassertion(commanded, fan.targetRPM)) {
    logFanDecision(fan.index, commanded, "target readback reassertion");
    enqueueTargetWrite(fan.index, commanded);
  }
  logDriverTransitionIfNeeded(fan.index, commanded);
}

HysteresisCurve AppModel::newCurve(int fan, const FanPreset& preset) {
  const FanCurveSettings settings = preset.settings(fan);
  return {settings.lowTemperature, settings.highTemperature, preset.hysteresis};
}

std::int64_t AppModel::curveTarget(const FanInfo& fan, const FanPreset& preset) {
  const double temperature = zoneTemperature(fan.index, preset.settings(fan.index).lowTemperature);
  HysteresisCurve& curve = control_.curves.try_emplace(fan.index, newCurve(fan.index, preset)).first->second;
  return curve.target(temperature, fan.minRPM, fan.maxRPM);
}

std::optional<std::int64_t> AppModel::commandedTarget(int fan) const {
  if (const auto latest = targetWriteCoalescer_.latestTarget(fan)) {
    return latest;
  }
  const auto last = control_.lastTargets.find(fan);
  return last == control_.lastTargets.end() ? std::nullopt : std::optional(last->second);
}

bool AppModel::isNearTarget(const FanInfo& fan, std::int64_t target) const {
  const auto isNear = [&](const std::optional<std::int64_t>& value) {
    return value && std::abs(*value - target) < targetToleranceRPM;
  };
  return isNear(commandedTarget(fan.index)) && isNear(fan.targetRPM);
}

void AppModel::enqueueTargetWrite(int fan, std::int64_t target) {
  if (const auto due = targetWriteCoalescer_.request(fan, target)) {
    performTargetWrite(fan, *due, controlGeneration_);
  }
}

void AppModel::performTargetWrite(int fan, std::int64_t target, std::uint64_t generation) {
  helper_->setTarget(fan, target,
                     onMainWithin(generation, [fan, target, generation](AppModel& self, const PropertyList&,
                                                                        const std::optional<Error>& error) {
                       const auto next = self.targetWriteCoalescer_.complete(fan, !error.has_value());
                       if (error) {
                         self.failSafe(*error);
                         return;
                       }
                       self.control_.lastTargets[fan] = target;
                       if (next) {
                         self.performTargetWrite(fan, *next, generation);
                       }
                     }));
}

bool AppModel::hasUsableLimits(const FanInfo& fan) {
  if (fan.minRPM <= fan.maxRPM) {
    fansWithBadLimits_.erase(fan.index);
    return true;
  }
  if (fansWithBadLimits_.insert(fan.index).second) {
    logger_.error(fmt::format("fan {} is left alone: its minimum of {} RPM lies above its maximum of {} RPM", fan.index,
                              fan.minRPM, fan.maxRPM));
  }
  return false;
}

// A fan whose target is gone while a session begins is left to the firmware for as long as that session lasts. When the
// target is there again a new session takes the fan along.
void AppModel::takeFansThatReturned() {
  std::optional<int> returned;
  for (const FanInfo& fan : *fans_) {
    if (monitorOnlyFans_.contains(fan.index)) {
      continue;
    }
    if (!fan.targetRPM) {
      fansWithoutTarget_.insert(fan.index);
    } else if (isControllingFans() && fansWithoutTarget_.erase(fan.index) > 0 &&
               !control_.controllableFanIndices.contains(fan.index)) {
      returned = fan.index;
    }
  }
  if (returned) {
    resetToAutomatic(fmt::format("fan {} can be controlled again", *returned), true, true, {});
  }
}

void AppModel::noteMonitorOnlyFans() {
  monitorOnlyFans_.clear();
  for (const FanInfo& fan : *fans_) {
    if (fan.targetRPM && !control_.controllableFanIndices.contains(fan.index)) {
      monitorOnlyFans_.insert(fan.index);
    }
  }
}

bool AppModel::isUnderControl(const FanInfo& fan) {
  return control_.controllableFanIndices.contains(fan.index) && hasUsableLimits(fan);
}

}  // namespace halcyra
