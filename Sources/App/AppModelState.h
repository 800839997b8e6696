#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Helpers/CPUCoreAverage.h"
#include "Helpers/CriticalThermalOverride.h"
#include "Helpers/FanTargetWriteCoalescer.h"
#include "Helpers/FanZoneThermalFilter.h"
#include "Helpers/HysteresisCurve.h"
#include "Helpers/SmartAutoCurve.h"
#include "Helpers/SmartAutoRampDownState.h"
#include "Helpers/SustainedDieHeatFilter.h"
#include "Helpers/TemperatureDisplayPipeline.h"
#include "Platform/Time.h"

/// Private state of the application model, grouped by what is cleared together. Maps are keyed by fan index.
namespace halcyra {

/// When a preset may be restored: at the next poll, and not before something changes.
inline constexpr Instant restoreAtOnce{Seconds{-1.0e15}};
inline constexpr Instant restoreBlocked{Seconds{1.0e15}};

/// What the filters have made of the telemetry so far; worthless once telemetry has been interrupted.
struct DerivedThermalState {
  std::map<int, FanZoneThermalFilter> zoneFilters;
  /// Of the last poll.
  std::map<int, FanZoneReading> zoneReadings;
  SustainedDieHeatFilter sustainedDieFilter{{.risingAlpha = 1.0, .fallingAlpha = 0.1, .missTolerance = 2}};
  /// The newest ones, oldest first.
  std::vector<SmartAutoCurve::Sample> sustainedDieSamples;
  CriticalThermalOverride criticalThermalOverride;
  TemperatureDisplayPipeline displayPipeline;

  void reset() { *this = DerivedThermalState(); }
};

/// What Smart Auto remembers from poll to poll.
struct SmartAutoState {
  std::map<int, SmartAutoRampDownState> rampDown;
  std::map<int, int> lastTier;
  std::map<int, std::string> lastLoggedZoneDriver;
  bool boostActive = false;

  void reset() { *this = SmartAutoState(); }
};

/// The fans under the session's control and what they were told.
struct ControlState {
  std::set<int> controllableFanIndices;
  std::map<int, HysteresisCurve> curves;
  /// RPM, confirmed by the helper.
  std::map<int, std::int64_t> lastTargets;

  void reset() { *this = ControlState(); }
};

}  // namespace halcyra
