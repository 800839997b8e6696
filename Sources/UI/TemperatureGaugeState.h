#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "Platform/UUID.h"

namespace halcyra {

enum class ZoneColor { blue, green, yellow, orange, red };

/// One colour band of the gauges.
struct TemperatureZone {
  UUID id;
  /// °C.
  double lower = 0;
  double upper = 0;
  ZoneColor color = ZoneColor::blue;
  std::string name;
  std::string rangeLabel;

  /// Ascending; together they span the gauge's scale.
  static const std::array<TemperatureZone, 5>& all();
  /// The band that a value on or off the scale belongs to; none for a value that is not a number.
  static std::optional<ZoneColor> colorFor(double temperature);
};

/// A text at a fraction (0…1) of a gauge's width.
struct GaugeMark {
  std::string text;
  double fraction = 0;
};

/// The limits between the zones, "45°" and on, and the zones' names at their middles.
std::vector<GaugeMark> gaugeBoundaries();
std::vector<GaugeMark> gaugeBandWords();

/// "%.1f °C", or `absent`.
std::string temperatureText(const std::optional<double>& temperature, const std::string& absent);

/// "%.1f degrees Celsius", or "unavailable".
std::string gaugeAccessibleValue(const std::optional<double>& temperature);

/// The status sentence for a temperature.
std::string temperatureStatus(const std::optional<double>& temperature);

/// The die aggregates that the summary shows, °C.
struct ThermalMetrics {
  std::optional<double> cpuAverage = std::nullopt;
  std::optional<double> performanceMaximum = std::nullopt;
  std::optional<double> efficiencyMaximum = std::nullopt;
  std::optional<double> gpuMaximum = std::nullopt;
  std::optional<double> cpuHotspot = std::nullopt;
  std::optional<double> gpuHotspot = std::nullopt;
};

struct ThermalMetricRow {
  std::string title;
  std::string explanation;
  std::string value;
  std::optional<ZoneColor> zone = std::nullopt;

  bool operator==(const ThermalMetricRow&) const = default;
};

std::vector<ThermalMetricRow> makeThermalMetricRows(const ThermalMetrics& metrics);

}  // namespace halcyra
