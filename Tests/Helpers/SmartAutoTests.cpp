#include <optional>
#include <vector>

#include "gtest/gtest.h"

#include "Helpers/SmartAutoCurve.h"
#include "Helpers/SmartAutoDecision.h"
#include "Support/Values.h"

namespace halcyra {

namespace {

using test::nan;
constexpr std::int64_t minimum = 1200;
constexpr std::int64_t maximum = 5000;

}  // namespace

TEST(SmartAutoCurve, LooksUpZoneAndDieFloor) {
  struct Case {
    double temperature;
    std::int64_t zone;
    std::int64_t dieFloor;
  };
  const Case cases[] = {
      {55, 1200, 1200}, {57.5, 1865, 1200}, {60, 2530, 1200},  {67.5, 3100, 1200}, {75, 3670, 1200},  {84, 4354, 1200},
      {85, 4430, 1580}, {87.5, 4715, 2530}, {88, 4772, 2720},  {90, 5000, 3138},   {92, 5000, 3556},  {96, 5000, 4316},
      {98, 5000, 4658}, {100, 5000, 5000},  {-40, 1200, 1200}, {150, 5000, 5000},  {nan, 5000, 5000},
  };
  for (const Case& testCase : cases) {
    EXPECT_EQ(SmartAutoCurve::rpm(testCase.temperature, minimum, maximum), testCase.zone) << testCase.temperature;
    EXPECT_EQ(SmartAutoCurve::dieFloorRPM(testCase.temperature, minimum, maximum), testCase.dieFloor)
        << testCase.temperature;
  }
}

TEST(SmartAutoCurve, KnowsTheTiers) {
  struct Case {
    double temperature;
    int tier;
    double next;
    double nextDieFloor;
  };
  const Case cases[] = {{54.9, 0, 55, 84}, {55, 1, 60, 84}, {74.9, 2, 75, 84},  {76, 3, 85, 84},   {84, 3, 85, 88},
                        {85, 4, 90, 88},   {90, 5, 90, 92}, {99.9, 5, 90, 100}, {100, 5, 90, 100}, {100.5, 5, 90, 100}};
  for (const Case& testCase : cases) {
    EXPECT_EQ(SmartAutoCurve::tier(testCase.temperature), testCase.tier) << testCase.temperature;
    EXPECT_EQ(SmartAutoCurve::nextTierTemperature(testCase.temperature), testCase.next) << testCase.temperature;
    EXPECT_EQ(SmartAutoCurve::nextDieFloorTierTemperature(testCase.temperature), testCase.nextDieFloor)
        << testCase.temperature;
  }
}

TEST(SmartAutoCurve, BoostsOnlyWhileTheDieHeatsFast) {
  struct Case {
    const char* what;
    std::vector<std::pair<double, double>> samples;
    bool expected;
  };
  const Case cases[] = {
      {"two rises of 1.5", {{0, 80}, {1, 81.5}, {2, 83}}, true},
      {"only the last three count", {{0, 90}, {1, 80}, {2, 81.5}, {3, 83}}, true},
      {"the rate is per second", {{0, 80}, {2, 81.5}, {4, 83}}, false},
      {"first rise exactly 1.0", {{0, 80}, {1, 81}, {2, 82.5}}, false},
      {"last rise exactly 1.0", {{0, 80}, {1, 81.5}, {2, 82.5}}, false},
      {"two samples", {{0, 80}, {1, 85}}, false},
      {"equal times", {{0, 80}, {1, 85}, {1, 90}}, false},
      {"no number", {{0, 80}, {1, nan}, {2, 90}}, false},
  };
  for (const Case& testCase : cases) {
    std::vector<SmartAutoCurve::Sample> samples;
    for (const auto& [seconds, temperature] : testCase.samples) {
      samples.emplace_back(Instant{Seconds{seconds}}, temperature);
    }
    EXPECT_EQ(SmartAutoCurve::isBoosting(samples), testCase.expected) << testCase.what;
  }
}

TEST(SmartAutoDecision, TakesTheHigherOfZoneAndFloor) {
  struct Case {
    double zone;
    std::optional<double> die;
    bool isCritical;
    std::int64_t target;
    bool isFloor;
  };
  const Case cases[] = {
      {50, 90, false, 3138, true},  {50, std::nullopt, false, 1200, false}, {67.5, 84, false, 3100, false},
      {50, 84, false, 1200, false}, {50, std::nullopt, true, 5000, false},  {nan, std::nullopt, false, 5000, false},
      {50, nan, false, 5000, true},
  };
  for (const Case& testCase : cases) {
    EXPECT_EQ(SmartAutoDecision::targetRPM(testCase.zone, testCase.die, testCase.isCritical, minimum, maximum),
              testCase.target)
        << testCase.zone;
    EXPECT_EQ(SmartAutoDecision::floorDrivesDecision(testCase.zone, testCase.die, minimum, maximum), testCase.isFloor)
        << testCase.zone;
  }
}

TEST(SmartAutoDecision, LooksOneTierAheadWhileBoosting) {
  EXPECT_EQ(SmartAutoDecision::effectiveSustainedDieTemperature(85.0, true), 88.0);
  EXPECT_EQ(SmartAutoDecision::effectiveSustainedDieTemperature(100.5, true), 100.0);
  EXPECT_EQ(SmartAutoDecision::effectiveSustainedDieTemperature(85.0, false), 85.0);
  EXPECT_EQ(SmartAutoDecision::effectiveSustainedDieTemperature(std::nullopt, true), std::nullopt);
}

TEST(SmartAutoDecision, ReassertsFrom50RPMOn) {
  EXPECT_FALSE(SmartAutoDecision::needsReassertion(3000, 3049));
  EXPECT_FALSE(SmartAutoDecision::needsReassertion(3000, 2951));
  EXPECT_TRUE(SmartAutoDecision::needsReassertion(3000, 3050));
  EXPECT_TRUE(SmartAutoDecision::needsReassertion(3000, 2950));
  EXPECT_FALSE(SmartAutoDecision::needsReassertion(3000, std::nullopt));
}

TEST(SmartAutoDeathTest, RefusesCrossedLimits) {
  EXPECT_DEATH(SmartAutoDecision::targetRPM(60, 90.0, true, 3000, 2000), "not above the maximum");
  EXPECT_DEATH(SmartAutoCurve::rpm(60, 3000, 2000), "not above the maximum");
}

}  // namespace halcyra
