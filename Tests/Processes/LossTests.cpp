// The loss of each of the three processes, with the machine's own truth as the judge.

#include "Processes/UnderControl.h"

namespace halcyra::test {
namespace {

using LossTests = UnderControl;

TEST_F(LossTests, AKilledApplicationLosesTheFansWithinTwoSeconds) {
  startUnderControl("Full Blast");
  application->signal(SIGKILL);
  const auto taken = waitUntil([&] { return machine.modes() == automatic; });
  ASSERT_TRUE(taken);
  EXPECT_LE(taken->count(), 2.0);
  // The hand-back may still be writing what it wrote again; once the helper has nothing left to do it ends.
  EXPECT_TRUE(waitUntil([&] { return machine.processesOf("aerovane-helper").empty(); }));
  EXPECT_EQ(machine.modes(), automatic);
}

TEST_F(LossTests, ApplicationAndHelperKilledTogetherLeaveTheFansToTheMachine) {
  startUnderControl("Full Blast");
  application->signal(SIGKILL);
  ASSERT_EQ(::kill(idOf("aerovane-helper"), SIGKILL), 0);
  EXPECT_TRUE(comeTo(automatic)) << "nobody has handed the fans back";
}

TEST_F(LossTests, AStoppedApplicationLosesTheFansToTheWatchdogOrAHelperToldToStop) {
  startUnderControl("Full Blast");
  application->signal(SIGSTOP);
  const auto taken = waitUntil([&] { return machine.modes() == automatic; });
  ASSERT_TRUE(taken);
  // The last heartbeat was sent at most 4 s before the stop.
  EXPECT_GE(taken->count(), 12.0 - 4.1);
  EXPECT_LE(taken->count(), 14.0);

  // Running again it finds its session expired and takes its preset up anew.
  application->signal(SIGCONT);
  ASSERT_TRUE(comeTo(manual));

  application->signal(SIGSTOP);  // so that nobody asks for a new session
  ASSERT_EQ(::kill(idOf("aerovane-helper"), SIGTERM), 0);
  EXPECT_TRUE(waitUntil([&] { return machine.processesOf("aerovane-helper").empty(); }));
  EXPECT_EQ(machine.modes(), automatic);
}

TEST_F(LossTests, AKilledMachineHelperOrBusReleasesTheFansAndThePresetReturns) {
  startUnderControl("Smart Auto");
  machine.kill();
  const Json failed = readUntil(*application, [](const Json& line) { return !line.at("error").is_null(); });
  ASSERT_FALSE(failed.is_null()) << application->errors();
  machine.restart();
  const Json recovered =
      readUntil(*application, [](const Json& line) { return line.at("error").is_null() && bothManual(line); });
  EXPECT_FALSE(recovered.is_null()) << application->errors();
  EXPECT_EQ(machine.modes(), manual);

  const pid_t helper = idOf("aerovane-helper");
  ASSERT_EQ(::kill(helper, SIGKILL), 0);
  EXPECT_TRUE(comeTo(automatic)) << "the new helper left the fans as they were";
  EXPECT_TRUE(comeTo(manual));
  EXPECT_NE(idOf("aerovane-helper"), helper);

  ASSERT_EQ(::kill(idOf("dbus-daemon"), SIGKILL), 0);
  EXPECT_TRUE(comeTo(automatic));
  EXPECT_TRUE(comeTo(manual));
  endInOrder(SIGINT);
}

}  // namespace
}  // namespace halcyra::test
