// What happens to the fans when messages, answers, the connection or the whole bus between application and helper are
// lost, late or repeated, and when the session is refused or has run out.

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "gtest/gtest.h"

#include "Faults/FaultBench.h"
#include "Support/HelperMessages.h"
#include "XPC/FanControlXPC.h"
#include "XPC/HelperXPCError.h"

namespace halcyra::test {
namespace {

namespace Selector = FanControlHelperSelector;
using Kind = MessageFault::Kind;

constexpr double watchdog = FanControlXPC::watchdogSeconds.count();
const std::string serviceName(FanControlXPC::machServiceName);

Error interrupted() {
  return Error(cocoaErrorDomain, connectionInterruptedCode, "The connection was interrupted.");
}

struct ReplyRow {
  std::string name;
  std::string_view selector;
  Kind kind = Kind::loseReply;
  double delay = 0;
};

void PrintTo(const ReplyRow& row, std::ostream* out) {
  *out << row.name;
}

std::string nameOfReplyRow(const testing::TestParamInfo<ReplyRow>& info) {
  return info.param.name;
}

std::vector<ReplyRow> replyRows(const std::vector<std::pair<std::string, std::string_view>>& operations) {
  std::vector<ReplyRow> rows;
  for (const auto& [name, selector] : operations) {
    rows.push_back({name + "Lost", selector, Kind::loseReply, 0});
    rows.push_back({name + "Late", selector, Kind::lateReply, 3});
    rows.push_back({name + "LaterThanTheWatchdog", selector, Kind::lateReply, watchdog + 4});
    rows.push_back({name + "Twice", selector, Kind::duplicateReply, 0});
  }
  return rows;
}

class ReplyToDrivingTests : public testing::TestWithParam<ReplyRow> {};

TEST_P(ReplyToDrivingTests, ThePresetIsUnderControlInTheEnd) {
  const ReplyRow& row = GetParam();
  FaultBench bench;
  bench.start();
  const auto before = bench.mark();
  bench.loop.bus.addFault(std::string(row.selector), {row.kind, Seconds{row.delay}, {}});
  bench.loop.activate(FanPreset::fullBlast());
  ASSERT_TRUE(bench.untilSent(row.selector));
  EXPECT_TRUE(bench.until([&] { return bench.isUnderControl(FanPreset::fullBlast()); }, 60))
      << bench.loop.model().lastError().value_or("no error");
  if (row.kind == Kind::lateReply && row.delay < watchdog) {
    EXPECT_GE(bench.loop.now() - before.time, row.selector == Selector::heartbeat ? 0 : row.delay);
  }
  // What was late comes now, and must do nothing.
  const auto settled = bench.mark();
  bench.run(40);
  bench.expectUntouched(FanPreset::fullBlast(), settled);
  EXPECT_EQ(bench.driveWritesSince(settled), 0u);
  EXPECT_EQ(bench.loop.model().lastError(), std::nullopt);
  // A lost start leaves a session that nobody drives; the watchdog ends it, and the second one drives.
  const bool sessionFell = row.kind == Kind::loseReply || row.delay > watchdog;
  EXPECT_LE(bench.sessionsBegun() - before.sessions, sessionFell && row.selector != Selector::heartbeat ? 2u : 1u);
  EXPECT_EQ(bench.loop.bus.uselessAnswers(), row.kind == Kind::duplicateReply ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(Rows, ReplyToDrivingTests,
                         testing::ValuesIn(replyRows({{"BeginSession", Selector::beginSession},
                                                      {"SetFanMode", Selector::setFanMode},
                                                      {"SetFanTarget", Selector::setFanTargetRPM},
                                                      {"Heartbeat", Selector::heartbeat}})),
                         nameOfReplyRow);

class ReplyToHandBackTests : public testing::TestWithParam<ReplyRow> {};

TEST_P(ReplyToHandBackTests, TheFansAreBackAtOnceAndAnotherPresetCanBeChosen) {
  const ReplyRow& row = GetParam();
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  bench.loop.bus.addFault(std::string(row.selector), {row.kind, Seconds{row.delay}, {}});
  bench.command([](AppModel& model) { model.activate(FanPreset::systemDefault(), false); });
  bench.expectHandedBackWithin(2);
  bench.expectStaysHandedBack(60);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  EXPECT_FALSE(bench.loop.model().isBusy()) << "a lost answer may not keep the model busy for ever";
  EXPECT_FALSE(bench.loop.model().hasHelperSession());
  bench.drive(steadyPreset(3000));
  EXPECT_EQ(bench.sessionsBegun() - before.sessions, 1u);
}

INSTANTIATE_TEST_SUITE_P(Rows, ReplyToHandBackTests,
                         testing::ValuesIn(replyRows({{"ResetAll", Selector::resetAll},
                                                      {"EndSession", Selector::endSession}})),
                         nameOfReplyRow);

TEST(SessionFaultTests, BusyAtARestoreIsQuietAndTriedAgain) {
  FaultBench bench;
  bench.loop.prepareApplication = [](TestPlatform& platform) {
    platform.userDefaults.setString("lastSelectedFanPresetID.v1", FanPreset::fullBlast().id.string());
  };
  const std::string begin(Selector::beginSession);
  bench.loop.bus.setStandingFault(
      begin, MessageFault{Kind::fail, Seconds{0}, HelperXPCError::make(HelperXPCError::Code::busy)});
  bench.start();
  bench.expectStaysHandedBack(30);
  EXPECT_EQ(bench.loop.model().lastError(), std::nullopt);
  EXPECT_GE(bench.loop.bus.sentCount(begin), 3u);
  EXPECT_LE(bench.loop.bus.sentCount(begin), 1u + 36 / 5) << "not before 5 s";
  EXPECT_TRUE(bench.until([&] { return !bench.loop.model().isBusy(); }, 1));
  bench.loop.bus.setStandingFault(begin, std::nullopt);
  bench.expectRestored(FanPreset::fullBlast(), FaultBench::Mark{}, 1, 5 + 2 + 2);
}

TEST(SessionFaultTests, ExpiredWithoutHeartbeats) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  ASSERT_TRUE(bench.untilSent(Selector::heartbeat, 5));
  bench.loop.run(0.01);
  const auto before = bench.mark();
  bench.loop.bus.setStandingFault(std::string(Selector::heartbeat), MessageFault{Kind::loseRequest, {}, {}});
  bench.run(watchdog - 0.5);
  EXPECT_EQ(bench.sessionsBegun(), before.sessions);
  EXPECT_TRUE(bench.loop.allManual());
  bench.expectHandedBackWithin(0.5 + 1.5);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  bench.loop.bus.setStandingFault(std::string(Selector::heartbeat), std::nullopt);
  bench.expectRestored(FanPreset::fullBlast(), before, 1, 15);
}

TEST(SessionFaultTests, ARefusedHeartbeatIsALostSession) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  bench.loop.bus.addFault(std::string(Selector::heartbeat),
                          {Kind::fail, {}, HelperXPCError::make(HelperXPCError::Code::invalidSession)});
  ASSERT_TRUE(bench.untilSent(Selector::heartbeat, 5));
  bench.expectHandedBackWithin(2);
  bench.expectRestored(FanPreset::fullBlast(), before, 1, 10);
}

TEST(SessionFaultTests, OneFailedHeartbeatIsNoLossTwoAre) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  const std::string heartbeat(Selector::heartbeat);
  bench.loop.bus.addFault(heartbeat, {Kind::fail, {}, interrupted()});
  bench.run(20);
  bench.expectUntouched(FanPreset::fullBlast(), before);
  bench.loop.bus.addFault(heartbeat, {Kind::fail, {}, interrupted()});
  bench.loop.bus.addFault(heartbeat, {Kind::fail, {}, interrupted()});
  bench.expectHandedBackWithin(2 * 4 + 2);
  bench.expectRestored(FanPreset::fullBlast(), before, 1, 10);
}

TEST(ConnectionFaultTests, InterruptedDuringACommand) {
  for (const std::string_view selector : {Selector::beginSession, Selector::setFanMode, Selector::setFanTargetRPM}) {
    SCOPED_TRACE(std::string(selector));
    FaultBench bench;
    bench.start();
    const auto before = bench.mark();
    bench.loop.bus.addFault(std::string(selector), {Kind::fail, {}, interrupted()});
    bench.activateUpTo({selector});
    const double failed = bench.loop.now();
    bench.run(1);
    EXPECT_TRUE(bench.loop.model().lastError());
    bench.expectHandedBackWithin(1);
    bench.run(2);
    EXPECT_LT(bench.loop.now() - failed, 5);
    bench.expectHandedBackWithin(0);
    const std::size_t sessions = bench.sessionsBegun() - before.sessions;
    bench.expectRestored(FanPreset::fullBlast(), before, sessions + 1, 15);
  }
}

TEST(ConnectionFaultTests, Invalidated) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  bench.loop.bus.invalidateConnections(serviceName);
  bench.run(1);
  EXPECT_FALSE(bench.loop.model().hasHelperSession());
  // The helper has not been told: until its watchdog it refuses any other session.
  bench.expectHandedBackWithin(watchdog + 1.5);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  EXPECT_EQ(bench.loop.model().lastError(), std::nullopt);
  bench.expectRestored(FanPreset::fullBlast(), before, 1, 15);
}

TEST(ConnectionFaultTests, BusGone) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  bench.loop.bus.loseBus();
  bench.expectHandedBackWithin(2);
  bench.expectStaysHandedBack(60);
  EXPECT_FALSE(bench.loop.helperRuns()) << "nobody could reach it";
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  EXPECT_FALSE(bench.loop.model().isBusy());
  bench.loop.bus.restoreBus();
  bench.expectRestored(FanPreset::fullBlast(), before, 1, 15);
}

TEST(ConnectionFaultTests, BusGoneDuringActivation) {
  for (const std::string_view selector : {Selector::beginSession, Selector::setFanMode, Selector::setFanTargetRPM}) {
    SCOPED_TRACE(std::string(selector));
    FaultBench bench;
    bench.start();
    bench.activateUpTo({selector, 0.02});
    bench.loop.bus.loseBus();
    bench.run(2);
    bench.expectHandedBackWithin(0);
    const auto lost = bench.mark();
    bench.expectStaysHandedBack(30);
    bench.loop.bus.restoreBus();
    bench.expectRestored(FanPreset::fullBlast(), lost, 1, 15);
  }
}

}  // namespace
}  // namespace halcyra::test
