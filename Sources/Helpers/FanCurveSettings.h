#pragma once

#include <cstdint>
#include <optional>

namespace halcyra {

/// What a preset keeps for one fan.
struct FanCurveSettings {
  /// Start of the ramp, °C: at or below it the fan runs at its minimum.
  double lowTemperature = 0.0;
  /// Full speed from here on, °C.
  double highTemperature = 0.0;
  /// Fixed target, RPM, of the constant strategy.
  std::optional<std::int64_t> constantRPM;

  bool operator==(const FanCurveSettings&) const = default;
};

}  // namespace halcyra
