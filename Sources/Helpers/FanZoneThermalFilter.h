#pragma once

#include <optional>

#include "Platform/Time.h"

namespace halcyra {

/// One fan's zone temperature: rises promptly, but falls only after a real drop has lasted.
class FanZoneThermalFilter {
 public:
  struct Parameters {
    /// °C.
    std::optional<double> initialValue = std::nullopt;
    /// Share of the gap that one sample closes, 0…1.
    double risingAlpha = 1;
    double fallingAlpha = 1;
    /// °C; a gap up to this size, inclusive, changes nothing and ends a wait to cool.
    double deadband = 0;
    /// °C; a drop of at least this size starts the wait.
    double coolingThreshold = 0;
    /// How long the wait lasts before the value may fall.
    Seconds coolingHold{0.0};
  };

  explicit FanZoneThermalFilter(const Parameters& parameters);

  /// °C; nothing before the first finite sample.
  std::optional<double> value() const { return value_; }
  /// When the drop that is being waited out, or followed, was first seen.
  std::optional<Instant> coolingSince() const { return coolingSince_; }

  /// Takes one sample in °C and returns the value. A sample that is not finite changes nothing; with no value yet it
  /// is returned as it is.
  double update(double sample, Instant now);
  /// Forgets the value and the wait.
  void reset();

 private:
  std::optional<double> value_;
  std::optional<Instant> coolingSince_;
  double risingAlpha_;
  double fallingAlpha_;
  double deadband_;
  double coolingThreshold_;
  Seconds coolingHold_;
};

}  // namespace halcyra
