// What happens to the fans around sleep and wake, and when the clock or the pace of the polls is changed.

#include <string>

#include "gtest/gtest.h"

#include "Faults/FaultBench.h"
#include "Support/HelperMessages.h"

namespace halcyra::test {
namespace {

namespace Selector = FanControlHelperSelector;

/// Puts the machine to sleep and judges how it came there: let go only with its fans automatic, nothing driven since.
void sleepAndJudge(FaultBench& bench, double limit) {
  DirectPowerEvents& power = bench.loop.application->doubles->power;
  const auto before = bench.mark();
  bool automaticWhenLetGo = false;
  power.sleep();
  EXPECT_TRUE(bench.loop.runUntil(
      [&] {
        if (!power.isAsleep()) return false;
        automaticWhenLetGo = bench.loop.allAutomatic();
        return true;
      },
      limit));
  EXPECT_TRUE(automaticWhenLetGo) << "the machine may not sleep before its fans are back";
  bench.expectStaysHandedBack(300);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  EXPECT_EQ(bench.sessionsBegun(), before.sessions);
  EXPECT_EQ(power.allowed(), 1);
  EXPECT_FALSE(bench.loop.model().isBusy());
}

TEST(SleepTests, UnderControl) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  sleepAndJudge(bench, 3);
  const auto asleep = bench.mark();
  bench.loop.application->doubles->power.wake();
  bench.expectRestored(FanPreset::fullBlast(), asleep, 1, 10);
}

TEST(SleepTests, InTheMiddleOfARead) {
  FaultBench bench("sustained");
  bench.startDriving(FanPreset::automatic());
  // A read takes longer than a poll's period: one is always out.
  bench.loop.fault("slow 10");
  bench.run(10);
  const auto sampled = bench.loop.model().lastTemperatureSampleDate();
  ASSERT_TRUE(bench.until([&] { return bench.loop.model().lastTemperatureSampleDate() != sampled; }, 10));
  bench.loop.run(0.5);
  const auto last = bench.loop.model().lastTemperatureSampleDate();
  sleepAndJudge(bench, 15);
  EXPECT_EQ(bench.loop.model().lastTemperatureSampleDate(), last) << "what was read before may not be applied any more";
  EXPECT_EQ(bench.loop.model().displayTemperature(), std::nullopt);
  bench.loop.fault("clear slow");
  const auto asleep = bench.mark();
  bench.loop.application->doubles->power.wake();
  bench.expectRestored(FanPreset::automatic(), asleep, 1, 10);
}

TEST(SleepTests, AReadFromBeforeIsNotAppliedAfterWake) {
  FaultBench bench;
  bench.startDriving(FanPreset::automatic());
  // Reads now take longer than the whole sleep.
  bench.loop.fault("slow 100");
  bench.run(2.5);
  const auto last = bench.loop.model().lastTemperatureSampleDate();
  DirectPowerEvents& power = bench.loop.application->doubles->power;
  power.sleep();
  ASSERT_TRUE(bench.until([&] { return power.isAsleep(); }, 15));
  bench.loop.fault("clear slow");
  power.wake();
  const auto awake = bench.mark();
  EXPECT_TRUE(bench.until([&] { return bench.loop.model().lastTemperatureSampleDate() != last; }, 60));
  EXPECT_EQ(bench.driveWritesSince(awake), 0u) << "nothing is driven before a fresh reading";
  bench.expectRestored(FanPreset::automatic(), awake, 1, 15);
}

TEST(SleepTests, InTheMiddleOfATargetWrite) {
  FaultBench bench;
  bench.startDriving(steadyPreset(3000));
  bench.loop.fault("latch-delay 4");
  bench.command([](AppModel& model) { model.savePreset(steadyPreset(4000)); });
  ASSERT_TRUE(bench.untilSent(Selector::setFanTargetRPM, 3));
  bench.loop.run(0.1);
  sleepAndJudge(bench, 10);
  bench.loop.fault("clear latch-delay");
  const auto asleep = bench.mark();
  bench.loop.application->doubles->power.wake();
  bench.expectRestored(steadyPreset(4000), asleep, 1, 10);
  EXPECT_EQ(bench.targetsSince(asleep, 0), std::vector<double>{4000}) << "nothing older comes after it";
}

TEST(SleepTests, InTheMiddleOfAnActivation) {
  for (const ActivationMoment& moment : activationMoments) {
    SCOPED_TRACE(moment.name());
    FaultBench bench;
    bench.start();
    bench.loop.fault("latch-delay 1.5");
    bench.activateUpTo(moment);
    DirectPowerEvents& power = bench.loop.application->doubles->power;
    power.sleep();
    EXPECT_TRUE(bench.loop.runUntil([&] { return power.isAsleep(); }, 6));
    EXPECT_TRUE(bench.loop.allAutomatic()) << "the machine may not sleep before its fans are back";
    bench.expectStaysHandedBack(300);
    EXPECT_FALSE(bench.loop.model().hasHelperSession());
    EXPECT_FALSE(bench.loop.model().isBusy());
    const auto asleep = bench.mark();
    power.wake();
    bench.expectRestored(FanPreset::fullBlast(), asleep, 1, 12);
  }
}

TEST(WakeTests, SlowSensorsDelayThePresetAndDriveNothing) {
  FaultBench bench("sustained");
  bench.startDriving(FanPreset::automatic());
  bench.run(60);
  sleepAndJudge(bench, 3);
  bench.loop.fault("slow 25");
  const auto asleep = bench.mark();
  const auto last = bench.loop.model().lastTemperatureSampleDate();
  bench.loop.application->doubles->power.wake();
  EXPECT_TRUE(bench.until([&] { return bench.loop.model().lastTemperatureSampleDate() != last; }, 40));
  EXPECT_GT(bench.loop.now() - asleep.time, 2);
  EXPECT_EQ(bench.driveWritesSince(asleep), 0u) << "nothing is driven before a fresh reading";
  bench.loop.fault("clear slow");
  bench.expectRestored(FanPreset::automatic(), asleep, 1, 15);
}

TEST(WakeTests, SensorsThatAreNotThereYetDelayThePreset) {
  FaultBench bench;
  bench.startDriving(FanPreset::automatic());
  sleepAndJudge(bench, 3);
  bench.loop.fault("driver-gone");
  const auto asleep = bench.mark();
  bench.loop.application->doubles->power.wake();
  bench.expectStaysHandedBack(30);
  EXPECT_EQ(bench.sessionsBegun(), asleep.sessions);
  bench.loop.fault("clear driver-gone");
  bench.expectRestored(FanPreset::automatic(), asleep, 1, 10);
}

class ClockTests : public testing::TestWithParam<double> {};

TEST_P(ClockTests, SteppedUnderControl) {
  FaultBench bench("bursts");
  bench.startDriving(FanPreset::automatic());
  bench.run(60);
  const auto before = bench.mark();
  bench.loop.scheduler.stepWallClock(Seconds{GetParam()});
  bench.run(120);
  bench.expectUntouched(FanPreset::automatic(), before);
  EXPECT_EQ(bench.loop.model().lastError(), std::nullopt);
}

TEST_P(ClockTests, SteppedWhileARetryWaits) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  bench.loop.fault("result F0Tg 0x86");
  bench.loop.fault("set-mode 0 1 2000");
  ASSERT_TRUE(bench.until([&] { return bench.loop.allAutomatic(); }, 6));
  bench.loop.fault("clear result");
  const auto failed = bench.mark();
  bench.loop.scheduler.stepWallClock(Seconds{GetParam()});
  bench.expectStaysHandedBack(3);
  bench.expectRestored(FanPreset::fullBlast(), failed, 1, 10);
}

TEST_P(ClockTests, SteppedWhileTheOverrideHolds) {
  FaultBench bench;
  bench.startDriving(steadyPreset(3000));
  bench.loop.fault("spike 110 4");
  ASSERT_TRUE(bench.until([&] { return bench.loop.model().criticalThermalOverrideActive(); }, 5));
  bench.run(8);
  bench.loop.scheduler.stepWallClock(Seconds{GetParam()});
  EXPECT_TRUE(bench.loop.model().criticalThermalOverrideActive());
  // Held for 15 s below 100 °C, give or take the polls, and no hour longer.
  EXPECT_TRUE(bench.until([&] { return !bench.loop.model().criticalThermalOverrideActive(); }, 40));
  EXPECT_TRUE(bench.until([&] { return bench.targetOf(0) == 3000 && bench.targetOf(1) == 3000; }, 5));
}

TEST_P(ClockTests, SteppedWhileTheFansStepDown) {
  FaultBench bench("sustained");
  bench.startDriving(FanPreset::automatic());
  bench.run(180);
  bench.loop.machine.setWorkload(makeWorkload("idle", 1));
  const double high = bench.targetOf(0);
  ASSERT_GT(high, 2500);
  ASSERT_TRUE(bench.until([&] { return bench.targetOf(0) < high; }, 120));
  bench.loop.scheduler.stepWallClock(Seconds{GetParam()});
  const auto stepped = bench.mark();
  bench.run(200);
  const auto targets = bench.targetsSince(stepped, 0);
  double last = targets.empty() ? 0 : targets.front();
  EXPECT_GE(targets.size(), 2u) << "it goes on";
  for (const double target : targets) {
    EXPECT_GE(target, last - 500) << "at most 500 RPM at once";
    last = target;
  }
}

INSTANTIATE_TEST_SUITE_P(Hours, ClockTests, testing::Values(3600.0, -3600.0),
                         [](const auto& step) { return step.param > 0 ? "Forward" : "Back"; });

TEST(PollingIntervalTests, ChangedUnderControl) {
  FaultBench bench;
  bench.startDriving(steadyPreset(3000));
  const auto before = bench.mark();
  for (const double interval : {5.0, 1.0, 3.0}) {
    SCOPED_TRACE(interval);
    bench.command([&](AppModel& model) {
      model.setPollingInterval(interval);
      model.restartPolling();
    });
    bench.run(1);
    const std::size_t samples = bench.loop.model().history().size();
    bench.run(60);
    // One timer, not two.
    EXPECT_NEAR(static_cast<double>(bench.loop.model().history().size() - samples), 60 / interval, 1);
    bench.expectUntouched(steadyPreset(3000), before);
  }
}

TEST(PollingIntervalTests, ChangedDuringActivation) {
  FaultBench bench;
  bench.start();
  bench.loop.fault("latch-delay 2");
  const auto before = bench.mark();
  bench.loop.activate(FanPreset::fullBlast());
  ASSERT_TRUE(bench.untilSent(Selector::setFanMode));
  for (const double interval : {1.0, 5.0, 1.0, 5.0}) {
    bench.command([&](AppModel& model) {
      model.setPollingInterval(interval);
      model.restartPolling();
    });
    bench.loop.run(0.3);
  }
  EXPECT_TRUE(bench.until([&] { return bench.isUnderControl(FanPreset::fullBlast()); }, 15));
  EXPECT_EQ(bench.sessionsBegun() - before.sessions, 1u);
  EXPECT_EQ(bench.targetsSince(before, 0), std::vector<double>{5700});
  EXPECT_EQ(bench.targetsSince(before, 1), std::vector<double>{6200});
}

}  // namespace
}  // namespace halcyra::test
