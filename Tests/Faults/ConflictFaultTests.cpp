// What happens to the fans when another fan utility appears, the ownership changes, or the user changes the preset
// while commands are out.

#include <algorithm>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "Faults/FaultBench.h"
#include "Support/HelperMessages.h"
#include "Support/ScriptWords.h"

namespace halcyra::test {
namespace {

namespace Selector = FanControlHelperSelector;

void startCompetitor(FaultBench& bench) {
  bench.loop.application->doubles->system.setProcess(competitorProcess, competitorPath);
}

void endCompetitor(FaultBench& bench) {
  bench.loop.application->doubles->system.endProcess(competitorProcess);
}

TEST(CompetitorTests, AppearsUnderControl) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  startCompetitor(bench);
  // One poll's scan and the latch.
  bench.expectHandedBackWithin(2 + 1);
  EXPECT_EQ(bench.loop.model().competingController(), "TG Pro");
  EXPECT_NE(bench.loop.model().activeConflictMessage().value_or("").find("TG Pro"), std::string::npos);
  bench.expectStaysHandedBack(120);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  EXPECT_EQ(bench.sessionsBegun(), before.sessions) << "restore is blocked";
  EXPECT_EQ(bench.loop.model().activePreset().id, FanPreset::fullBlast().id);
  endCompetitor(bench);
  bench.expectRestored(FanPreset::fullBlast(), before, 1, 0.5 + 2 + 3);
  EXPECT_EQ(bench.loop.model().activeConflictMessage(), std::nullopt);
}

TEST(CompetitorTests, AppearsDuringActivation) {
  for (const ActivationMoment& moment : activationMoments) {
    SCOPED_TRACE(moment.name());
    FaultBench bench;
    bench.start();
    bench.loop.fault("latch-delay 2");
    bench.activateUpTo(moment);
    startCompetitor(bench);
    const auto before = bench.mark();
    // A scan with the next poll; a fan that is being enabled is not waited for.
    bench.run(2 + 3);
    bench.expectHandedBackWithin(0);
    bench.expectStaysHandedBack(60);
    // At most the fan that was under way until the scan.
    EXPECT_LE(bench.targetsSince(before, 0).size(), 1u);
    EXPECT_TRUE(std::none_of(bench.loop.writes.begin(), bench.loop.writes.end(), [](const auto& write) {
      return write.key == "F1Tg";
    })) << "no further fan is driven";
    EXPECT_LE(bench.sessionsBegun(), 1u);
    EXPECT_FALSE(bench.loop.model().isBusy());
    EXPECT_EQ(bench.loop.model().lastError(), bench.loop.model().activeConflictMessage());
    EXPECT_TRUE(bench.loop.model().activeConflictMessage());
    EXPECT_EQ(bench.loop.model().visibleError(), std::nullopt) << "the banner shows it";
    endCompetitor(bench);
    bench.loop.fault("clear latch-delay");
    const auto gone = bench.mark();
    bench.expectRestored(FanPreset::fullBlast(), gone, 1, 10);
  }
}

TEST(CompetitorTests, AppearsWhileTheStartOfTheSessionIsOut) {
  FaultBench bench;
  bench.start();
  bench.loop.bus.addFault(std::string(Selector::beginSession), {MessageFault::Kind::lateReply, Seconds{5}, {}});
  bench.loop.activate(FanPreset::fullBlast());
  ASSERT_TRUE(bench.untilSent(Selector::beginSession));
  startCompetitor(bench);
  const auto before = bench.mark();
  bench.expectStaysHandedBack(30);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  EXPECT_FALSE(bench.loop.model().hasHelperSession()) << "none is left that nobody drives";
  EXPECT_FALSE(bench.loop.model().isBusy());
}

TEST(CompetitorTests, ComesAndGoesQuickly) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  for (int round = 0; round < 20; ++round) {
    startCompetitor(bench);
    bench.run(0.3 + 0.17 * round);
    endCompetitor(bench);
    bench.run(0.2 + 0.11 * round);
  }
  EXPECT_TRUE(bench.until([&] { return bench.isUnderControl(FanPreset::fullBlast()); }, 10));
  const auto settled = bench.mark();
  bench.run(30);
  bench.expectUntouched(FanPreset::fullBlast(), settled);
}

TEST(OwnershipTests, ChangedInMidWrite) {
  FaultBench bench;
  bench.startDriving(steadyPreset(3000));
  bench.loop.fault("latch-delay 4");
  bench.command([](AppModel& model) { model.savePreset(steadyPreset(4000)); });
  ASSERT_TRUE(bench.untilSent(Selector::setFanTargetRPM, 3));
  bench.loop.run(0.1);
  const auto before = bench.mark();
  bench.loop.fault("clear latch-delay");
  bench.command([](AppModel& model) { model.setFanControlOwnership(FanControlOwnership::anotherApp); });
  bench.expectHandedBackWithin(1.5);
  bench.expectStaysHandedBack(120);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  EXPECT_EQ(bench.sessionsBegun(), before.sessions) << "it stays off";
  EXPECT_EQ(bench.loop.model().activePreset().id, steadyPreset(4000).id);
  EXPECT_FALSE(bench.loop.model().isBusy());

  const auto back = bench.mark();
  bench.command([](AppModel& model) { model.setFanControlOwnership(FanControlOwnership::aerovane); });
  bench.expectStaysHandedBack(0.9);
  bench.expectRestored(steadyPreset(4000), back, 1, 6);
  EXPECT_EQ(bench.targetsSince(back, 0), std::vector<double>{4000});
}

TEST(OwnershipTests, ChangedDuringActivation) {
  for (const ActivationMoment& moment : activationMoments) {
    SCOPED_TRACE(moment.name());
    FaultBench bench;
    bench.start();
    bench.activateUpTo(moment);
    bench.command([](AppModel& model) { model.setFanControlOwnership(FanControlOwnership::anotherApp); });
    bench.run(2);
    bench.expectHandedBackWithin(0);
    bench.expectStaysHandedBack(60);
    EXPECT_FALSE(bench.loop.model().hasHelperSession());
    EXPECT_LE(bench.sessionsBegun(), 1u);
  }
}

/// Under control at 3000 RPM, with writes of 4000 RPM out to both fans that take 3 s to latch.
void haveWritesOut(FaultBench& bench) {
  bench.startDriving(steadyPreset(3000));
  bench.loop.fault("latch-delay 3");
  bench.command([](AppModel& model) { model.savePreset(steadyPreset(4000)); });
  ASSERT_TRUE(bench.untilSent(Selector::setFanTargetRPM, 3));
  bench.loop.run(0.1);
  bench.loop.fault("clear latch-delay");
}

TEST(PresetChangeTests, DeletedWhileWritesAreOut) {
  FaultBench bench;
  haveWritesOut(bench);
  const auto before = bench.mark();
  bench.command([](AppModel& model) { model.deletePreset(steadyPreset(4000)); });
  bench.expectHandedBackWithin(1.5);
  bench.expectStaysHandedBack(120);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  EXPECT_EQ(bench.loop.model().activePreset().kind, PresetKind::system) << "it stays off";
  EXPECT_EQ(bench.sessionsBegun(), before.sessions);
  EXPECT_FALSE(bench.loop.model().isBusy());
}

TEST(PresetChangeTests, EditedWhileWritesAreOut) {
  FaultBench bench;
  haveWritesOut(bench);
  const auto before = bench.mark();
  bench.command([](AppModel& model) { model.savePreset(steadyPreset(4500)); });
  bench.run(0.5);
  bench.command([](AppModel& model) { model.savePreset(steadyPreset(5000)); });
  EXPECT_TRUE(bench.until([&] { return bench.isUnderControl(steadyPreset(5000)); }, 3 + 2 + 2));
  bench.run(20);
  bench.expectUntouched(steadyPreset(5000), before);
  for (const int fan : {0, 1}) {
    const auto targets = bench.targetsSince(before, fan);
    ASSERT_FALSE(targets.empty());
    EXPECT_EQ(targets.back(), 5000);
    EXPECT_TRUE(std::is_sorted(targets.begin(), targets.end())) << "nothing older comes after it";
    EXPECT_EQ(std::count(targets.begin(), targets.end(), 5000), 1);
  }
}

TEST(PresetChangeTests, SwitchedWhileWritesAreOut) {
  FaultBench bench;
  haveWritesOut(bench);
  const auto before = bench.mark();
  bench.loop.activate(FanPreset::fullBlast());
  EXPECT_TRUE(bench.until([&] { return bench.isUnderControl(FanPreset::fullBlast()); }, 3 + 2 + 2));
  bench.run(20);
  bench.expectUntouched(FanPreset::fullBlast(), before);
  const auto targets = bench.targetsSince(before, 0);
  const auto first = std::find(targets.begin(), targets.end(), 5700);
  ASSERT_NE(first, targets.end());
  EXPECT_TRUE(std::all_of(first, targets.end(), [](double target) { return target == 5700; })) << "no stale target";
}

TEST(PresetChangeTests, SwitchedToTheSystemsWhileWritesAreOut) {
  FaultBench bench;
  haveWritesOut(bench);
  const auto before = bench.mark();
  bench.command([](AppModel& model) { model.activate(FanPreset::systemDefault(), false); });
  bench.expectHandedBackWithin(1.5);
  bench.expectStaysHandedBack(120);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  EXPECT_EQ(bench.sessionsBegun(), before.sessions);
  EXPECT_FALSE(bench.loop.model().isBusy());
}

TEST(PresetChangeTests, DeletedDuringActivation) {
  for (const ActivationMoment& moment : activationMoments) {
    SCOPED_TRACE(moment.name());
    FaultBench bench;
    bench.start();
    bench.command([](AppModel& model) { model.savePreset(steadyPreset(3000)); });
    bench.activateUpTo(moment, steadyPreset(3000));
    bench.command([](AppModel& model) { model.deletePreset(steadyPreset(3000)); });
    bench.run(2);
    bench.expectHandedBackWithin(0);
    bench.expectStaysHandedBack(60);
    EXPECT_FALSE(bench.loop.model().hasHelperSession());
    EXPECT_FALSE(bench.loop.model().isBusy());
    EXPECT_EQ(bench.loop.model().activePreset().kind, PresetKind::system);
  }
}

}  // namespace
}  // namespace halcyra::test
