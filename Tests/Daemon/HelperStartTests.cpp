// What the daemon does about fans that were left in manual mode before it started.

#include "gtest/gtest.h"

#include "Daemon/HelperHarness.h"
#include "Support/Values.h"
#include "XPC/HelperReplyKey.h"

namespace halcyra::test {
namespace {

using HelperXPCError::Code;

/// The helper is killed after it has commanded manual mode, which the fault keeps from taking effect at once.
void dieBeforeTheLatch(HelperHarness& helper, const std::string& fault) {
  helper.start();
  helper.run(12);
  helper.await(helper.begin(helper.client, helper.id));
  helper.fault(fault);
  helper.setMode(helper.client, 0, true, helper.id);
  ASSERT_TRUE(helper.scheduler.runUntil([&] { return !helper.writes.empty(); }, Seconds{5}));
  helper.kill();
}

TEST(HelperStartTests, AFanLeftInManualModeIsHandedBackAtTheStart) {
  HelperHarness helper;
  helper.start();
  helper.run(12);
  helper.takeFans();
  helper.kill();
  helper.run(30);
  EXPECT_EQ(helper.modes(), manual) << "nobody is there to hand back";
  const double started = helper.now();
  helper.start();
  const auto stale = helper.setTarget(helper.client, 0, 4000, helper.id);
  const auto begun = helper.begin(helper.client, helper.secondID);
  helper.await(begun);
  EXPECT_EQ(stale->code(), Code::invalidSession);
  ASSERT_TRUE(begun->succeeded());
  EXPECT_EQ(integerEntry(begun->value, HelperReplyKey::fan0Mode), 0) << "handed back before the session";
  EXPECT_EQ(integerEntry(begun->value, HelperReplyKey::fan1Mode), 0);
  EXPECT_EQ(helper.modes(), automatic);
  EXPECT_TRUE(helper.log.contains("the helper has started"));
  EXPECT_TRUE(helper.writesSince(started, "Tg").empty());
}

TEST(HelperStartTests, ACommandOfADeadHelperThatLatchesLateIsHandedBack) {
  HelperHarness helper;
  dieBeforeTheLatch(helper, "latch-delay 3");
  helper.fault("clear latch-delay");
  helper.start();
  EXPECT_EQ(helper.modes(), automatic);
  helper.run(2.8);
  ASSERT_TRUE(helper.scheduler.runUntil([&] { return helper.modes()[0] == 1; }, Seconds{1}));
  helper.run(2);
  EXPECT_EQ(helper.modes(), automatic);
}

/// The helper died between a manual command and its latch, and the next one is to end before it would have latched.
TEST(HelperStartTests, ACommandOfADeadHelperThatIsStillPendingAtTheEndIsWrittenOver) {
  struct Row {
    const char* name;
    bool driverIsLate;
    bool driverIsGone;
    bool isStopped;
  };
  for (const Row row :
       {Row{"stopped", false, false, true}, Row{"stopped at its first sight of the machine", true, false, true},
        Row{"stopped without a driver", false, true, true}, Row{"idle without a driver", false, true, false}}) {
    SCOPED_TRACE(row.name);
    HelperHarness helper;
    dieBeforeTheLatch(helper, "latch-delay 9");
    helper.run(0.01);
    const double started = helper.now();
    if (row.driverIsLate) helper.fault("driver-gone");
    helper.start();
    helper.run(1);
    if (row.driverIsLate) helper.fault("clear driver-gone");
    EXPECT_EQ(helper.modes(), automatic);
    EXPECT_TRUE(helper.writesSince(started).empty()) << "what reads automatic is watched, not written";
    if (row.driverIsGone) {
      helper.fault("driver-gone");
      helper.run(2);
    }
    if (row.isStopped) helper.onMain([](HelperDaemon& daemon) { daemon.stop(0, "x"); });
    helper.run(row.isStopped ? 5 : 60);
    EXPECT_EQ(helper.finished, row.driverIsGone ? std::nullopt : std::optional(0));
    helper.fault("clear");
    helper.run(row.isStopped ? 10 : 45);
    EXPECT_EQ(helper.finished, 0);
    EXPECT_EQ(helper.modes(), automatic);
    helper.expectNothingButHandBacksSince(started);
  }
}

TEST(HelperStartTests, AMissingModeKeyOrDriverIsWaitedForAndAStopGivesUp) {
  struct Row {
    const char* fault;
    bool isStopped;
  };
  for (const Row row :
       {Row{"vanish F0Md", false}, Row{"vanish F0Md", true}, Row{"driver-gone", false}, Row{"driver-gone", true}}) {
    SCOPED_TRACE(row.fault);
    HelperHarness helper;
    helper.fault("set-mode 0 1 4000");
    helper.fault(row.fault);
    helper.start();
    helper.run(60);
    EXPECT_FALSE(helper.finished) << "nobody else would see it come back";
    EXPECT_TRUE(helper.writes.empty());
    if (row.isStopped) {
      helper.onMain([](HelperDaemon& daemon) { daemon.stop(0, "x"); });
      helper.run(15);
      EXPECT_EQ(helper.finished, 1) << "an exit status that says so";
      continue;
    }
    helper.fault("clear");
    helper.run(3);
    EXPECT_EQ(helper.modes(), automatic);
    helper.run(45);
    EXPECT_EQ(helper.finished, 0);
    helper.expectNothingButHandBacksSince(0);
  }
}

TEST(HelperStartTests, ALiveOwnersFansAreNotTouched) {
  HelperHarness helper;
  helper.fault("set-mode 0 1 4000");
  FanControlProcessLock owner(helper.lockFile, {}, helper.scheduler.clock());
  owner.acquire("live owner");
  helper.start();
  helper.run(5);
  EXPECT_TRUE(helper.writes.empty());
  EXPECT_EQ(helper.modes(), (std::vector<int>{1, 0}));
  EXPECT_TRUE(helper.log.contains("live owner"));
  // Told to stop, it still leaves them alone; with the owner gone, the next session begins with a hand-back.
  owner.release();
  const auto begun = helper.begin(helper.client, helper.id);
  helper.await(begun);
  ASSERT_TRUE(begun->succeeded()) << begun->description();
  EXPECT_EQ(integerEntry(begun->value, HelperReplyKey::fan0Mode), 0);
  EXPECT_EQ(helper.modes(), automatic);
}

TEST(HelperStartTests, AMachineWithAutomaticFansIsNotWrittenTo) {
  HelperHarness helper;
  helper.fault("set-mode 1 3");
  helper.start();
  helper.run(29);
  EXPECT_FALSE(helper.finished);
  helper.run(2);
  EXPECT_EQ(helper.finished, 0) << "idle for 30 s";
  EXPECT_TRUE(helper.writes.empty());
  EXPECT_TRUE(helper.lockIsFree());
}

}  // namespace
}  // namespace halcyra::test
