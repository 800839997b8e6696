#include <algorithm>

#include "gtest/gtest.h"

#include "VirtualMac/MachineBench.h"

namespace halcyra::test {
namespace {

bool isDie(const std::string& key) {
  static const std::string dies =
      "Te05 Te0L Te0P Te0S Tf04 Tf09 Tf0A Tf0B Tf0D Tf0E Tf44 Tf49 Tf4A Tf4B Tf4D Tf4E "
      "Tf14 Tf18 Tf19 Tf1A Tf24 Tf28 Tf29 Tf2A";
  return dies.find(key) != std::string::npos;
}

struct Span {
  double hottestDie = -1000;
  double hotspot = -1000;
  double dieSum = 0;
  int dieCount = 0;
};

/// Everything that the sensors said in a minute, every quarter of a second.
Span watch(MachineBench& bench, double from) {
  Span span;
  for (double time = from; time < from + 60; time += 0.25) {
    bench.runTo(time);
    for (const auto& [key, celsius] : bench.machine.state().temperatures) {
      if (isDie(key)) {
        span.hottestDie = std::max(span.hottestDie, celsius);
        span.dieSum += celsius;
        ++span.dieCount;
      } else if (key == "TCMz" || key == "TRDX") {
        span.hotspot = std::max(span.hotspot, celsius);
      }
    }
  }
  return span;
}

TEST(Thermals, IdleSettlesNear45) {
  for (const std::uint64_t seed : {1U, 2U, 99U}) {
    MachineBench bench("idle", seed);
    const Span span = watch(bench, 1800);
    EXPECT_NEAR(span.dieSum / span.dieCount, 44.5, 2.0);
    const auto fans = bench.machine.state().fans;
    EXPECT_NEAR(fans[0].actual, fans[0].minimum, 20);
    EXPECT_NEAR(fans[1].actual, fans[1].minimum, 20);
  }
}

TEST(Thermals, FullLoadUnderTheFirmwaresCurveNears100) {
  MachineBench bench("sustained");
  bench.runTo(10);
  EXPECT_LT(bench.truth("Tf04"), 80) << "sinks take tens of seconds to warm";
  EXPECT_GT(bench.truth("Tf04"), 55) << "dies take seconds";
  const Span span = watch(bench, 1800);
  EXPECT_GT(bench.truth("Tf04"), 95);
  EXPECT_LT(bench.truth("Tf04"), 103);
  EXPECT_GT(span.hotspot, 98);
  const auto fan = bench.machine.state().fans[0];
  EXPECT_GT(fan.actual, fan.minimum + 1000);
  EXPECT_LT(fan.actual, fan.maximum - 1000) << "quiet before cool";
}

}  // namespace
}  // namespace halcyra::test
