#include "gtest/gtest.h"

#include "Helpers/SmartAutoCurve.h"
#include "Helpers/SmartAutoDecision.h"
#include "Helpers/SmartAutoRampDownState.h"
#include "Support/Values.h"

namespace halcyra {

using test::nan;
using test::Table;

namespace {

constexpr std::int64_t minimum = 1200;
constexpr std::int64_t maximum = 5000;

}  // namespace

TEST(SmartAutoCurve, LooksUpZoneAndDieFloor) {
  for (const auto& [temperature, zone, dieFloor] : Table<double, std::int64_t, std::int64_t>{{55, 1200, 1200},
                                                                                             {57.5, 1865, 1200},
                                                                                             {60, 2530, 1200},
                                                                                             {67.5, 3100, 1200},
                                                                                             {75, 3670, 1200},
                                                                                             {84, 4354, 1200},
                                                                                             {85, 4430, 1580},
                                                                                             {87.5, 4715, 2530},
                                                                                             {88, 4772, 2720},
                                                                                             {90, 5000, 3138},
                                                                                             {92, 5000, 3556},
                                                                                             {96, 5000, 4316},
                                                                                             {98, 5000, 4658},
                                                                                             {100, 5000, 5000},
                                                                                             {-40, 1200, 1200},
                                                                                             {150, 5000, 5000},
                                                                                             {nan, 5000, 5000}}) {
    EXPECT_EQ(SmartAutoCurve::rpm(temperature, minimum, maximum), zone) << temperature;
    EXPECT_EQ(SmartAutoCurve::dieFloorRPM(temperature, minimum, maximum), dieFloor) << temperature;
  }
  EXPECT_DEATH(SmartAutoCurve::rpm(60, 3000, 2000), "not above the maximum");
}

TEST(SmartAutoCurve, KnowsTheTiers) {
  for (const auto& [temperature, tier, next, nextDieFloor] : Table<double, int, double, double>{{54.9, 0, 55, 84},
                                                                                                {55, 1, 60, 84},
                                                                                                {74.9, 2, 75, 84},
                                                                                                {76, 3, 85, 84},
                                                                                                {84, 3, 85, 88},
                                                                                                {85, 4, 90, 88},
                                                                                                {90, 5, 90, 92},
                                                                                                {99.9, 5, 90, 100},
                                                                                                {100, 5, 90, 100},
                                                                                                {100.5, 5, 90, 100}}) {
    EXPECT_EQ(SmartAutoCurve::tier(temperature), tier) << temperature;
    EXPECT_EQ(SmartAutoCurve::nextTierTemperature(temperature), next) << temperature;
    EXPECT_EQ(SmartAutoCurve::nextDieFloorTierTemperature(temperature), nextDieFloor) << temperature;
  }
}

TEST(SmartAutoCurve, BoostsOnlyWhileTheDieHeatsFast) {
  for (const auto& [what, samples, expected] : Table<const char*, std::vector<std::pair<double, double>>, bool>{
           {"two rises of 1.5", {{0, 80}, {1, 81.5}, {2, 83}}, true},
           {"only the last three count", {{0, 90}, {1, 80}, {2, 81.5}, {3, 83}}, true},
           {"the rate is per second", {{0, 80}, {2, 81.5}, {4, 83}}, false},
           {"first rise exactly 1.0", {{0, 80}, {1, 81}, {2, 82.5}}, false},
           {"last rise exactly 1.0", {{0, 80}, {1, 81.5}, {2, 82.5}}, false},
           {"two samples", {{0, 80}, {1, 85}}, false},
           {"equal times", {{0, 80}, {1, 85}, {1, 90}}, false},
           {"no number", {{0, 80}, {1, nan}, {2, 90}}, false}}) {
    std::vector<SmartAutoCurve::Sample> taken;
    for (const auto& [time, temperature] : samples) taken.emplace_back(Instant{Seconds{time}}, temperature);
    EXPECT_EQ(SmartAutoCurve::isBoosting(taken), expected) << what;
  }
}

TEST(SmartAutoDecision, TakesTheHigherOfZoneAndFloorAndLooksOneTierAheadWhileBoosting) {
  using Die = std::optional<double>;
  for (const auto& [zone, die, isCritical, target, isFloor] :
       Table<double, Die, bool, std::int64_t, bool>{{50, 90, false, 3138, true},
                                                    {50, std::nullopt, false, 1200, false},
                                                    {67.5, 84, false, 3100, false},
                                                    {50, 84, false, 1200, false},
                                                    {50, std::nullopt, true, 5000, false},
                                                    {nan, std::nullopt, false, 5000, false},
                                                    {50, nan, false, 5000, true}}) {
    EXPECT_EQ(SmartAutoDecision::targetRPM(zone, die, isCritical, minimum, maximum), target) << zone;
    EXPECT_EQ(SmartAutoDecision::floorDrivesDecision(zone, die, minimum, maximum), isFloor) << zone;
  }
  for (const auto& [die, isBoosting, effective] :
       Table<Die, bool, Die>{{85, true, 88}, {100.5, true, 100}, {85, false, 85}, {std::nullopt, true, std::nullopt}}) {
    EXPECT_EQ(SmartAutoDecision::effectiveSustainedDieTemperature(die, isBoosting), effective);
  }
  for (const auto& [reported, expected] : Table<std::optional<std::int64_t>, bool>{
           {3049, false}, {2951, false}, {3050, true}, {2950, true}, {std::nullopt, false}}) {
    EXPECT_EQ(SmartAutoDecision::needsReassertion(3000, reported), expected);
  }
  EXPECT_DEATH(SmartAutoDecision::targetRPM(60, 90.0, true, 3000, 2000), "not above the maximum");
}

TEST(SmartAutoRampDownState, FallsInTimedStepsAndRisesAtOnce) {
  // One fan's life: each call is given what the call before has returned.
  SmartAutoRampDownState state;
  std::int64_t commanded = 5000;
  for (const auto& [time, desired, expected] : Table<double, std::int64_t, std::int64_t>{{0, 3000, 5000},
                                                                                         {29.9, 3000, 5000},
                                                                                         {30, 3000, 4500},
                                                                                         {59.9, 3000, 4500},
                                                                                         {60, 3000, 4000},
                                                                                         {70, 5200, 5200},
                                                                                         {71, 5000, 5200},
                                                                                         {100.9, 5000, 5200},
                                                                                         {101, 5000, 5000},
                                                                                         {131, 5000, 5000},
                                                                                         {132, 4999, 5000},
                                                                                         {161.9, 1000, 5000},
                                                                                         {162, 4800, 4800}}) {
    const bool isFalling = desired < commanded;
    commanded = state.nextTarget(desired, commanded, Instant{Seconds{time}}, Seconds{30}, 500);
    EXPECT_EQ(commanded, expected) << "at " << time << " s";
    EXPECT_EQ(state.coolingSince().has_value(), isFalling) << "at " << time << " s";
  }
}

}  // namespace halcyra
