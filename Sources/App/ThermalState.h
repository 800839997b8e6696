#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "App/Published.h"
#include "Helpers/CPUCoreAverage.h"
#include "Helpers/CriticalThermalOverride.h"
#include "Helpers/FanZoneThermalFilter.h"
#include "Helpers/SmartAutoCurve.h"
#include "Helpers/SustainedDieHeatFilter.h"
#include "Helpers/TemperatureDisplayPipeline.h"
#include "Platform/Log.h"

namespace halcyra {

/// Temperatures in °C, absent where there is no trustworthy value. Maps are keyed by fan index.
struct ThermalReadings {
  std::optional<double> cpuCoreAverage;
  std::optional<double> gpuCoreAverage;
  std::optional<double> cpuCoreMaximum;
  std::optional<double> efficiencyCoreMaximum;
  std::optional<double> performanceCoreMaximum;
  std::optional<double> gpuCoreMaximum;
  std::optional<double> cpuDieHotspot;
  std::optional<double> gpuDieHotspot;
  /// The smoothed hottest live temperature.
  std::optional<double> display;
  /// The hottest zone; without zones the hotter average.
  std::optional<double> control;
  /// Smoothed.
  std::map<int, double> zones;
  /// What drives each zone.
  std::map<int, std::string> zoneDrivers;
  std::optional<double> sustainedDie;
  bool criticalOverrideActive = false;

  bool operator==(const ThermalReadings&) const = default;
};

/// Turns one aggregate read after another into steady temperatures, and publishes them. Main queue only.
class ThermalState {
 public:
  ThermalState(const ChangeSignal& signal, Logger logger) : readings_(signal, {}), logger_(std::move(logger)) {}

  /// `now` is when the read was applied.
  void apply(const CPUCoreAverage& average, Instant now);
  /// Forgets what the filters have made of the telemetry; the averages and maxima of the last read stay.
  void clear();
  /// The same for the control temperature, which outlives a sleep.
  void clearControlTemperature();
  /// For display: what made the target of `fan`.
  void setZoneDriver(int fan, const std::string& driver);

  const ThermalReadings& readings() const { return *readings_; }
  /// Whether the displayed temperature has seen enough samples to tell a spike.
  bool isEstablished() const { return displayPipeline_.isEstablished(); }
  /// That of the last read; null when it had none for `fan`.
  const FanZoneReading* zoneReading(int fan) const;
  /// The temperature that drives `fan`.
  double zoneTemperature(int fan, double fallback) const;
  /// Whether the die is heating up fast.
  bool isBoosting() const { return SmartAutoCurve::isBoosting(sustainedDieSamples_); }

 private:
  void updateCriticalOverride(double temperature, Instant now, ThermalReadings& readings);
  void updateSustainedDie(const CPUCoreAverage& average, Instant now, ThermalReadings& readings);
  void updateZones(const CPUCoreAverage& average, Instant now, ThermalReadings& readings);

  Published<ThermalReadings> readings_;
  Logger logger_;
  std::map<int, FanZoneThermalFilter> zoneFilters_;
  std::map<int, FanZoneReading> zoneReadings_;
  SustainedDieHeatFilter sustainedDieFilter_{{.risingAlpha = 1.0, .fallingAlpha = 0.1, .missTolerance = 2}};
  /// The newest ones, oldest first.
  std::vector<SmartAutoCurve::Sample> sustainedDieSamples_;
  CriticalThermalOverride criticalOverride_;
  TemperatureDisplayPipeline displayPipeline_;
};

}  // namespace halcyra
