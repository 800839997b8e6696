// Every way in which the fans go back to the firmware.

#include "gmock/gmock.h"
#include "gtest/gtest.h"

#include "Daemon/HelperHarness.h"
#include "Support/Values.h"
#include "XPC/HelperReplyKey.h"

namespace halcyra::test {
namespace {

using HelperXPCError::Code;
using testing::StartsWith;

class HelperHandBackTests : public testing::Test {
 protected:
  void SetUp() override {
    helper.start();
    helper.run(12);
  }

  HelperHarness helper;
};

struct EndOfASession {
  const char* name;
  std::function<void(HelperHarness&)> end;
  /// The process's exit status; nothing: it goes on.
  std::optional<int> exitStatus;
};

TEST(HelperSessionEndTests, HoweverASessionEndsTheFansGoBack) {
  const std::vector<EndOfASession> cases = {
      {"ended by its client", [](HelperHarness& helper) { helper.end(helper.client, helper.id); }, {}},
      {"client gone",
       [](HelperHarness& helper) {
         helper.onMain([&helper](HelperDaemon& daemon) { daemon.clientGone(helper.client.connectionName); });
       },
       {}},
      {"told to stop", [](HelperHarness& helper) { helper.onMain([](HelperDaemon& daemon) { daemon.stop(0, "x"); }); },
       0},
      {"bus lost", [](HelperHarness& helper) { helper.onMain([](HelperDaemon& daemon) { daemon.stop(1, "x"); }); }, 1},
      {"uninstalled", [](HelperHarness& helper) { helper.prepareForUninstall(helper.client); }, 0},
  };
  for (const EndOfASession& session : cases) {
    SCOPED_TRACE(session.name);
    HelperHarness helper;
    helper.start();
    helper.run(12);
    helper.takeFans();
    // One write that waits for its latch, and others behind it.
    helper.fault("never-latch F0Tg");
    const auto waiting = helper.setTarget(helper.client, 0, 5000, helper.id);
    const auto queuedTarget = helper.setTarget(helper.client, 1, 5000, helper.id);
    const auto queuedMode = helper.setMode(helper.client, 0, true, helper.id);
    helper.run(1);
    const double asked = helper.now();
    session.end(helper);
    helper.run(0.25);
    const auto commands = helper.writesSince(asked);
    ASSERT_GE(commands.size(), 2U) << "the hand-back did not overtake";
    EXPECT_EQ(commands[0].key, "F0Md");
    EXPECT_EQ(commands[1].key, "F1Md");
    helper.run(2);
    EXPECT_EQ(helper.modes(), automatic);
    for (const Pending& answer : {waiting, queuedTarget, queuedMode}) {
      EXPECT_EQ(answer->code(), Code::invalidSession);
    }
    EXPECT_TRUE(helper.lockIsFree());
    EXPECT_EQ(helper.finished, session.exitStatus);
    helper.run(20);
    EXPECT_EQ(helper.modes(), automatic);
    helper.expectNothingButHandBacksSince(asked);
  }
}

TEST_F(HelperHandBackTests, AHandBackOvertakesWritesThatWereAskedForEarlier) {
  helper.takeFans();
  helper.fault("never-latch F0Tg");
  std::vector<Pending> earlier;
  for (int rpm = 4000; rpm < 4020; ++rpm) {
    earlier.push_back(helper.setTarget(helper.client, rpm % 2, rpm, helper.id));
  }
  helper.run(3);
  const double asked = helper.now();
  const auto reset = helper.await(helper.resetAll(helper.client, helper.id));
  ASSERT_TRUE(reset->succeeded()) << reset->description();
  EXPECT_LE(reset->at - asked, 2.0);
  EXPECT_EQ(helper.modes(), automatic);
  helper.run(11);
  helper.expectNothingButHandBacksSince(asked);
  for (const Pending& answer : earlier) {
    EXPECT_EQ(answer->code(), Code::internalFailure);
    EXPECT_NE(answer->description().find("overtaken"), std::string::npos);
  }
}

TEST_F(HelperHandBackTests, AManualModeThatLatchesAfterTheHandBackIsNotMissed) {
  helper.await(helper.begin(helper.client, helper.id));
  helper.fault("latch-delay 3");
  const auto waiting = helper.setMode(helper.client, 0, true, helper.id);
  ASSERT_TRUE(helper.scheduler.runUntil([&] { return !helper.writes.empty(); }, Seconds{5}));
  helper.run(0.01);
  EXPECT_EQ(helper.modes(), automatic) << "the command has not become effective yet";
  const double asked = helper.now();
  const auto ended = helper.await(helper.end(helper.client, helper.id));
  EXPECT_TRUE(ended->succeeded()) << ended->description();
  EXPECT_EQ(waiting->code(), Code::invalidSession);
  ASSERT_FALSE(helper.writesSince(asked, "F0Md").empty()) << "reading automatic proves nothing here";
  EXPECT_FALSE(helper.lockIsFree()) << "the fan is still being watched";
  for (int step = 0; step < 60; ++step) {
    helper.run(0.25);
    EXPECT_EQ(helper.modes(), automatic);
  }
  helper.expectNothingButHandBacksSince(asked);
  EXPECT_TRUE(helper.lockIsFree());
}

TEST_F(HelperHandBackTests, APendingManualModeIsWrittenOverAlsoWhenTheFirmwareIsBusyAtFirst) {
  helper.await(helper.begin(helper.client, helper.id));
  helper.fault("latch-delay 3");
  helper.setMode(helper.client, 0, true, helper.id);
  ASSERT_TRUE(helper.scheduler.runUntil([&] { return !helper.writes.empty(); }, Seconds{5}));
  helper.fault("result F0Md 0x82 4");
  helper.run(0.01);
  const double asked = helper.now();
  const auto ended = helper.await(helper.end(helper.client, helper.id));
  EXPECT_TRUE(ended->succeeded()) << ended->description();
  const auto commands = helper.writesSince(asked, "F0Md");
  ASSERT_EQ(commands.size(), 1U) << "written once, after the refusals";
  EXPECT_EQ(commands[0].value, 0);
  for (int step = 0; step < 60; ++step) {
    helper.run(0.25);
    EXPECT_EQ(helper.modes(), automatic);
  }
}

TEST_F(HelperHandBackTests, AFanThatTurnsManualAfterTheHandBackIsHandedBackAgain) {
  helper.await(helper.begin(helper.client, helper.id));
  helper.fault("latch-delay 3");
  helper.setMode(helper.client, 0, true, helper.id);
  ASSERT_TRUE(helper.scheduler.runUntil([&] { return !helper.writes.empty(); }, Seconds{5}));
  helper.await(helper.end(helper.client, helper.id));
  helper.fault("clear latch-delay");
  // A firmware that takes the earlier of two commands last.
  helper.fault("set-mode 0 1 4000");
  ASSERT_EQ(helper.modes(), (std::vector<int>{1, 0}));
  helper.run(2);
  EXPECT_EQ(helper.modes(), automatic);
}

TEST_F(HelperHandBackTests, ASessionKeepsAFanThatWasOwedAndIsManualAlready) {
  helper.await(helper.begin(helper.client, helper.id));
  helper.fault("latch-delay 3");
  helper.setMode(helper.client, 0, true, helper.id);
  ASSERT_TRUE(helper.scheduler.runUntil([&] { return !helper.writes.empty(); }, Seconds{5}));
  helper.await(helper.end(helper.client, helper.id));
  helper.fault("clear latch-delay");
  ASSERT_TRUE(helper.await(helper.begin(helper.client, helper.secondID))->succeeded());
  helper.run(0.1);
  helper.fault("set-mode 0 1 4000");
  const double asked = helper.now();
  ASSERT_TRUE(helper.await(helper.setMode(helper.client, 0, true, helper.secondID))->succeeded());
  helper.run(5);
  EXPECT_EQ(helper.modes(), (std::vector<int>{1, 0})) << "the session owns it now";
  EXPECT_TRUE(helper.writesSince(asked, "F0Md").empty());
  helper.await(helper.end(helper.client, helper.secondID));
  EXPECT_EQ(helper.modes(), automatic);
}

TEST_F(HelperHandBackTests, AFailingFanStopsNoOtherAndIsTriedAgain) {
  helper.takeFans();
  helper.fault("never-latch F0Md");
  const double asked = helper.now();
  const auto ended = helper.end(helper.client, helper.id);
  ASSERT_TRUE(helper.scheduler.runUntil([&] { return helper.modes()[1] == 0; }, Seconds{60}));
  EXPECT_LE(helper.now() - asked, 2.0) << "fan 1 must not wait for fan 0";
  helper.await(ended);
  EXPECT_EQ(ended->code(), Code::controlUnavailable);
  EXPECT_THAT(ended->description(),
              StartsWith("Fan 0 could not be handed back to Automatic: SMC write failed: fan 0 automatic reset did not "
                         "latch"));
  EXPECT_TRUE(helper.log.contains(ended->description()));
  EXPECT_FALSE(helper.lockIsFree()) << "the fan is not the firmware's yet";
  helper.run(60);
  EXPECT_FALSE(helper.finished) << "neither idle nor given up";
  EXPECT_EQ(helper.modes(), (std::vector<int>{1, 0}));
  helper.fault("clear");
  helper.run(5);
  EXPECT_EQ(helper.modes(), automatic);
  EXPECT_TRUE(helper.log.contains("every fan is automatic again"));
  helper.expectNothingButHandBacksSince(asked);
  helper.run(31);
  EXPECT_EQ(helper.finished, 0);
}

TEST_F(HelperHandBackTests, AStopWaitsForAFanThatFails) {
  helper.takeFans();
  helper.fault("result F1Md 0x85");
  helper.onMain([](HelperDaemon& daemon) { daemon.stop(0, "signal"); });
  helper.run(40);
  EXPECT_FALSE(helper.finished);
  EXPECT_EQ(helper.modes(), (std::vector<int>{0, 1}));
  EXPECT_EQ(helper.await(helper.begin(helper.client, helper.secondID))->code(), Code::busy);
  helper.fault("clear");
  helper.run(3);
  EXPECT_EQ(helper.modes(), automatic);
  EXPECT_EQ(helper.finished, 0);
}

TEST_F(HelperHandBackTests, ADriverThatComesBackIsAskedAgainAndAStopGivesUpOnOneThatStaysAway) {
  helper.takeFans();
  helper.fault("driver-gone");
  EXPECT_EQ(helper.await(helper.end(helper.client, helper.id))->code(), Code::controlUnavailable);
  helper.run(90);
  EXPECT_FALSE(helper.finished) << "it owes the fans, and keeps at it";
  helper.fault("clear");
  helper.run(3);
  EXPECT_EQ(helper.modes(), automatic);
  EXPECT_TRUE(helper.lockIsFree());

  helper.takeFans();
  helper.fault("driver-gone");
  helper.onMain([](HelperDaemon& daemon) { daemon.stop(0, "signal"); });
  helper.run(9);
  EXPECT_FALSE(helper.finished);
  helper.run(5);
  EXPECT_EQ(helper.finished, 1) << "an exit status that says so";
}

TEST_F(HelperHandBackTests, AResetThatFailsIsNoSuccess) {
  helper.takeFans();
  helper.startHeart();
  helper.fault("result F0Md 0x85");
  const auto reset = helper.await(helper.resetAll(helper.client, helper.id));
  EXPECT_EQ(reset->code(), Code::controlUnavailable);
  EXPECT_NE(reset->description().find("Fan 0 could not be handed back"), std::string::npos);
  EXPECT_TRUE(reset->value.is_null());
  EXPECT_EQ(helper.modes(), (std::vector<int>{1, 0}));
  helper.fault("clear");
  helper.run(4);
  EXPECT_EQ(helper.modes(), automatic) << "tried again while the session goes on";
  EXPECT_TRUE(helper.daemon->hasSession());
  helper.stopHeart = true;
}

TEST_F(HelperHandBackTests, AnIdleHelperEndsAfterItsLastMessage) {
  helper.run(10);
  helper.status(helper.stranger);
  helper.run(1);
  const auto asked = helper.await(helper.status(helper.client));
  const double last = helper.now();
  helper.run(29.5);
  EXPECT_FALSE(helper.finished);
  helper.run(1);
  ASSERT_EQ(helper.finished, 0);
  EXPECT_NEAR(helper.finishedAt - last, 30.0, 0.1);
}

TEST_F(HelperHandBackTests, AClientThatVanishesDuringItsStartLeavesNothingBehind) {
  helper.fault("slow 50");
  const auto begun = helper.begin(helper.client, helper.id);
  helper.run(0.3);
  ASSERT_EQ(begun->count, 0);
  helper.onMain([&](HelperDaemon& daemon) { daemon.clientGone(helper.client.connectionName); });
  helper.await(begun);
  EXPECT_EQ(begun->code(), Code::invalidSession);
  helper.run(10);
  EXPECT_FALSE(helper.daemon->hasSession());
  EXPECT_TRUE(helper.lockIsFree());
  EXPECT_TRUE(helper.writes.empty());
  EXPECT_TRUE(helper.await(helper.begin(helper.other, helper.secondID))->succeeded());
}

TEST_F(HelperHandBackTests, AnUninstallIsRefusedWhileAnotherClientsSessionLives) {
  helper.takeFans();
  const double asked = helper.now();
  EXPECT_EQ(helper.await(helper.prepareForUninstall(helper.other))->code(), Code::busy);
  EXPECT_TRUE(helper.writesSince(asked).empty());
  helper.await(helper.end(helper.client, helper.id));
  EXPECT_TRUE(helper.await(helper.prepareForUninstall(helper.other))->succeeded());
  EXPECT_FALSE(helper.finished) << "the answer must have time to leave";
  EXPECT_EQ(helper.await(helper.begin(helper.client, helper.secondID))->code(), Code::busy);
  helper.run(1);
  EXPECT_EQ(helper.finished, 0);
}

TEST_F(HelperHandBackTests, NoSessionBeginsWhileAnUninstallIsPrepared) {
  helper.takeFans();
  helper.fault("slow 50");
  const auto prepared = helper.prepareForUninstall(helper.client);
  helper.run(0.2);
  const auto refused = helper.begin(helper.other, helper.secondID);
  helper.await(prepared);
  EXPECT_EQ(refused->code(), Code::busy);
  EXPECT_TRUE(prepared->succeeded());
}

TEST_F(HelperHandBackTests, AnUninstallDoesNotLeaveAManualFanBehind) {
  helper.takeFans();
  helper.fault("result F0Md 0x85");
  EXPECT_EQ(helper.await(helper.prepareForUninstall(helper.client))->code(), Code::controlUnavailable);
  helper.run(5);
  EXPECT_FALSE(helper.finished);
  helper.fault("clear");
  helper.run(4);
  EXPECT_EQ(helper.modes(), automatic);
}

TEST_F(HelperHandBackTests, AStatusThatAHandBackInterruptsIsAnsweredAllTheSame) {
  helper.takeFans();
  helper.startHeart();
  helper.fault("slow 50");
  const auto status = helper.status(helper.other);
  helper.run(0.2);
  const auto ended = helper.end(helper.client, helper.id);
  helper.await(status, 30);
  EXPECT_TRUE(status->succeeded()) << status->description();
  EXPECT_EQ(integerEntry(status->value, HelperReplyKey::fan0Mode), 0);
  EXPECT_LE(ended->at, status->at);
  helper.stopHeart = true;
}

}  // namespace
}  // namespace halcyra::test
