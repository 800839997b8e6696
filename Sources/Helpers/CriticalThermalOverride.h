#pragma once

#include <optional>

#include "Platform/Time.h"

namespace halcyra {

/// Latches when the die is critically hot and lets go only after sustained cooling.
class CriticalThermalOverride {
 public:
  /// °C; a single sample at or above it engages.
  static constexpr double engageTemperature = 105.0;
  /// °C; a sample at or above it restarts the wait for release.
  static constexpr double releaseTemperature = 100.0;
  static constexpr Seconds releaseHold{15.0};

  bool isActive() const { return isActive_; }
  /// When the temperature first fell below the release level.
  std::optional<Instant> releaseSince() const { return releaseSince_; }

  /// Takes one raw temperature in °C and returns the new `isActive()`. One that is not finite changes nothing.
  bool update(double temperature, Instant now);
  void reset();

 private:
  bool isActive_ = false;
  std::optional<Instant> releaseSince_;
};

}  // namespace halcyra
