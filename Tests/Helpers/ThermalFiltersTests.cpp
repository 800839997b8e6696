#include <gtest/gtest.h>

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

Instant at(double seconds) {
  return Instant{Seconds{seconds}};
}

TEST(AsymmetricSmootherTest, risesFasterThanItFallsAndRestsInTheDeadBand) {
  const std::pair<double, double> cases[] = {{60.25, 60}, {59.75, 60}, {61, 60.65}, {59, 59.8}};
  for (const auto& [sample, expected] : cases) {
    AsymmetricSmoother smoother({.initialValue = 60, .risingAlpha = 0.65, .fallingAlpha = 0.2, .deadband = 0.25});
    EXPECT_NEAR(smoother.update(sample), expected, 1e-9) << sample;
  }
}

TEST(AsymmetricSmootherTest, ignoresWhatIsNotFinite) {
  AsymmetricSmoother smoother({.risingAlpha = 0.5, .fallingAlpha = 0.5, .deadband = 0});
  EXPECT_EQ(smoother.update(infinity), infinity);
  EXPECT_EQ(smoother.value(), std::nullopt);
  EXPECT_EQ(smoother.update(50), 50);
  EXPECT_EQ(smoother.update(nan), 50);
  EXPECT_EQ(smoother.value(), 50);
  smoother.reset();
  EXPECT_EQ(smoother.value(), std::nullopt);
  EXPECT_EQ(smoother.update(90), 90);
}

FanZoneThermalFilter zoneFilter(std::optional<double> initialValue) {
  return FanZoneThermalFilter({.initialValue = initialValue,
                               .risingAlpha = 0.45,
                               .fallingAlpha = 0.18,
                               .deadband = 0.35,
                               .coolingThreshold = 1.0,
                               .coolingHold = Seconds{8.0}});
}

TEST(FanZoneThermalFilterTest, risesAtOnceAndFollowsADropAfterTheHold) {
  struct Sample {
    double seconds;
    double sample;
    double expected;
  };
  const Sample samples[] = {
      {0, 60, 60},    {2, 70, 64.5},    {4, 64.8, 64.5},  // within the dead band
      {10, 62, 64.5}, {17.9, 62, 64.5}, {18, 62, 64.05}, {20, 62, 64.05 - 2.05 * 0.18},
  };
  FanZoneThermalFilter filter = zoneFilter(std::nullopt);
  for (const auto& [seconds, sample, expected] : samples) {
    EXPECT_NEAR(filter.update(sample, at(seconds)), expected, 1e-9) << "at " << seconds << " s";
  }
  FanZoneThermalFilter steady = zoneFilter(70);
  for (int second = 0; second < 100; ++second) EXPECT_EQ(steady.update(69.5, at(second)), 70) << "a small drop";
}

TEST(FanZoneThermalFilterTest, aDropOfExactlyTheThresholdCountsAndASmallerOneKeepsTheWaitGoing) {
  FanZoneThermalFilter filter = zoneFilter(70);
  filter.update(69, at(0));
  filter.update(69.4, at(4));
  EXPECT_NEAR(filter.update(69.4, at(8)), 70 - 0.6 * 0.18, 1e-9);
}

TEST(FanZoneThermalFilterTest, aReturnOrARiseEndsTheWait) {
  for (const double sample : {69.7, 70.5}) {
    FanZoneThermalFilter filter = zoneFilter(70);
    filter.update(68, at(0));
    const double value = filter.update(sample, at(4));
    EXPECT_EQ(filter.update(68, at(8)), value) << sample;
    EXPECT_EQ(filter.update(68, at(15.9)), value) << sample;
    EXPECT_LT(filter.update(68, at(16)), value) << sample;
  }
}

TEST(FanZoneThermalFilterTest, whatIsNotFiniteChangesNothing) {
  FanZoneThermalFilter filter = zoneFilter(std::nullopt);
  EXPECT_EQ(filter.update(infinity, at(0)), infinity);
  filter.update(70, at(0));
  filter.update(68, at(1));
  EXPECT_EQ(filter.update(nan, at(2)), 70);
  EXPECT_LT(filter.update(68, at(9)), 70) << "the wait went on";
  filter.reset();
  EXPECT_EQ(filter.value(), std::nullopt);
  EXPECT_EQ(filter.update(90, at(10)), 90);
}

SustainedDieHeatFilter dieHeatFilter() {
  return SustainedDieHeatFilter({.risingAlpha = 1.0, .fallingAlpha = 0.1, .missTolerance = 2});
}

TEST(SustainedDieHeatFilterTest, followsTheMedianUpAtOnceAndDownSlowly) {
  SustainedDieHeatFilter filter = dieHeatFilter();
  EXPECT_EQ(filter.update(50), std::nullopt);
  EXPECT_EQ(filter.update(90), std::nullopt);
  EXPECT_EQ(filter.update(60), 60);
  EXPECT_NEAR(filter.update(80).value(), 80, 1e-9);
  EXPECT_NEAR(filter.update(50).value(), 78, 1e-9);
}

TEST(SustainedDieHeatFilterTest, forgetsAfterTwoMissesInARow) {
  SustainedDieHeatFilter filter = dieHeatFilter();
  for (int sample = 0; sample < 3; ++sample) {
    filter.update(70);
  }
  EXPECT_EQ(filter.noteMissingSample(), 70);
  EXPECT_EQ(filter.update(70), 70);
  EXPECT_EQ(filter.noteMissingSample(), 70);
  EXPECT_EQ(filter.update(nan), 70);
  EXPECT_EQ(filter.noteMissingSample(), std::nullopt);
  EXPECT_EQ(filter.update(80), std::nullopt);
  EXPECT_EQ(filter.update(80), std::nullopt);
  EXPECT_EQ(filter.update(80), 80);
  filter.reset();
  EXPECT_EQ(filter.value(), std::nullopt);
  EXPECT_EQ(filter.update(80), std::nullopt);
}

TEST(TemperatureDisplayPipelineTest, isEstablishedWithThreeSamplesThenSmoothsAndNeverShowsASpike) {
  TemperatureDisplayPipeline pipeline;
  EXPECT_EQ(pipeline.update(nan), std::nullopt);
  pipeline.update(60);
  pipeline.update(61);
  EXPECT_FALSE(pipeline.isEstablished());
  EXPECT_EQ(pipeline.value(), 60);
  EXPECT_NEAR(pipeline.update(61).value(), 60.65, 1e-9);
  EXPECT_TRUE(pipeline.isEstablished());
  pipeline.update(59);
  EXPECT_NEAR(pipeline.update(59).value(), 60.65 + 0.35 * 0.65 - (60.65 + 0.35 * 0.65 - 59) * 0.2, 1e-9);
  EXPECT_EQ(pipeline.update(infinity), pipeline.value());
  pipeline.reset();
  EXPECT_EQ(pipeline.value(), std::nullopt);
  EXPECT_FALSE(pipeline.isEstablished());
  for (const double sample : {50.0, 90.0, 50.0, 50.0, 95.0, 50.0}) EXPECT_EQ(pipeline.update(sample), 50) << sample;
}

TEST(CriticalThermalOverrideTest, engagesOnOneSampleAt105) {
  CriticalThermalOverride override;
  EXPECT_FALSE(override.update(104.9, at(0)));
  EXPECT_FALSE(override.update(infinity, at(0)));
  EXPECT_TRUE(override.update(105.0, at(0)));
  EXPECT_TRUE(override.update(nan, at(60)));
  EXPECT_TRUE(override.isActive());
  override.reset();
  EXPECT_FALSE(override.isActive());
}

TEST(CriticalThermalOverrideTest, releasesAfter15SecondsBelow100WhichAnySampleFrom100OnRestarts) {
  for (const double sample : {100.0, 105.0}) {
    CriticalThermalOverride override;
    override.update(105, at(0));
    EXPECT_TRUE(override.update(99, at(1)));
    EXPECT_TRUE(override.update(sample, at(10)));
    EXPECT_TRUE(override.update(99, at(20)));
    EXPECT_TRUE(override.update(99, at(34.9)));
    EXPECT_FALSE(override.update(99, at(35))) << sample;
    EXPECT_FALSE(override.update(104, at(36))) << sample;
  }
}

TEST(TemperatureGaugeScaleTest, fillsFrom30To105) {
  const std::pair<double, double> cases[] = {{20, 0}, {67.5, 0.5}, {110, 1}, {nan, 0}};
  for (const auto& [temperature, expected] : cases) {
    EXPECT_EQ(TemperatureGaugeScale::fraction(temperature), expected) << temperature;
  }
}

TEST(ThermalControlCompatibilityTest, needsTheModelAndTheTopology) {
  EXPECT_TRUE(ThermalControlCompatibility::allowsControl("Mac15,11", true));
  EXPECT_FALSE(ThermalControlCompatibility::allowsControl("Mac15,11", false));
  for (const char* model : {"Mac15,1", "Mac15,110", "mac15,11", ""}) {
    EXPECT_FALSE(ThermalControlCompatibility::allowsControl(model, true)) << model;
  }
}

}  // namespace
}  // namespace halcyra
