// The watchdog, and heartbeats while the SMC is busy.

#include "gtest/gtest.h"

#include "Daemon/HelperHarness.h"
#include "Support/Values.h"

namespace halcyra::test {
namespace {

using HelperXPCError::Code;

class HelperWatchdogTests : public testing::Test {
 protected:
  void SetUp() override {
    helper.start();
    helper.run(12);
    helper.takeFans();
    beat();
  }

  /// A heartbeat at this moment, from which the test counts.
  void beat() {
    const auto heard = helper.await(helper.heartbeat(helper.client, helper.id));
    ASSERT_TRUE(heard->succeeded());
    lastBeat = heard->at;
  }
  void runTo(double sinceBeat) { helper.run(lastBeat + sinceBeat - helper.now()); }

  HelperHarness helper;
  double lastBeat = 0;
};

TEST_F(HelperWatchdogTests, ASessionEndsTwelveSecondsAfterItsLastHeartbeatAndNotBefore) {
  runTo(11.999);
  EXPECT_TRUE(helper.daemon->hasSession());
  EXPECT_EQ(helper.modes(), manual);
  EXPECT_TRUE(helper.writesSince(lastBeat).empty());
  runTo(12.25);
  EXPECT_FALSE(helper.daemon->hasSession());
  const auto writes = helper.writesSince(lastBeat);
  ASSERT_GE(writes.size(), 2U) << "both fans are commanded at once";
  EXPECT_GE(writes[0].at, lastBeat + 12.0);
  EXPECT_EQ(helper.await(helper.setTarget(helper.client, 0, 4000, helper.id))->code(), Code::invalidSession);
  EXPECT_EQ(helper.await(helper.heartbeat(helper.client, helper.id))->code(), Code::invalidSession);
  helper.run(3);
  EXPECT_EQ(helper.modes(), automatic);
  EXPECT_TRUE(helper.lockIsFree());
  EXPECT_TRUE(helper.writesSince(lastBeat, "Tg").empty());
}

TEST_F(HelperWatchdogTests, OnlyHeartbeatsKeepASessionAlive) {
  for (const double moment : {3.0, 6.0, 9.0, 11.5}) {
    runTo(moment);
    helper.setTarget(helper.client, 0, 3000 + static_cast<std::int64_t>(moment), helper.id);
    helper.status(helper.client);
    helper.heartbeat(helper.client, helper.secondID);
    helper.heartbeat(helper.other, helper.id);
  }
  runTo(12.25);
  EXPECT_FALSE(helper.daemon->hasSession());
}

TEST_F(HelperWatchdogTests, HeartbeatsKeepASessionAliveForHours) {
  helper.startHeart();
  helper.run(2 * 3600);
  EXPECT_TRUE(helper.daemon->hasSession());
  EXPECT_EQ(helper.modes(), manual);
  helper.stopHeart = true;
  helper.run(12.0 + 4.0 + 2.0);
  EXPECT_EQ(helper.modes(), automatic);
}

TEST_F(HelperWatchdogTests, TheWallClockPlaysNoPart) {
  helper.scheduler.stepWallClock(Seconds{86'400});
  runTo(11.9);
  EXPECT_TRUE(helper.daemon->hasSession());
  helper.scheduler.stepWallClock(Seconds{-2 * 86'400});
  runTo(12.25);
  EXPECT_FALSE(helper.daemon->hasSession());
}

TEST_F(HelperWatchdogTests, AfterAStandstillAMessageComesTooLate) {
  struct Case {
    const char* name;
    std::function<void()> stop;
  };
  const std::vector<Case> cases = {
      {"the process", [&] { helper.process->suspend(); }},
      {"its main queue alone",
       [&] { helper.onMain([&](HelperDaemon&) { helper.process->clock().sleep(Seconds{20}); }); }},
  };
  for (const Case& standstill : cases) {
    SCOPED_TRACE(standstill.name);
    // By now the watchdog's timer, first set when the session began, counts from the last heartbeat.
    runTo(10.5);
    standstill.stop();
    runTo(11);
    // Sent in time, and not looked at before the time is over.
    const auto late = helper.setTarget(helper.client, 0, 5000, helper.id);
    const auto heard = helper.heartbeat(helper.client, helper.id);
    runTo(20);
    helper.process->resume();
    helper.await(late);
    helper.await(heard);
    EXPECT_EQ(late->code(), Code::invalidSession);
    EXPECT_EQ(heard->code(), Code::invalidSession);
    helper.run(3);
    EXPECT_EQ(helper.modes(), automatic);
    EXPECT_TRUE(helper.writesSince(lastBeat, "Tg").empty());
    helper.takeFans();
    beat();
  }
}

TEST_F(HelperWatchdogTests, AHeartbeatIsAnsweredWhileAWriteWaitsForItsLatch) {
  helper.fault("never-latch F0Tg");
  const double sent = helper.now();
  const auto waiting = helper.setTarget(helper.client, 0, 5000, helper.id);
  for (int second = 1; second < 10; ++second) {
    helper.run(1);
    const auto heard = helper.heartbeat(helper.client, helper.id);
    const double asked = helper.now();
    helper.await(heard, 1);
    EXPECT_TRUE(heard->succeeded());
    EXPECT_LE(heard->at - asked, 0.005);
    EXPECT_EQ(waiting->count, 0);
  }
  helper.await(waiting);
  EXPECT_EQ(waiting->code(), Code::internalFailure);
  EXPECT_EQ(waiting->description(), "SMC write failed: fan 0 target 5000 did not latch within 10.0s");
  EXPECT_NEAR(waiting->at - sent, 10.0, 0.5);
  EXPECT_TRUE(helper.daemon->hasSession());
}

TEST_F(HelperWatchdogTests, TheWatchdogInterruptsAWriteThatWaits) {
  helper.fault("never-latch F0Tg");
  runTo(11.0);
  const auto waiting = helper.setTarget(helper.client, 0, 5000, helper.id);
  runTo(12.5);
  EXPECT_EQ(waiting->code(), Code::invalidSession);
  const auto commands = helper.writesSince(lastBeat + 12, "Md");
  ASSERT_FALSE(commands.empty());
  EXPECT_LE(commands.front().at, lastBeat + 12.25);
  helper.run(2);
  EXPECT_EQ(helper.modes(), automatic);
}

}  // namespace
}  // namespace halcyra::test
