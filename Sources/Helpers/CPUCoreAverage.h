#pragma once

#include <optional>
#include <string>
#include <vector>

namespace halcyra {

/// The thermal input for one fan.
struct FanZoneReading {
  /// 0 left, 1 right.
  int fanIndex = 0;
  /// "Left" or "Right".
  std::string zoneName = {};
  /// °C; drives the fan's curve.
  double temperature = 0;
  /// Which die bank dominates: "CPU core bank A", "GPU cluster bank A" (left), "CPU core bank B", "GPU cluster bank B"
  /// (right).
  std::string driver = {};
  /// The keys behind the value, unique and ascending.
  std::vector<std::string> contributingKeys = {};
  /// °C; the zone's die value before the chassis bias.
  double localComputeTemperature = 0;
  /// °C; the mean of that side's valid chassis sensors.
  std::optional<double> localChassisTemperature = std::nullopt;

  bool operator==(const FanZoneReading&) const = default;
};

/// The result of one aggregate read. Temperatures in °C, absent where no valid channel stands behind them. To be made
/// with designated initializers, so that an absent maximum takes its default from the average before it.
struct CPUCoreAverage {
  /// Mean of the valid CPU channels.
  double temperature = 0;
  /// Ascending.
  std::vector<std::string> contributingKeys = {};
  /// The hottest valid CPU channel.
  double cpuMaximumTemperature = temperature;
  std::optional<double> efficiencyAverageTemperature = std::nullopt;
  std::optional<double> efficiencyMaximumTemperature = std::nullopt;
  /// Performance banks A and B together.
  std::optional<double> performanceAverageTemperature = std::nullopt;
  std::optional<double> performanceMaximumTemperature = std::nullopt;
  /// CPU die hotspot.
  std::optional<double> hotspotTemperature = std::nullopt;
  std::optional<double> gpuAverageTemperature = std::nullopt;
  std::optional<double> gpuMaximumTemperature = gpuAverageTemperature;
  /// Ascending.
  std::vector<std::string> gpuContributingKeys = {};
  /// GPU die hotspot.
  std::optional<double> gpuHotspotTemperature = std::nullopt;
  /// Left and right when the topology is validated, else empty.
  std::vector<FanZoneReading> fanZoneReadings = {};
  bool hasValidatedFanZoneTopology = false;

  /// The hottest live CPU or GPU value: of the two maxima and the two hotspots.
  double thermalDisplayTemperature() const;
  /// The hottest zone; without zones the larger of the CPU and the GPU average.
  double controlTemperature() const;

  bool operator==(const CPUCoreAverage&) const = default;
};

}  // namespace halcyra
