#include "App/Control/PresetTarget.h"

#include <cstdlib>

#include "Helpers/SmartAutoCurve.h"
#include "Helpers/SmartAutoDecision.h"

namespace halcyra {

namespace {

bool isNear(const std::optional<std::int64_t>& value, std::int64_t target) {
  return value && std::abs(*value - target) < targetToleranceRPM;
}

std::int64_t curveTarget(const FanPreset& preset, const FanInfo& fan, const TargetReadings& readings,
                         PresetMemory& memory) {
  const double temperature = readings.zone.value_or(preset.settings(fan.index).lowTemperature);
  HysteresisCurve& curve = memory.curves.try_emplace(fan.index, newCurve(fan.index, preset)).first->second;
  return curve.target(temperature, fan.minRPM, fan.maxRPM);
}

PresetTarget smartAutoAtActivation(const FanInfo& fan, const TargetReadings& readings) {
  PresetTarget target;
  target.rpm = SmartAutoDecision::targetRPM(readings.zone.value_or(smartAutoFallbackTemperature), readings.sustainedDie,
                                            readings.isCritical, fan.minRPM, fan.maxRPM);
  target.isDue = true;
  target.reason = "preset activation";
  return target;
}

PresetTarget smartAutoAtPoll(const FanInfo& fan, const TargetReadings& readings, std::optional<std::int64_t> told,
                             PresetMemory& memory, Instant now) {
  const double zone = readings.zone.value_or(smartAutoFallbackTemperature);
  const double temperature = readings.isBoosting ? SmartAutoCurve::nextTierTemperature(zone) : zone;
  const auto die = SmartAutoDecision::effectiveSustainedDieTemperature(readings.sustainedDie, readings.isBoosting);
  const std::int64_t desired =
      SmartAutoDecision::targetRPM(temperature, die, readings.isCritical, fan.minRPM, fan.maxRPM);
  const std::int64_t commanded = told.value_or(fan.minRPM);

  PresetTarget target;
  target.isDieFloorDriven =
      !readings.isCritical && SmartAutoDecision::floorDrivesDecision(temperature, die, fan.minRPM, fan.maxRPM);
  target.rpm = memory.rampDown[fan.index].nextTarget(desired, commanded, now, SmartAutoCurve::stepDownDelay,
                                                     SmartAutoCurve::stepDownRPM);
  if (target.rpm != commanded) {
    target.isDue = true;
    target.isStepDown = target.rpm < commanded;
    target.reason = target.isDieFloorDriven ? "smart auto (die-heat floor)" : "smart auto";
  } else if (SmartAutoDecision::needsReassertion(commanded, fan.targetRPM)) {
    target.isDue = true;
    target.reason = "target readback reassertion";
  }
  return target;
}

std::int64_t steadyTarget(const FanPreset& preset, const FanInfo& fan, const TargetReadings& readings,
                          PresetMemory& memory) {
  if (readings.isCritical) {
    return fan.maxRPM;
  }
  const bool isCurve = preset.kind == PresetKind::custom && preset.strategy != ControlStrategy::constantRPM;
  return isCurve ? curveTarget(preset, fan, readings, memory) : preset.fixedTarget(fan).value_or(fan.minRPM);
}

}  // namespace

PresetTarget presetTarget(const FanPreset& preset, const FanInfo& fan, const TargetReadings& readings,
                          std::optional<std::int64_t> commanded, TargetOccasion occasion, PresetMemory& memory,
                          Instant now) {
  if (preset.kind == PresetKind::automatic) {
    return occasion == TargetOccasion::activation ? smartAutoAtActivation(fan, readings)
                                                  : smartAutoAtPoll(fan, readings, commanded, memory, now);
  }
  PresetTarget target;
  target.rpm = steadyTarget(preset, fan, readings, memory);
  target.isDue =
      occasion == TargetOccasion::activation || !(isNear(commanded, target.rpm) && isNear(fan.targetRPM, target.rpm));
  if (preset.strategy == ControlStrategy::cpuCoreAverage) {
    target.reason = occasion == TargetOccasion::activation ? "preset activation" : "custom curve";
  }
  return target;
}

HysteresisCurve newCurve(int fan, const FanPreset& preset) {
  const FanCurveSettings settings = preset.settings(fan);
  return {settings.lowTemperature, settings.highTemperature, preset.hysteresis};
}

}  // namespace halcyra
