#include <cmath>
#include <limits>

#include "gtest/gtest.h"

#include "Helpers/FanCurve.h"
#include "Helpers/HysteresisCurve.h"
#include "Support/Values.h"

namespace halcyra {

using test::infinity;
using test::nan;
using test::Table;

TEST(FanCurve, RampsBetweenItsEnds) {
  const FanCurve usual{30.0, 50.0, 1200, 5000};
  const FanCurve empty{40.0, 40.0, 1200, 5000};
  for (const auto& [curve, temperature, expected] :
       Table<FanCurve, double, std::int64_t>{{usual, 29.9, 1200},
                                             {usual, 40.0, 3100},
                                             {usual, 49.999, 5000},
                                             {usual, 50.0, 5000},
                                             {usual, nan, 5000},
                                             {empty, 40.0, 1200},
                                             {empty, 40.1, 5000},
                                             {{50.0, 40.0, 1200, 5000}, 45.0, 1200},
                                             // Halves go away from zero, on both sides of it.
                                             {{0.0, 2.0, 0, 1}, 1.0, 1},
                                             {{0.0, 2.0, -3, -2}, 1.0, -3},
                                             // A curve that falls is not clamped.
                                             {{0.0, 10.0, 1000, 0}, 4.0, 600},
                                             // Without a usable ramp the fan must cool.
                                             {{nan, 50.0, 1200, 5000}, 20.0, 5000},
                                             {{30.0, infinity, 1200, 5000}, 40.0, 5000},
                                             {{-1.7e308, 1.7e308, 1200, 5000}, 1e308, 5000}}) {
    EXPECT_EQ(curve.rpm(temperature), expected) << curve.minTemp << "…" << curve.maxTemp << " at " << temperature;
  }
}

TEST(FanCurve, StaysWithin64Bits) {
  constexpr auto most = std::numeric_limits<std::int64_t>::max();
  constexpr auto least = std::numeric_limits<std::int64_t>::min();
  const FanCurve widest{0.0, 1.0, least, most};
  EXPECT_EQ(widest.rpm(std::nextafter(1.0, 0.0)), FanCurve::rounded(std::nextafter(1.0, 0.0) * 0x1p64 - 0x1p63));
  EXPECT_EQ(widest.rpm(1.0), most);
  EXPECT_EQ(FanCurve::rounded(1e300), most);
  EXPECT_EQ(FanCurve::rounded(-1e300), least);
}

TEST(HysteresisCurve, HoldsWithinTheBandBelowTheAnchorOnly) {
  // Anchored at 60 °C, where the curve gives 3000 of 1000…5000.
  for (const auto& [hysteresis, temperature, expected, anchor] :
       Table<double, double, std::int64_t, double>{{1.5, 58.6, 3000, 60.0},
                                                   {1.5, 58.5, 2700, 58.5},
                                                   {1.5, 61.0, 3200, 61.0},
                                                   {0.0, 59.9, 2980, 59.9},
                                                   {-4.0, 59.9, 2980, 59.9},
                                                   {nan, 59.9, 2980, 59.9}}) {
    HysteresisCurve curve(50.0, 70.0, hysteresis);
    EXPECT_EQ(curve.target(60.0, 1000, 5000), 3000);
    EXPECT_EQ(curve.target(temperature, 1000, 5000), expected) << hysteresis << " at " << temperature;
    EXPECT_EQ(curve.lastTemperature(), anchor);
  }
  // A slow fall adds up, what is no number ends the hold, and a held speed follows the limits of the call.
  HysteresisCurve curve(50.0, 70.0, 1.5);
  for (const auto& [temperature, minimum, maximum, expected] :
       Table<double, int, int, std::int64_t>{{60.0, 1000, 5000, 3000},
                                             {59.5, 1000, 5000, 3000},
                                             {58.6, 1000, 5000, 3000},
                                             {58.4, 1000, 5000, 2680},
                                             {nan, 1000, 5000, 5000},
                                             {58.0, 1000, 5000, 2600},
                                             {65.0, 1000, 5000, 4000},
                                             {64.0, 1000, 3500, 3500},
                                             {64.0, 1000, 5000, 4000},
                                             {64.0, 4200, 5000, 4200}}) {
    EXPECT_EQ(curve.target(temperature, minimum, maximum), expected) << temperature;
  }
  EXPECT_EQ(curve.lastRPM(), 4000);
  EXPECT_DEATH(curve.target(60.0, 3000, 2000), "minimum that is not above the maximum");
}

}  // namespace halcyra
