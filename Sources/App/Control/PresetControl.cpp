#include "App/Control/PresetControl.h"

#include <vector>

#include "fmt/format.h"
#include "fmt/ranges.h"

#include "Helpers/SmartAutoCurve.h"

namespace halcyra {

namespace {

constexpr const char* sustainedDieDriver = "Sustained die heat";

}  // namespace

void PresetControl::prepare(const FanPreset& preset) {
  if (preset.kind == PresetKind::automatic) {
    reset();
    with_.logger.log("smart auto engaged");
    return;
  }
  memory_.curves.clear();
  for (const FanInfo& fan : *with_.machine.fans) {
    memory_.curves.emplace(fan.index, newCurve(fan.index, preset));
  }
}

void PresetControl::reset() {
  memory_ = {};
  lastTier_.clear();
  lastLoggedDriver_.clear();
  wasBoosting_ = false;
}

std::int64_t PresetControl::firstTarget(const FanInfo& fan, const FanPreset& preset) {
  const PresetTarget target = presetTarget(preset, fan, readings(fan.index), std::nullopt, TargetOccasion::activation,
                                           memory_, with_.platform.clock.steadyNow());
  if (!target.reason.empty()) {
    logDecision(fan.index, target.rpm, target.reason);
  }
  return target.rpm;
}

void PresetControl::follow(const FanPreset& preset) {
  const auto confidence = with_.telemetry.confidence();
  if (!session_.isDriving() || !confidence || (preset.kind == PresetKind::custom && !preset.strategy)) {
    return;
  }
  if (preset.kind == PresetKind::automatic) {
    noteBoost();
  }
  for (const FanInfo& fan : *with_.machine.fans) {
    if (session_.controllableFans().contains(fan.index) && hasUsableLimits(fan)) {
      apply(fan, preset, *confidence);
    }
  }
}

void PresetControl::apply(const FanInfo& fan, const FanPreset& preset, const Confidence& confidence) {
  const bool isSmartAuto = preset.kind == PresetKind::automatic;
  if (isSmartAuto) {
    noteTier(fan.index, with_.thermal.zoneTemperature(fan.index, smartAutoFallbackTemperature));
  }
  const PresetTarget target = presetTarget(preset, fan, readings(fan.index), session_.commandedTarget(fan.index),
                                           TargetOccasion::poll, memory_, with_.platform.clock.steadyNow());
  if (target.isDieFloorDriven) {
    with_.thermal.setZoneDriver(fan.index, sustainedDieDriver);
  }
  if (target.isStepDown) {
    with_.logger.log(fmt::format("smart auto: fan {} steps down to {} RPM after cooldown hold", fan.index, target.rpm));
  }
  if (target.isDue && !target.reason.empty()) {
    logDecision(fan.index, target.rpm, target.reason);
  }
  if (target.isDue) {
    session_.drive(fan.index, target.rpm, confidence);
  }
  const FanZoneReading* zone = with_.thermal.zoneReading(fan.index);
  if (isSmartAuto && zone != nullptr && lastLoggedDriver_[fan.index] != zone->driver) {
    logDecision(fan.index, target.rpm, "zone source changed");
  }
}

TargetReadings PresetControl::readings(int fan) const {
  const ThermalReadings& thermal = with_.thermal.readings();
  const auto zone = thermal.zones.find(fan);
  return {.zone = zone != thermal.zones.end() ? std::optional(zone->second) : thermal.control,
          .sustainedDie = thermal.sustainedDie,
          .isCritical = thermal.criticalOverrideActive,
          .isBoosting = with_.thermal.isBoosting()};
}

void PresetControl::noteBoost() {
  const bool isBoosting = with_.thermal.isBoosting();
  const auto& sustained = with_.thermal.readings().sustainedDie;
  if (isBoosting && !wasBoosting_ && sustained) {
    with_.logger.log(fmt::format("smart auto: predictive boost engaged (sustained die {:f}°C rising > {:f}°C/s)",
                                 *sustained, SmartAutoCurve::boostRatePerSecond));
  }
  wasBoosting_ = isBoosting;
}

void PresetControl::noteTier(int fan, double temperature) {
  const int tier = SmartAutoCurve::tier(temperature);
  int& last = lastTier_.try_emplace(fan, tier).first->second;
  if (last != tier) {
    with_.logger.log(fmt::format("smart auto: fan {} tier {} → {} at {:f}°C", fan, last, tier, temperature));
    last = tier;
  }
}

void PresetControl::logDecision(int fan, std::int64_t target, std::string_view reason) {
  const FanZoneReading* zone = with_.thermal.zoneReading(fan);
  if (zone == nullptr) {
    return;
  }
  const ThermalReadings& thermal = with_.thermal.readings();
  const auto filtered = thermal.zones.find(fan);
  with_.logger.log(fmt::format(
      "fan-zone decision fan={} zone={} driver={} keys={} raw={:f}°C filtered={:f}°C sustainedDie={}°C target={}RPM "
      "reason={}",
      fan, zone->zoneName, zone->driver, fmt::join(zone->contributingKeys, ","), zone->temperature,
      filtered != thermal.zones.end() ? filtered->second : zone->temperature,
      thermal.sustainedDie ? fmt::format("{:.2f}", *thermal.sustainedDie) : "n/a", target, reason));
  lastLoggedDriver_[fan] = zone->driver;
}

bool PresetControl::hasUsableLimits(const FanInfo& fan) {
  if (fan.minRPM <= fan.maxRPM) {
    badLimits_.erase(fan.index);
    return true;
  }
  if (badLimits_.insert(fan.index).second) {
    with_.logger.error(fmt::format("fan {} is left alone: its minimum of {} RPM lies above its maximum of {} RPM",
                                   fan.index, fan.minRPM, fan.maxRPM));
  }
  return false;
}

void PresetControl::noteMonitorOnlyFans() {
  monitorOnly_.clear();
  for (const FanInfo& fan : *with_.machine.fans) {
    if (fan.targetRPM && hasUsableLimits(fan) && !session_.controllableFans().contains(fan.index)) {
      monitorOnly_.insert(fan.index);
    }
  }
}

void PresetControl::releaseLostFans() {
  if (!session_.isDriving()) {
    return;
  }
  const std::set<int> controllable = session_.controllableFans();
  for (const int index : controllable) {
    const FanInfo* fan = with_.machine.fan(index);
    if (fan == nullptr || !hasUsableLimits(*fan)) {
      with_.logger.error(fmt::format("fan {} is handed back alone: its limits cannot be told", index));
      lost_.insert(index);
      session_.releaseFan(index);
    }
  }
}

std::optional<int> PresetControl::returnedFan() {
  std::optional<int> returned;
  for (const FanInfo& fan : *with_.machine.fans) {
    if (monitorOnly_.contains(fan.index)) {
      continue;
    }
    if (!fan.targetRPM || !hasUsableLimits(fan)) {
      lost_.insert(fan.index);
    } else if (session_.isDriving() && lost_.erase(fan.index) > 0 && !session_.controllableFans().contains(fan.index)) {
      returned = fan.index;
    }
  }
  return returned;
}

}  // namespace halcyra
