#include "gtest/gtest.h"

#include "Helpers/CriticalThermalOverride.h"
#include "Helpers/FanZoneThermalFilter.h"
#include "Helpers/SustainedDieHeatFilter.h"
#include "Helpers/TemperatureDisplayPipeline.h"
#include "Helpers/TemperatureGaugeScale.h"
#include "Helpers/ThermalControlCompatibility.h"
#include "Helpers/ThermalDisplaySmoother.h"
#include "Support/Values.h"

namespace halcyra {
namespace {

using test::infinity;
using test::nan;
using test::Table;

Instant at(double seconds) {
  return Instant{Seconds{seconds}};
}

TEST(AsymmetricSmootherTest, risesFasterThanItFallsAndRestsInTheDeadBand) {
  for (const auto& [sample, expected] :
       Table<double, double>{{60.25, 60}, {59.75, 60}, {61, 60.65}, {59, 59.8}, {infinity, 60}, {nan, 60}}) {
    AsymmetricSmoother smoother({.initialValue = 60, .risingAlpha = 0.65, .fallingAlpha = 0.2, .deadband = 0.25});
    EXPECT_NEAR(smoother.update(sample), expected, 1e-9) << sample;
    smoother.reset();
    EXPECT_EQ(smoother.value(), std::nullopt);
    EXPECT_EQ(smoother.update(infinity), infinity) << "nothing to keep instead";
    EXPECT_EQ(smoother.value(), std::nullopt);
    EXPECT_EQ(smoother.update(90), 90);
  }
}

/// A filter that saw 70 °C: samples at their seconds, and the value that each must give.
void expectZoneValues(const char* what, const Table<double, double, double>& samples) {
  FanZoneThermalFilter filter({.initialValue = 70,
                               .risingAlpha = 0.45,
                               .fallingAlpha = 0.18,
                               .deadband = 0.35,
                               .coolingThreshold = 1.0,
                               .coolingHold = Seconds{8.0}});
  for (const auto& [time, sample, expected] : samples) {
    EXPECT_NEAR(filter.update(sample, at(time)), expected, 1e-9) << what << " at " << time << " s";
  }
  filter.reset();
  EXPECT_EQ(filter.update(infinity, at(0)), infinity) << what;
  EXPECT_EQ(filter.value(), std::nullopt) << what;
  EXPECT_EQ(filter.update(90, at(100)), 90) << what;
}

TEST(FanZoneThermalFilterTest, risesAtOnceAndFollowsADropAfterTheHold) {
  expectZoneValues("rise and drop", {{2, 80, 74.5},
                                     {4, 74.8, 74.5},
                                     {10, 72, 74.5},
                                     {17.9, 72, 74.5},
                                     {18, 72, 74.05},
                                     {20, 72, 74.05 - 2.05 * 0.18}});
  expectZoneValues("a small drop", {{0, 69.5, 70}, {100, 69.5, 70}});
  expectZoneValues("a smaller drop goes on with the wait", {{0, 69, 70}, {4, 69.4, 70}, {8, 69.4, 70 - 0.6 * 0.18}});
  expectZoneValues("a return ends it", {{0, 68, 70}, {4, 69.7, 70}, {8, 68, 70}, {15.9, 68, 70}, {16, 68, 69.64}});
  expectZoneValues("a rise ends it",
                   {{0, 68, 70}, {4, 71, 70.45}, {8, 68, 70.45}, {15.9, 68, 70.45}, {16, 68, 70.009}});
  expectZoneValues("no number changes nothing", {{1, 68, 70}, {2, nan, 70}, {9, 68, 69.64}});
}

TEST(SustainedDieHeatFilterTest, followsTheMedianUpAtOnceAndDownSlowlyAndForgetsAfterTwoMissesInARow) {
  using Value = std::optional<double>;
  constexpr Value none;
  // No sample stands for a poll without one.
  SustainedDieHeatFilter filter({.risingAlpha = 1.0, .fallingAlpha = 0.1, .missTolerance = 2});
  int step = 0;
  for (const auto& [sample, expected] : Table<Value, Value>{{50, none},
                                                            {90, none},
                                                            {60, 60},
                                                            {80, 80},
                                                            {50, 78},
                                                            {78, 78},
                                                            {none, 78},
                                                            {78, 78},
                                                            {none, 78},
                                                            {nan, 78},
                                                            {none, none},
                                                            {80, none},
                                                            {80, none},
                                                            {81, 80}}) {
    const Value value = sample ? filter.update(*sample) : filter.noteMissingSample();
    EXPECT_EQ(value.has_value(), expected.has_value()) << step;
    EXPECT_NEAR(value.value_or(0), expected.value_or(0), 1e-9) << step;
    ++step;
  }
  filter.reset();
  EXPECT_EQ(filter.value(), none);
  EXPECT_EQ(filter.update(80), none);
}

TEST(TemperatureDisplayPipelineTest, isEstablishedWithThreeSamplesThenSmoothsAndNeverShowsASpike) {
  TemperatureDisplayPipeline pipeline;
  EXPECT_EQ(pipeline.update(nan), std::nullopt);
  const double risen = 60.65 + 0.35 * 0.65;
  for (const auto& [sample, expected, isEstablished] :
       Table<double, double, bool>{{60, 60, false},
                                   {61, 60, false},
                                   {61, 60.65, true},
                                   {59, risen, true},
                                   {59, risen - (risen - 59) * 0.2, true},
                                   {infinity, risen - (risen - 59) * 0.2, true}}) {
    EXPECT_NEAR(pipeline.update(sample).value(), expected, 1e-9) << sample;
    EXPECT_EQ(pipeline.isEstablished(), isEstablished) << sample;
  }
  pipeline.reset();
  EXPECT_EQ(pipeline.value(), std::nullopt);
  EXPECT_FALSE(pipeline.isEstablished());
  for (const double sample : {50.0, 90.0, 50.0, 50.0, 95.0, 50.0}) EXPECT_EQ(pipeline.update(sample), 50) << sample;
}

TEST(CriticalThermalOverrideTest, engagesOnOneSampleAt105AndReleasesAfter15SecondsBelow100) {
  CriticalThermalOverride override;
  // Any sample from 100 °C on starts the wait anew.
  for (const auto& [time, temperature, isActive] : Table<double, double, bool>{{0, 104.9, false},
                                                                               {0, infinity, false},
                                                                               {0, 105, true},
                                                                               {1, 99, true},
                                                                               {10, 100, true},
                                                                               {20, 99, true},
                                                                               {30, 105, true},
                                                                               {31, 99, true},
                                                                               {40, nan, true},
                                                                               {45.9, 99, true},
                                                                               {46, 99, false},
                                                                               {47, 104, false},
                                                                               {48, 106, true}}) {
    EXPECT_EQ(override.update(temperature, at(time)), isActive) << "at " << time << " s";
  }
  override.reset();
  EXPECT_FALSE(override.isActive());
}

TEST(ThermalHelpersTest, theGaugeFillsFrom30To105AndControlNeedsTheModelAndTheTopology) {
  for (const auto& [temperature, fraction] : Table<double, double>{{20, 0}, {67.5, 0.5}, {110, 1}, {nan, 0}}) {
    EXPECT_EQ(TemperatureGaugeScale::fraction(temperature), fraction) << temperature;
  }
  for (const auto& [model, hasTopology, isAllowed] : Table<const char*, bool, bool>{{"Mac15,11", true, true},
                                                                                    {"Mac15,11", false, false},
                                                                                    {"Mac15,1", true, false},
                                                                                    {"Mac15,110", true, false},
                                                                                    {"mac15,11", true, false},
                                                                                    {"", true, false}}) {
    EXPECT_EQ(ThermalControlCompatibility::allowsControl(model, hasTopology), isAllowed) << model;
  }
}

}  // namespace
}  // namespace halcyra
