#pragma once

#include <cstdint>
#include <optional>

namespace halcyra {

/// A linear ramp that holds its speed while the temperature falls by less than a band below the temperature of the
/// last computation. A value without locks; one per fan.
class HysteresisCurve {
 public:
  /// Temperatures in °C. `hysteresis` is the width of the band in °C; negative or not a number counts as 0 (no hold).
  HysteresisCurve(double lowTemperature, double highTemperature, double hysteresis);

  /// The speed at `temperature` °C within the fan's limits of the moment. Requires `minimum <= maximum`.
  std::int64_t target(double temperature, std::int64_t minimum, std::int64_t maximum);

  double lowTemperature() const { return lowTemperature_; }
  double highTemperature() const { return highTemperature_; }
  double hysteresis() const { return hysteresis_; }
  /// The anchor of the band: the temperature of the last computation; absent when new.
  std::optional<double> lastTemperature() const { return lastTemperature_; }
  /// The result of the last computation; absent when new.
  std::optional<std::int64_t> lastRPM() const { return lastRPM_; }

  bool operator==(const HysteresisCurve&) const = default;

 private:
  double lowTemperature_;
  double highTemperature_;
  double hysteresis_;
  std::optional<double> lastTemperature_;
  std::optional<std::int64_t> lastRPM_;
};

}  // namespace halcyra
