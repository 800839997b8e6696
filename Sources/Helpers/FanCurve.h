#pragma once

#include <cstdint>

namespace halcyra {

/// A stateless linear ramp: `minRPM` at and below `minTemp` °C, `maxRPM` at and above `maxTemp` °C.
struct FanCurve {
  double minTemp = 0.0;
  double maxTemp = 0.0;
  std::int64_t minRPM = 0;
  std::int64_t maxRPM = 0;

  /// The speed at `temperature` °C. Top speed for a temperature that is not a number, and above the ramp's start when
  /// the range is empty or inverted.
  std::int64_t rpm(double temperature) const;

  bool operator==(const FanCurve&) const = default;

  /// The ramp from `bottom` at `low` °C to `top` at `high` °C; see `rpm`. Temperatures that are not finite as bounds
  /// give `top`: without a usable ramp the fan must cool.
  static std::int64_t ramp(double temperature, double low, double high, std::int64_t bottom, std::int64_t top);

  /// The nearest integer, halves away from zero, limited to what 64 bits hold. `value` is a number.
  static std::int64_t rounded(double value);
};

}  // namespace halcyra
