#include <cmath>

#include "gmock/gmock.h"
#include "gtest/gtest.h"

#include "Helpers/TemperatureGaugeScale.h"
#include "UI/TemperatureGaugeState.h"

namespace halcyra::test {

TEST(TemperatureGaugeState, statusNamesTheZone) {
  const std::vector<std::pair<std::optional<double>, std::string>> cases{
      {std::nullopt, "Temperature sensor unavailable"},
      {44.99, "Cool — idle or light work"},
      {45, "Normal — comfortable operating temperature"},
      {60, "Warm under load — cooling is working"},
      {75, "Hot — sustained load; automatic cooling should be responding"},
      {90, "Very hot — automatic cooling should be near maximum"},
      {104.99, "Very hot — automatic cooling should be near maximum"},
      {105, "Critical — safety override forces maximum cooling"},
      {NAN, "Critical — safety override forces maximum cooling"},
  };
  for (const auto& [temperature, text] : cases) EXPECT_EQ(temperatureStatus(temperature), text);
}

TEST(TemperatureGaugeState, zonesSpanTheScale) {
  const auto& zones = TemperatureZone::all();
  EXPECT_EQ(zones.front().lower, TemperatureGaugeScale::lowerBound);
  EXPECT_EQ(zones.back().upper, TemperatureGaugeScale::upperBound);
  std::string legend;
  for (std::size_t i = 0; i < zones.size(); ++i) {
    if (i > 0) {
      EXPECT_EQ(zones[i].lower, zones[i - 1].upper);
      EXPECT_NE(zones[i].id, zones[i - 1].id);
    }
    EXPECT_EQ(static_cast<std::size_t>(zones[i].color), i);
    legend += zones[i].name + " " + zones[i].rangeLabel + ";";
  }
  EXPECT_EQ(legend, "Cool 30–45°;Normal 45–60°;Warm 60–75°;Hot 75–90°;Very Hot 90–105°;");
  EXPECT_EQ(TemperatureZone::colorFor(NAN), std::nullopt);
}

TEST(TemperatureGaugeState, summaryHasSixRows) {
  std::vector<std::string> titles;
  for (const ThermalMetricRow& row : makeThermalMetricRows({.cpuAverage = 52.34})) titles.push_back(row.title);
  EXPECT_THAT(titles, testing::ElementsAre("CPU all-core average", "Maximum P-core", "Maximum E-core",
                                           "Maximum GPU cluster", "CPU die hotspot (TCMz)", "GPU die hotspot (TRDX)"));
  std::string figures;
  for (const ThermalMetricRow& row : makeThermalMetricRows({1, 2, 3, 4, 5, 6})) figures += row.value + ";";
  EXPECT_EQ(figures, "1.0 °C;2.0 °C;3.0 °C;4.0 °C;5.0 °C;6.0 °C;");
  EXPECT_EQ(gaugeAccessibleValue(61.25), "61.2 degrees Celsius");
  EXPECT_EQ(gaugeAccessibleValue(std::nullopt), "unavailable");
}

}  // namespace halcyra::test
