
#include "gtest/gtest.h"

#include "Helpers/HysteresisCurve.h"
#include "Support/Values.h"

namespace halcyra {

namespace {

using test::nan;

/// Anchored at 60 °C, where it gives 3000 of 1000…5000.
HysteresisCurve anchored(double hysteresis) {
  HysteresisCurve curve(50.0, 70.0, hysteresis);
  EXPECT_EQ(curve.target(60.0, 1000, 5000), 3000);
  return curve;
}

}  // namespace

TEST(HysteresisCurve, HoldsWithinTheBandOnly) {
  struct Case {
    double hysteresis;
    double temperature;
    std::int64_t expected;
    double anchorAfterwards;
  };
  const Case cases[] = {
      {1.5, 58.6, 3000, 60.0}, {1.5, 58.5, 2700, 58.5},  {1.5, 61.0, 3200, 61.0},
      {0.0, 59.9, 2980, 59.9}, {-4.0, 59.9, 2980, 59.9}, {nan, 59.9, 2980, 59.9},
  };
  for (const Case& testCase : cases) {
    HysteresisCurve curve = anchored(testCase.hysteresis);
    EXPECT_EQ(curve.target(testCase.temperature, 1000, 5000), testCase.expected)
        << testCase.hysteresis << " at " << testCase.temperature;
    EXPECT_EQ(curve.lastTemperature(), testCase.anchorAfterwards);
  }
}

TEST(HysteresisCurve, AddsUpASlowFallAgainstTheAnchorAndLosesItWithNoNumber) {
  HysteresisCurve curve = anchored(1.5);
  for (const double temperature : {59.5, 58.6}) EXPECT_EQ(curve.target(temperature, 1000, 5000), 3000);
  EXPECT_EQ(curve.target(58.4, 1000, 5000), 2680);
  EXPECT_EQ(curve.target(nan, 1000, 5000), 5000);
  EXPECT_EQ(curve.target(58.0, 1000, 5000), 2600);
}

TEST(HysteresisCurve, ClampsAHeldSpeedToTheLimitsOfTheCall) {
  HysteresisCurve curve(50.0, 70.0, 1.5);
  ASSERT_EQ(curve.target(65.0, 1000, 5000), 4000);
  EXPECT_EQ(curve.target(64.0, 1000, 3500), 3500);
  EXPECT_EQ(curve.lastRPM(), 4000);
  EXPECT_EQ(curve.target(64.0, 1000, 5000), 4000);
  EXPECT_EQ(curve.target(64.0, 4200, 5000), 4200);
}

TEST(HysteresisCurveDeathTest, RefusesCrossedLimits) {
  HysteresisCurve curve(50.0, 70.0, 1.5);
  EXPECT_DEATH(curve.target(60.0, 3000, 2000), "minimum that is not above the maximum");
}

}  // namespace halcyra
