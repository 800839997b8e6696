#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string_view>

#include "Helpers/FanPreset.h"
#include "Helpers/HysteresisCurve.h"
#include "Helpers/SmartAutoRampDownState.h"
#include "SMC/FanInfo.h"

/// What a fan should do, and why.
namespace halcyra {

/// What the presets remember from poll to poll, by fan index.
struct PresetMemory {
  std::map<int, HysteresisCurve> curves;
  std::map<int, SmartAutoRampDownState> rampDown;
};

/// The temperatures behind one target, °C.
struct TargetReadings {
  /// Of the fan's zone, else the hottest zone; absent when there is neither.
  std::optional<double> zone;
  std::optional<double> sustainedDie;
  /// A die is so hot that every fan runs at its maximum.
  bool isCritical = false;
  /// The die heats up fast: Smart Auto looks one tier ahead.
  bool isBoosting = false;
};

enum class TargetOccasion { activation, poll };

struct PresetTarget {
  /// RPM, within the fan's limits.
  std::int64_t rpm = 0;
  /// The fan does not have it yet, or does not report it: it is to be written.
  bool isDue = false;
  /// For the log; empty for a fixed speed.
  std::string_view reason;
  /// Smart Auto: the die's heat, not the zone, asked for this much.
  bool isDieFloorDriven = false;
  /// Smart Auto: a step down after the hold.
  bool isStepDown = false;
};

/// RPM; a fan whose commanded and reported targets are both closer than this to the wanted one is left alone.
inline constexpr std::int64_t targetToleranceRPM = 50;
/// °C that Smart Auto assumes where there is no temperature at all.
inline constexpr double smartAutoFallbackTemperature = 55.0;

/// The target of `fan` under `preset`. `commanded` is what the fan was last told (RPM; none: nothing yet), `now` times
/// the steps down. `memory` is updated. Requires `fan.minRPM <= fan.maxRPM`.
PresetTarget presetTarget(const FanPreset& preset, const FanInfo& fan, const TargetReadings& readings,
                          std::optional<std::int64_t> commanded, TargetOccasion occasion, PresetMemory& memory,
                          Instant now);

/// A new curve for each of the preset's fans takes the place of the old ones.
HysteresisCurve newCurve(int fan, const FanPreset& preset);

}  // namespace halcyra
