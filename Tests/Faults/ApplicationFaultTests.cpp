// What happens to the fans when it is the application that fails, ends, or meets another one of its kind.

#include <cmath>
#include <string>

#include "gtest/gtest.h"

#include "Faults/FaultBench.h"
#include "Support/HelperMessages.h"
#include "XPC/FanControlXPC.h"

namespace halcyra::test {
namespace {

namespace Selector = FanControlHelperSelector;

/// The settings of one run of the application are those of the next.
void keepSettings(FaultBench& bench) {
  const std::string key = "lastSelectedFanPresetID.v1";
  bench.loop.prepareApplication = [key, id = bench.loop.application->doubles->userDefaults.string(key).value()](
                                      TestPlatform& platform) { platform.userDefaults.setString(key, id); };
}

TEST(ApplicationFaultTests, KilledApplication) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  keepSettings(bench);
  const auto before = bench.mark();
  bench.loop.killApplication();
  bench.expectHandedBackWithin(2);
  bench.expectStaysHandedBack(60);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  EXPECT_FALSE(bench.loop.helperRuns()) << "nobody needs it any more";

  bench.loop.startApplication();
  bench.expectRestored(FanPreset::fullBlast(), before, 1, 20);
}

TEST(ApplicationFaultTests, KilledDuringActivationAtAnyMoment) {
  for (const ActivationMoment& moment : activationMoments) {
    SCOPED_TRACE(moment.name());
    FaultBench bench;
    bench.start();
    bench.activateUpTo(moment);
    bench.loop.killApplication();
    // A mode that was written may still take effect; it is written over and watched.
    bench.run(2.5);
    EXPECT_TRUE(bench.loop.allAutomatic());
    bench.expectStaysHandedBack(60);
  }
}

TEST(ApplicationFaultTests, StoppedApplication) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  ASSERT_TRUE(bench.untilSent(Selector::heartbeat, 5));
  bench.loop.run(0.01);
  const auto before = bench.mark();
  bench.loop.application->process->suspend();
  // Not before the watchdog: a short stop is no loss.
  bench.run(FanControlXPC::watchdogSeconds.count() - 0.5);
  EXPECT_TRUE(bench.loop.allManual());
  bench.expectHandedBackWithin(0.5 + 1.5);
  bench.expectStaysHandedBack(60);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  bench.loop.application->process->resume();
  bench.expectRestored(FanPreset::fullBlast(), before, 1, 15);
}

TEST(ApplicationFaultTests, StoppedForLessThanTheWatchdog) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  bench.loop.application->process->suspend();
  bench.run(7);
  bench.loop.application->process->resume();
  bench.run(30);
  bench.expectUntouched(FanPreset::fullBlast(), before);
}

void hang(FaultBench& bench, double seconds) {
  const auto& process = bench.loop.application->process;
  process->mainQueue().async([process, seconds] { process->clock().sleep(Seconds{seconds}); });
}

TEST(ApplicationFaultTests, HungInItsMainQueue) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  hang(bench, 90);
  // Heartbeats go on for at most 10 s; the watchdog takes 12 s more, and the fans' mode its latch.
  bench.expectHandedBackWithin(10 + FanControlXPC::watchdogSeconds.count() + 1.5);
  const std::size_t beats = bench.loop.bus.sentCount(std::string(Selector::heartbeat));
  bench.expectStaysHandedBack(60);
  EXPECT_EQ(bench.loop.bus.sentCount(std::string(Selector::heartbeat)), beats);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  bench.run(10);
  bench.expectRestored(FanPreset::fullBlast(), before, 1, 30);
}

TEST(ApplicationFaultTests, HungForLessThanTheProbe) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  hang(bench, 8);
  bench.run(40);
  bench.expectUntouched(FanPreset::fullBlast(), before);
}

struct Quit {
  int first = 0;
  int second = 0;
};

TEST(ApplicationFaultTests, QuitDuringActivationTwice) {
  for (const ActivationMoment& moment : activationMoments) {
    SCOPED_TRACE(moment.name());
    FaultBench bench;
    bench.start();
    bench.loop.fault("latch-delay 1.5");
    bench.activateUpTo(moment);
    Quit quit;
    bool automaticAtEnd = true;
    const auto ended = [&](int& count) {
      ++count;
      automaticAtEnd = automaticAtEnd && bench.loop.allAutomatic();
    };
    bench.command([&](AppModel& model) { model.prepareForTermination([&] { ended(quit.first); }); });
    bench.command([&](AppModel& model) { model.prepareForTermination([&] { ended(quit.second); }); });
    const auto before = bench.mark();
    EXPECT_TRUE(bench.until([&] { return quit.first > 0 && quit.second > 0; }, 10));
    EXPECT_TRUE(automaticAtEnd) << "the process may not end before its fans are back";
    bench.expectHandedBackWithin(0);
    bench.expectStaysHandedBack(90);
    EXPECT_EQ(quit.first, 1);
    EXPECT_EQ(quit.second, 1);
    EXPECT_LE(bench.sessionsBegun(), 1u);
    // At most the target that was on its way.
    EXPECT_LE(bench.driveWritesSince(before), 1u);
    EXPECT_FALSE(bench.loop.model().hasHelperSession());
  }
}

TEST(ApplicationFaultTests, QuitUnderControl) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  int ended = 0;
  bench.command([&](AppModel& model) { model.prepareForTermination([&] { ++ended; }); });
  EXPECT_TRUE(bench.until([&] { return ended > 0; }, 5));
  EXPECT_TRUE(bench.loop.allAutomatic());
  bench.expectStaysHandedBack(60);
  EXPECT_EQ(ended, 1);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  EXPECT_EQ(bench.sessionsBegun(), before.sessions);
}

TEST(ApplicationFaultTests, UninstalledWithALiveSession) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  auto& services = bench.loop.application->doubles->serviceManagement;
  bench.loop.bus.setRegistration([&](const std::string&) {
    return services.daemonStatus(std::string(FanControlXPC::daemonPlistName)) == ServiceManagement::enabled;
  });
  const auto before = bench.mark();
  bool automaticWhenUnregistered = true;
  bench.command([](AppModel& model) { model.uninstallHelper(); });
  EXPECT_TRUE(bench.until(
      [&] {
        if (services.counts().unregistered == 0) return false;
        automaticWhenUnregistered = bench.loop.allAutomatic();
        return true;
      },
      10));
  EXPECT_TRUE(automaticWhenUnregistered);
  bench.expectStaysHandedBack(90);
  EXPECT_FALSE(bench.loop.helperRuns());
  EXPECT_EQ(services.counts().unregistered, 1);
  EXPECT_EQ(bench.loop.model().helperState(), HelperInstallState::notRegistered);
  // It stays off: nothing is left that could bring it back.
  EXPECT_EQ(bench.loop.model().activePreset().kind, PresetKind::system);
  EXPECT_EQ(bench.sessionsBegun(), before.sessions);
  EXPECT_EQ(bench.loop.model().lastError(), std::nullopt);
}

TEST(ApplicationFaultTests, TwoApplications) {
  FaultBench bench;
  bench.startDriving(steadyPreset(3000));
  const auto before = bench.mark();
  auto second = bench.loop.makeApplication("second");
  bench.run(6);
  second->process->mainQueue().async([&] { second->model->activate(FanPreset::fullBlast(), false); });
  bench.run(60);
  bench.expectUntouched(steadyPreset(3000), before);
  EXPECT_EQ(bench.targetsSince(before, 0), std::vector<double>{});
  EXPECT_FALSE(second->model->hasHelperSession());
  EXPECT_TRUE(bench.until([&] { return !second->model->isBusy(); }, 1));
  // It is told why, and tries no more often than every 5 s.
  EXPECT_TRUE(second->model->lastError());
  EXPECT_LE(bench.loop.bus.sentCount(std::string(Selector::beginSession)), 1u + 60 / 5);

  // The first one's end frees the fans; the second one takes them in its own session.
  bench.loop.killApplication();
  bench.expectHandedBackWithin(2);
  EXPECT_TRUE(bench.until([&] { return second->model->hasHelperSession() && !second->model->isBusy(); }, 20));
  EXPECT_EQ(bench.sessionsBegun() - before.sessions, 1u);
  EXPECT_EQ(bench.targetOf(0), 5700);
  EXPECT_EQ(bench.targetOf(1), 6200);
  bench.loop.endApplication(second);
  bench.expectHandedBackWithin(2);
}

}  // namespace
}  // namespace halcyra::test
