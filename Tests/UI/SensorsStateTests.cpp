#include <cmath>

#include "gmock/gmock.h"
#include "gtest/gtest.h"

#include "UI/SensorsState.h"

namespace halcyra::test {

namespace {

using testing::ElementsAre;

SensorReading reading(const std::string& key, double value) {
  return {key, key, value};
}

}  // namespace

TEST(SensorsState, groupsSearchesAndOrders) {
  const std::vector<SensorReading> readings{reading("Tf4A", 51.25), {"Te05", "Efficiency", 31}, reading("TH0a", 40),
                                            reading("T", 34),       reading("Tf04", 105.04),    reading("TH0b", 40),
                                            reading("Tf29", 45),    reading("TW0P", -40)};
  struct Case {
    std::string search;
    SensorsOrder order;
    std::vector<std::string> lines;
  };
  const std::vector<Case> cases{
      {"",
       SensorsOrder::key,
       {"T… (1)", "T 34.0 °C", "TH… (2)", "TH0a SSD 1 40.0 °C", "TH0b SSD 2 40.0 °C", "TW… (1)",
        "TW0P Wireless -40.0 °C", "Te… (1)", "Efficiency Efficiency core 1 31.0 °C", "Tf… (3)",
        "Tf04 Performance core 1 105.0 °C", "Tf29 GPU 7 45.0 °C", "Tf4A Performance core 9 51.2 °C"}},
      {"tF",
       SensorsOrder::key,
       {"Tf… (3)", "Tf04 Performance core 1 105.0 °C", "Tf29 GPU 7 45.0 °C", "Tf4A Performance core 9 51.2 °C"}},
      {"eff", SensorsOrder::key, {}},
      {"T",
       SensorsOrder::hottestFirst,
       {"All channels (8)", "Tf04 Performance core 1 105.0 °C", "Tf4A Performance core 9 51.2 °C", "Tf29 GPU 7 45.0 °C",
        "TH0a SSD 1 40.0 °C", "TH0b SSD 2 40.0 °C", "T 34.0 °C", "Efficiency Efficiency core 1 31.0 °C",
        "TW0P Wireless -40.0 °C"}},
      {"t",
       SensorsOrder::name,
       {"All channels (8)", "Efficiency Efficiency core 1 31.0 °C", "Tf29 GPU 7 45.0 °C",
        "Tf04 Performance core 1 105.0 °C", "Tf4A Performance core 9 51.2 °C", "TH0a SSD 1 40.0 °C",
        "TH0b SSD 2 40.0 °C", "TW0P Wireless -40.0 °C", "T 34.0 °C"}},
  };
  for (const Case& each : cases) {
    const SensorsState state = makeSensorsState({readings, each.search, each.order, {}});
    EXPECT_TRUE(state.hasReadings);
    std::vector<std::string> lines;
    for (const SensorsState::Group& group : state.groups) {
      lines.push_back(group.title);
      for (const SensorsState::Row& row : group.rows) {
        lines.push_back(row.name + (row.label.empty() ? "" : " ") + row.label + " " + row.value);
      }
    }
    EXPECT_EQ(lines, each.lines) << each.search;
  }
  EXPECT_FALSE(makeSensorsState({std::vector<SensorReading>()}).hasReadings);
}

TEST(SensorsState, knowsTheExtremesOfTheSession) {
  SensorExtremesFollower follower;
  std::vector<HistorySample> samples;
  ModelView::SensorHistory series;
  ModelView view;
  view.history = &samples;
  view.sensorHistory = &series;
  const auto add = [&](float value) {
    samples.push_back(
        {.date = Date(Seconds(2.0 * static_cast<double>(samples.size()))), .gpuCoreAverage = {}, .rpms = {}});
    series["TC0P"].push_back(value);
  };
  for (const float value : {NAN, 40.4F, 71.6F}) add(value);
  follower.update(view);
  // The history is shortened, and goes on.
  samples.erase(samples.begin(), samples.begin() + 2);
  series["TC0P"].erase(series["TC0P"].begin(), series["TC0P"].begin() + 2);
  samples.push_back({.date = Date(Seconds(100)), .gpuCoreAverage = {}, .rpms = {}});
  series["TC0P"].push_back(38.0F);
  const auto state = makeSensorsState({{reading("TC0P", 45)}, "", SensorsOrder::key, follower.update(view)});
  EXPECT_EQ(state.groups[0].rows[0].extremes, "38–72°");
  EXPECT_EQ(state.groups[0].rows[0].color, ZoneColor::green);
}

}  // namespace halcyra::test
