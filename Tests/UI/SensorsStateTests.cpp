#include "gmock/gmock.h"
#include "gtest/gtest.h"

#include "UI/SensorsState.h"

namespace halcyra::test {

namespace {

using testing::ElementsAre;

std::vector<std::string> lines(const SensorsState& state) {
  std::vector<std::string> result;
  for (const SensorsState::Group& group : state.groups) {
    result.push_back(group.title);
    for (const SensorsState::Row& row : group.rows) result.push_back(row.name + " " + row.value);
  }
  return result;
}

SensorReading reading(const std::string& key, double value) {
  return {key, key, value};
}

}  // namespace

TEST(SensorsState, groupsByPrefixUpperCaseFirstWithTheNames) {
  const std::vector<SensorReading> readings{reading("Tp0A", 51.25),
                                            {"Te05", "Efficiency", 31},
                                            reading("TC0P", 40),
                                            reading("T", 34),
                                            reading("Tp01", 105.04)};
  EXPECT_THAT(lines(makeSensorsState(readings, "")),
              ElementsAre("T… (1)", "T 34.0 °C", "TC… (1)", "TC0P 40.0 °C", "Te… (1)", "Efficiency 31.0 °C", "Tp… (2)",
                          "Tp01 105.0 °C", "Tp0A 51.2 °C"));
}

TEST(SensorsState, searchesKeysInAnyCase) {
  const std::vector<SensorReading> readings{{"Tp01", "Core", 50}, reading("TC0P", 40), reading("xTPx", 45)};
  EXPECT_THAT(lines(makeSensorsState(readings, "tp")),
              ElementsAre("Tp… (1)", "Core 50.0 °C", "xT… (1)", "xTPx 45.0 °C"));
  EXPECT_THAT(lines(makeSensorsState(readings, "core")), ElementsAre()) << "names are not searched";
  EXPECT_TRUE(makeSensorsState(readings, "core").hasReadings);
  EXPECT_FALSE(makeSensorsState(std::vector<SensorReading>(), "").hasReadings);
}

TEST(SensorsState, everyRowHasItsZone) {
  const std::vector<std::pair<double, ZoneColor>> cases{
      {-40, ZoneColor::blue}, {44.9, ZoneColor::blue}, {45, ZoneColor::green}, {125, ZoneColor::red}};
  for (const auto& [value, color] : cases) {
    EXPECT_EQ(makeSensorsState({reading("TC0P", value)}, "").groups[0].rows[0].color, color) << value;
  }
}

}  // namespace halcyra::test
