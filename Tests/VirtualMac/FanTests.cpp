#include <cmath>
#include <set>

#include "gtest/gtest.h"

#include "VirtualMac/Firmware.h"
#include "VirtualMac/MachineBench.h"

namespace halcyra::test {
namespace {

/// Puts a fan into manual mode, and returns when it is.
double takeFan(MachineBench& bench, int fan, double time) {
  bench.runTo(time);
  bench.insistOnMode(fan, 1);
  bench.runTo(time + 1);
  EXPECT_EQ(bench.machine.state().fans[static_cast<std::size_t>(fan)].mode, 1);
  return time + 1;
}

TEST(Fan, AcceptedWritesTakeEffectAfterAWhile) {
  std::set<int> refusals;
  std::set<int> delays;
  for (std::uint64_t seed = 1; seed <= 40; ++seed) {
    MachineBench bench("idle", seed);
    refusals.insert(bench.insistOnMode(0, 1));
    EXPECT_EQ(bench.readByte("F0Md"), 0);
    int elapsed = 0;
    while (bench.readByte("F0Md") == 0 && elapsed < 1000) {
      bench.runTo(++elapsed / 1000.0);
      const auto result = bench.writeMode(0, 1).output.result;
      EXPECT_TRUE(result == 0 || result == 0x82 || result == 0x83) << int{result};
    }
    delays.insert(elapsed);
    EXPECT_LE(elapsed, 601) << "a write that is repeated must not be postponed";
  }
  EXPECT_EQ(refusals, (std::set<int>{0, 1, 2, 3}));
  EXPECT_GT(delays.size(), 10U);
  EXPECT_GE(*delays.begin(), 50);
}

TEST(Fan, TargetInManualModeLatchesWithinTheLimitsAndIsFollowedWithInertia) {
  MachineBench bench;
  double time = takeFan(bench, 0, 10);
  const float before = bench.readFloat("F0Tg");
  ASSERT_EQ(bench.writeTarget(0, 9000).output.result, 0);
  EXPECT_EQ(bench.readFloat("F0Tg"), before);
  bench.runTo(time += 0.7);
  const float most = bench.readFloat("F0Mx");
  EXPECT_EQ(bench.readFloat("F0Tg"), most);
  double previous = bench.machine.state().fans[0].actual;
  EXPECT_LT(previous, 2200);
  for (int tick = 0; tick < 150; ++tick) {
    bench.runTo(time += 0.1);
    const double actual = bench.machine.state().fans[0].actual;
    EXPECT_GE(actual, previous - 1e-6);
    EXPECT_LE(actual - previous, 90.1);
    previous = actual;
  }
  EXPECT_NEAR(previous, most, 10);
  EXPECT_NEAR(bench.readFloat("F0Ac"), most, 20);
  EXPECT_LT(bench.machine.state().fans[1].actual, 1400) << "the other fan stays with the firmware";
  ASSERT_EQ(bench.writeTarget(0, 0).output.result, 0);
  bench.runTo(time + 1);
  EXPECT_EQ(bench.readFloat("F0Tg"), bench.readFloat("F0Mn"));
}

TEST(Fan, HandedBackFansFollowTheFirmwareAgain) {
  MachineBench bench;
  double time = takeFan(bench, 0, 1);
  ASSERT_EQ(bench.writeTarget(0, 5000).output.result, 0);
  bench.runTo(time += 15);
  ASSERT_EQ(bench.writeTarget(0, 4000).output.result, 0);
  bench.insistOnMode(0, 0);
  bench.runTo(time += 30);
  EXPECT_EQ(bench.readByte("F0Md"), 0);
  EXPECT_LT(bench.readFloat("F0Tg"), 1500);
  EXPECT_LT(bench.machine.state().fans[0].actual, 1500);
  bench.machine.faults().apply("latch-delay 2");
  bench.insistOnMode(0, 1);
  bench.runTo(time += 1);
  bench.insistOnMode(0, 0);
  bench.runTo(time + 10);
  EXPECT_EQ(bench.readByte("F0Md"), 0) << "a write back to the present mode cancels one that waits";
}

}  // namespace
}  // namespace halcyra::test
