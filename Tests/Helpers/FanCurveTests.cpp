#include <cmath>
#include <limits>

#include "gtest/gtest.h"

#include "Helpers/FanCurve.h"
#include "Support/Values.h"

namespace halcyra {

namespace {

using test::infinity;
using test::nan;

}  // namespace

TEST(FanCurve, RampsBetweenItsEnds) {
  struct Case {
    FanCurve curve;
    double temperature;
    std::int64_t expected;
  };
  const FanCurve usual{30.0, 50.0, 1200, 5000};
  const FanCurve empty{40.0, 40.0, 1200, 5000};
  const FanCurve inverted{50.0, 40.0, 1200, 5000};
  const Case cases[] = {
      {usual, 29.9, 1200},
      {usual, 40.0, 3100},
      {usual, 49.999, 5000},
      {usual, 50.0, 5000},
      {usual, nan, 5000},
      {empty, 40.0, 1200},
      {empty, 40.1, 5000},
      {inverted, 45.0, 1200},
      // Halves go away from zero, on both sides of it.
      {{0.0, 2.0, 0, 1}, 1.0, 1},
      {{0.0, 2.0, -3, -2}, 1.0, -3},
      // A curve that falls is not clamped.
      {{0.0, 10.0, 1000, 0}, 4.0, 600},
      // Without a usable ramp the fan must cool.
      {{nan, 50.0, 1200, 5000}, 20.0, 5000},
      {{30.0, infinity, 1200, 5000}, 40.0, 5000},
      {{-1.7e308, 1.7e308, 1200, 5000}, 1e308, 5000},
  };
  for (const Case& testCase : cases) {
    EXPECT_EQ(testCase.curve.rpm(testCase.temperature), testCase.expected)
        << testCase.curve.minTemp << "…" << testCase.curve.maxTemp << " at " << testCase.temperature;
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

}  // namespace halcyra
