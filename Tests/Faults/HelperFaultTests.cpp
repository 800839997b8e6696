// What happens to the fans when the helper dies, its writes fail, or the way to it breaks down.

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "Faults/FaultBench.h"
#include "Support/HelperMessages.h"
#include "XPC/FanControlXPC.h"
#include "XPC/HelperXPCError.h"

namespace halcyra::test {
namespace {

namespace Selector = FanControlHelperSelector;

enum class When { before, during, after };

struct KillRow {
  std::string name;
  std::string_view selector;
  When when = When::before;
};

void PrintTo(const KillRow& row, std::ostream* out) {
  *out << row.name;
}

std::string nameOfRow(const testing::TestParamInfo<KillRow>& info) {
  return info.param.name;
}

std::vector<KillRow> killRows(const std::vector<std::pair<std::string, std::string_view>>& operations) {
  std::vector<KillRow> rows;
  for (const auto& [name, selector] : operations) {
    rows.push_back({"Before" + name, selector, When::before});
    rows.push_back({"During" + name, selector, When::during});
    rows.push_back({"After" + name, selector, When::after});
  }
  return rows;
}

class HelperKilledTests : public testing::TestWithParam<KillRow> {
 protected:
  /// Ends the helper at the moment of the row, of the message that `cause` has sent.
  void killAtMoment(FaultBench& bench) {
    // Every call of the driver takes a moment, so that there is a middle.
    if (GetParam().when == When::during) bench.loop.fault("slow 2");
    ASSERT_TRUE(bench.untilSent(GetParam().selector));
    ASSERT_TRUE(bench.loop.helperRuns() || GetParam().selector == Selector::beginSession);
    // Messages take 0.2 ms.
    if (GetParam().when == When::during) bench.loop.run(0.004);
    if (GetParam().when == When::after) bench.loop.run(2.5);
    bench.loop.fault("clear slow");
    ASSERT_TRUE(bench.loop.runUntil([&] { return bench.loop.helperRuns(); }, 1));
    bench.loop.killHelper();
  }

  /// A heartbeat or a poll finds out, and starts a new helper, which hands back.
  static constexpr double noticeTime = FanControlXPC::heartbeatSeconds.count() + 1.5;
};

class HelperKilledWhileDrivingTests : public HelperKilledTests {};

TEST_P(HelperKilledWhileDrivingTests, NoFanIsLeftAndThePresetComesBack) {
  FaultBench bench;
  bench.allowance = noticeTime;
  bench.start();
  const auto before = bench.mark();
  bench.loop.activate(FanPreset::fullBlast());
  killAtMoment(bench);
  const std::size_t sessions = bench.sessionsBegun();
  EXPECT_LE(sessions, before.sessions + 1);
  bench.expectHandedBackWithin(noticeTime);
  // Exactly one more, begun with the new helper.
  bench.expectRestored(FanPreset::fullBlast(), before, sessions - before.sessions + 1, 20);
}

INSTANTIATE_TEST_SUITE_P(Operations, HelperKilledWhileDrivingTests,
                         testing::ValuesIn(killRows({{"BeginSession", Selector::beginSession},
                                                     {"SetFanMode", Selector::setFanMode},
                                                     {"SetFanTarget", Selector::setFanTargetRPM},
                                                     {"Heartbeat", Selector::heartbeat}})),
                         nameOfRow);

class HelperKilledWhileHandingBackTests : public HelperKilledTests {};

TEST_P(HelperKilledWhileHandingBackTests, TheFansAreAutomaticAllTheSame) {
  FaultBench bench;
  bench.allowance = noticeTime;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  bench.post([](AppModel& model) { model.activate(FanPreset::systemDefault(), false); });
  killAtMoment(bench);
  bench.expectHandedBackWithin(noticeTime);
  bench.expectStaysHandedBack(60);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  EXPECT_EQ(bench.sessionsBegun(), before.sessions);
  EXPECT_FALSE(bench.loop.model().isBusy());
  EXPECT_EQ(bench.loop.model().activePreset().kind, PresetKind::system);
}

INSTANTIATE_TEST_SUITE_P(
    Operations, HelperKilledWhileHandingBackTests,
    testing::ValuesIn(killRows({{"ResetAll", Selector::resetAll}, {"EndSession", Selector::endSession}})), nameOfRow);

class HelperKilledWhileUninstallingTests : public HelperKilledTests {};

TEST_P(HelperKilledWhileUninstallingTests, TheFansAreAutomaticAndTheUserIsTold) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  bench.post([](AppModel& model) { model.uninstallHelper(); });
  if (GetParam().when == When::after) {
    // It ends by itself.
    ASSERT_TRUE(bench.untilSent(GetParam().selector));
    EXPECT_TRUE(bench.until([&] { return !bench.loop.helperRuns(); }, 2));
  } else {
    killAtMoment(bench);
  }
  bench.expectHandedBackWithin(noticeTime);
  bench.expectStaysHandedBack(60);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  const bool failed = bench.loop.model().lastError().has_value();
  const int unregistered = bench.loop.application->doubles->serviceManagement.counts().unregistered;
  EXPECT_EQ(unregistered, failed ? 0 : 1) << "unregistered exactly when the helper was ready for it";
  EXPECT_EQ(failed, GetParam().when != When::after);
}

INSTANTIATE_TEST_SUITE_P(Operations, HelperKilledWhileUninstallingTests,
                         testing::ValuesIn(killRows({{"PrepareForUninstall", Selector::prepareForUninstall}})),
                         nameOfRow);

struct WriteRow {
  std::string name;
  std::vector<std::string> faults;
  /// What the model shows.
  std::string message;
  /// From the fault until the fans are back.
  double handBackLimit = 3;
};

void PrintTo(const WriteRow& row, std::ostream* out) {
  *out << row.name;
}

std::string nameOfWriteRow(const testing::TestParamInfo<WriteRow>& info) {
  return info.param.name;
}

class FailingWriteTests : public testing::TestWithParam<WriteRow> {};

TEST_P(FailingWriteTests, HandsBackTriesAgainEveryFiveSecondsAndComesBack) {
  FaultBench bench;
  bench.start();
  bench.command([](AppModel& model) { model.savePreset(steadyPreset(3000)); });
  const auto before = bench.mark();
  for (const std::string& each : GetParam().faults) bench.loop.fault(each);
  bench.loop.activate(steadyPreset(3000));
  ASSERT_TRUE(bench.until([&] { return bench.sessionsBegun() > before.sessions; }, 2));
  ASSERT_TRUE(bench.until([&] { return bench.loop.model().lastError().has_value(); }, 12));
  bench.expectHandedBackWithin(GetParam().handBackLimit);
  EXPECT_NE(bench.loop.model().lastError().value_or("").find(GetParam().message), std::string::npos)
      << *bench.loop.model().lastError();
  // The second fan is not touched while the first one fails.
  EXPECT_EQ(bench.targetsSince(before, 1), std::vector<double>{});

  const auto failing = bench.mark();
  bench.run(60);
  EXPECT_GE(bench.sessionsBegun() - failing.sessions, 2u);
  EXPECT_LE(bench.sessionsBegun() - failing.sessions, 60u / 5);
  EXPECT_EQ(bench.loop.model().activePreset().id, steadyPreset(3000).id);

  for (const std::string& each : GetParam().faults) bench.loop.fault("clear " + each.substr(0, each.find(' ')));
  EXPECT_TRUE(bench.until([&] { return bench.isUnderControl(steadyPreset(3000)); }, 60));
  const auto settled = bench.mark();
  bench.run(20);
  bench.expectUntouched(steadyPreset(3000), settled);
  EXPECT_EQ(bench.loop.model().lastError(), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FailingWriteTests,
    testing::Values(WriteRow{"TargetRefused", {"result F0Tg 0x86"}, "result"},
                    WriteRow{"ModeRefused", {"result F0Md 0x86"}, "could not"},
                    WriteRow{"TargetNeverLatches", {"never-latch F0Tg"}, "did not latch within 10.0s"},
                    WriteRow{"ModeNeverLatches", {"never-latch F0Md"}, "macOS rejected manual fan control"},
                    WriteRow{"TargetReadbackDiffersForEver", {"value F0Tg 2000"}, "did not latch within 10.0s"}),
    nameOfWriteRow);

TEST(FailingWriteTests, EveryWriteRefusedIsTriedAgainUntilTheFansAreBack) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  bench.loop.fault("refuse-writes");
  bench.allowance = 60;
  bench.command([](AppModel& model) { model.activate(FanPreset::systemDefault(), false); });
  bench.run(30);
  EXPECT_TRUE(bench.loop.allManual()) << "nobody can give them back";
  EXPECT_TRUE(bench.loop.helperRuns()) << "a helper that owes a fan stays";
  EXPECT_TRUE(bench.loop.model().lastError()) << "the user is told";
  bench.loop.fault("clear refuse-writes");
  // The helper tries every 2 s.
  bench.expectHandedBackWithin(2 + 1);
  bench.expectStaysHandedBack(60);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
}

TEST(FailingWriteTests, AHelperThatDiesOverAHandBackIsReplaced) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  bench.loop.fault("refuse-writes");
  bench.allowance = 60;
  bench.command([](AppModel& model) { model.activate(FanPreset::systemDefault(), false); });
  bench.run(20);
  bench.loop.killHelper();
  bench.loop.fault("clear refuse-writes");
  EXPECT_TRUE(bench.loop.allManual()) << "nobody has given them back";
  // The application sees it in a poll, leaves the helper 5 s for it, and starts one at the next poll.
  bench.expectHandedBackWithin(2 + 5 + 2 + 1.5);
  bench.run(1);
  const auto after = bench.mark();
  bench.expectStaysHandedBack(60);
  EXPECT_EQ(bench.sessionsBegun(), after.sessions) << "once is enough";
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  EXPECT_EQ(bench.loop.model().activePreset().kind, PresetKind::system);
  EXPECT_FALSE(bench.loop.model().isBusy());
}

TEST(FailingWriteTests, WhatAnotherPartyDrivesIsLeftToItAfterAConfirmedHandBack) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  bench.command([](AppModel& model) { model.activate(FanPreset::systemDefault(), false); });
  bench.expectHandedBackWithin(2);
  // The helper watches for what may still latch.
  bench.run(12);
  const auto before = bench.mark();
  bench.allowance = 120;
  bench.loop.fault("set-mode 0 1 3000");
  bench.run(60);
  EXPECT_EQ(bench.loop.modes().at(0), 1);
  EXPECT_EQ(bench.sessionsBegun(), before.sessions);
}

TEST(FailingWriteTests, AStoppedHelperWritesNothingForASessionThatIsOver) {
  FaultBench bench;
  bench.startDriving(steadyPreset(3000));
  // Every call of the driver takes a moment: the helper is stopped after its first reads, before the write.
  bench.loop.fault("slow 2");
  bench.post([](AppModel& model) { model.savePreset(steadyPreset(4000)); });
  ASSERT_TRUE(bench.untilSent(Selector::setFanTargetRPM, 5));
  bench.loop.run(0.004);
  const auto before = bench.mark();
  bench.allowance = 30;
  bench.loop.helper->process->suspend();
  bench.run(20);
  bench.loop.fault("clear slow");
  bench.loop.helper->process->resume();
  bench.expectHandedBackWithin(1.5);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  bench.expectRestored(steadyPreset(4000), before, 1, 30);
}

TEST(FailingWriteTests, AHandBackThatDoesNotLatchGoesOnPastTheFanAndIsTriedAgain) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  bench.loop.fault("never-latch F0Md");
  bench.allowance = 60;
  bench.command([](AppModel& model) { model.activate(FanPreset::systemDefault(), false); });
  EXPECT_TRUE(bench.until([&] { return bench.loop.modes().at(1) == 0; }, 2)) << "the other fan is not kept waiting";
  EXPECT_TRUE(bench.until([&] { return bench.loop.model().lastError().has_value(); }, 25));
  EXPECT_EQ(bench.loop.modes(), (std::vector<int>{1, 0}));
  bench.loop.fault("clear never-latch");
  bench.expectHandedBackWithin(2 + 1);
  bench.expectStaysHandedBack(60);
}

class PassingWriteFaultTests : public testing::TestWithParam<WriteRow> {};

TEST_P(PassingWriteFaultTests, NeitherActivationNorHandBackIsLost) {
  FaultBench bench;
  bench.start();
  const auto before = bench.mark();
  for (const std::string& each : GetParam().faults) bench.loop.fault(each);
  bench.drive(FanPreset::fullBlast());
  EXPECT_EQ(bench.sessionsBegun() - before.sessions, 1u);
  EXPECT_EQ(bench.loop.model().lastError(), std::nullopt);
  EXPECT_TRUE(std::all_of(bench.loop.writes.begin(), bench.loop.writes.end(), [](const auto& write) {
    return write.key.substr(2) != "Md" || write.value == 1;
  })) << "handed back meanwhile";
  for (const std::string& each : GetParam().faults) bench.loop.fault(each);
  bench.command([](AppModel& model) { model.activate(FanPreset::systemDefault(), false); });
  bench.expectHandedBackWithin(6);
  bench.expectStaysHandedBack(30);
  EXPECT_EQ(bench.loop.model().lastError(), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Rows, PassingWriteFaultTests,
                         testing::Values(WriteRow{"TransientBadCommand", {"result F0Md 0x82 12"}, ""},
                                         WriteRow{"TransientBadParameter", {"result F1Md 0x83 12"}, ""},
                                         WriteRow{"SlowLatch", {"latch-delay 4"}, ""}),
                         nameOfWriteRow);

TEST(ReadbackTests, ATargetThatDiffersOnceIsWrittenAgain) {
  FaultBench bench;
  bench.startDriving(steadyPreset(3000));
  const auto before = bench.mark();
  bench.loop.fault("set-mode 0 1 2000");
  // One poll and its write.
  EXPECT_TRUE(bench.until([&] { return bench.targetOf(0) == 3000; }, 2 + 1.5));
  EXPECT_EQ(bench.targetsSince(before, 0), std::vector<double>{3000});
  bench.run(30);
  EXPECT_EQ(bench.targetsSince(before, 0), std::vector<double>{3000}) << "once";
  EXPECT_EQ(bench.targetsSince(before, 1), std::vector<double>{});
  bench.expectUntouched(steadyPreset(3000), before);
}

TEST(ReadbackTests, AFanThatAnotherPartyMadeAutomaticIsHandedBackAndTakenAnew) {
  FaultBench bench;
  bench.startDriving(steadyPreset(3000));
  const auto before = bench.mark();
  bench.loop.fault("set-mode 0 0");
  bench.expectHandedBackWithin(2 + 2);
  bench.expectRestored(steadyPreset(3000), before, 1, 15);
}

TEST(ReadbackTests, AModeThatReadsAutomaticIsNoProofThatTheFanIsBack) {
  FaultBench bench;
  bench.start();
  bench.loop.fault("value F0Md 0");
  bench.allowance = 40;
  bench.loop.activate(FanPreset::fullBlast());
  bench.run(30);
  bench.command([](AppModel& model) { model.activate(FanPreset::systemDefault(), false); });
  EXPECT_TRUE(bench.until([&] { return bench.loop.allAutomatic(); }, 5)) << "written over, whatever the key says";
  bench.loop.fault("clear value");
  bench.expectStaysHandedBack(30);
}

}  // namespace
}  // namespace halcyra::test
