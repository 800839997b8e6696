#include "UI/TemperatureGaugeState.h"

#include <cmath>

#include "fmt/format.h"

#include "Helpers/TemperatureGaugeScale.h"

namespace halcyra {

const std::array<TemperatureZone, 5>& TemperatureZone::all() {
  static const std::array<TemperatureZone, 5> zones{{
      {UUID::random(), 30, 45, ZoneColor::blue, "Cool", "30–45°"},
      {UUID::random(), 45, 60, ZoneColor::green, "Normal", "45–60°"},
      {UUID::random(), 60, 75, ZoneColor::yellow, "Warm", "60–75°"},
      {UUID::random(), 75, 90, ZoneColor::orange, "Hot", "75–90°"},
      {UUID::random(), 90, 105, ZoneColor::red, "Very Hot", "90–105°"},
  }};
  return zones;
}

std::optional<ZoneColor> TemperatureZone::colorFor(double temperature) {
  if (std::isnan(temperature)) return std::nullopt;
  for (const TemperatureZone& zone : all()) {
    if (temperature < zone.upper) return zone.color;
  }
  return all().back().color;
}

std::vector<GaugeMark> gaugeBoundaries() {
  std::vector<GaugeMark> marks;
  for (const TemperatureZone& zone : TemperatureZone::all()) {
    if (zone.upper < TemperatureGaugeScale::upperBound) {
      marks.push_back({fmt::format("{:.0f}°", zone.upper), TemperatureGaugeScale::fraction(zone.upper)});
    }
  }
  return marks;
}

std::vector<GaugeMark> gaugeBandWords() {
  std::vector<GaugeMark> marks;
  for (const TemperatureZone& zone : TemperatureZone::all()) {
    marks.push_back({zone.name, TemperatureGaugeScale::fraction((zone.lower + zone.upper) / 2)});
  }
  return marks;
}

std::string temperatureText(const std::optional<double>& temperature, const std::string& absent) {
  return temperature ? fmt::format("{:.1f} °C", *temperature) : absent;
}

std::string gaugeAccessibleValue(const std::optional<double>& temperature) {
  return temperature ? fmt::format("{:.1f} degrees Celsius", *temperature) : "unavailable";
}

std::string temperatureStatus(const std::optional<double>& temperature) {
  if (!temperature) return "Temperature sensor unavailable";
  if (*temperature < 45) return "Cool — idle or light work";
  if (*temperature < 60) return "Normal — comfortable operating temperature";
  if (*temperature < 75) return "Warm under load — cooling is working";
  if (*temperature < 90) return "Hot — sustained load; automatic cooling should be responding";
  if (*temperature < 105) return "Very hot — automatic cooling should be near maximum";
  return "Critical — safety override forces maximum cooling";
}

std::vector<ThermalMetricRow> makeThermalMetricRows(const ThermalMetrics& metrics) {
  constexpr const char* hotspotExplanation = "Secondary telemetry; 105 °C triggers the critical fan override";
  const auto row = [](const char* title, const char* explanation, const std::optional<double>& temperature) {
    return ThermalMetricRow{title, explanation, temperatureText(temperature, "Unavailable"),
                            temperature ? TemperatureZone::colorFor(*temperature) : std::nullopt};
  };
  return {
      row("CPU all-core average", "Arithmetic mean of 4 E-core and 12 P-core channels", metrics.cpuAverage),
      row("Maximum P-core", "Hottest mapped performance-core channel", metrics.performanceMaximum),
      row("Maximum E-core", "Hottest mapped efficiency-core channel", metrics.efficiencyMaximum),
      row("Maximum GPU cluster", "Hottest mapped GPU-cluster channel", metrics.gpuMaximum),
      row("CPU die hotspot (TCMz)", hotspotExplanation, metrics.cpuHotspot),
      row("GPU die hotspot (TRDX)", hotspotExplanation, metrics.gpuHotspot),
  };
}

}  // namespace halcyra
