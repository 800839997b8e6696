// The loss of each of the three processes, with the machine's own truth as the judge.

#include <signal.h>

#include "gtest/gtest.h"

#include "Processes/ProcessSupport.h"
#include "Support/Values.h"

namespace halcyra::test {
namespace {

class LossTests : public testing::Test {
 protected:
  void startUnderControl(const std::string& preset) {
    application = startApplication(machine, {"--preset", preset});
    const Json line = readUntil(*application, bothManual);
    ASSERT_FALSE(line.is_null()) << application->errors();
    ASSERT_EQ(machine.modes(), manual);
  }

  MachineProcess machine;
  std::unique_ptr<ChildProcess> application;
};

TEST_F(LossTests, AKilledApplicationLosesTheFansWithinTwoSeconds) {
  startUnderControl("Full Blast");
  application->signal(SIGKILL);
  const auto taken = waitUntil([&] { return machine.modes() == automatic; });
  ASSERT_TRUE(taken);
  EXPECT_LE(taken->count(), 2.0);
  EXPECT_EQ(application->wait(), -SIGKILL);
  // The hand-back may still be writing what it wrote again; once the helper has nothing left to do it ends.
  EXPECT_TRUE(waitUntil([&] { return machine.processesOf("aerovane-helper").empty(); }));
  EXPECT_EQ(machine.modes(), automatic);
}

TEST_F(LossTests, AStoppedApplicationLosesTheFansAfterItsWatchdog) {
  startUnderControl("Full Blast");
  application->signal(SIGSTOP);
  const auto taken = waitUntil([&] { return machine.modes() == automatic; });
  ASSERT_TRUE(taken);
  // The last heartbeat was sent at most 4 s before the stop.
  EXPECT_GE(taken->count(), 12.0 - 4.1);
  EXPECT_LE(taken->count(), 14.0);

  // Running again it finds its session expired and takes its preset up anew.
  application->signal(SIGCONT);
  EXPECT_TRUE(waitUntil([&] { return machine.modes() == manual; })) << application->errors();
}

TEST_F(LossTests, AKilledHelperIsReplacedAndThePresetReturns) {
  startUnderControl("Smart Auto");
  const auto helpers = machine.processesOf("aerovane-helper");
  ASSERT_EQ(helpers.size(), 1U);
  ASSERT_EQ(::kill(helpers.front(), SIGKILL), 0);
  EXPECT_TRUE(waitUntil([&] { return machine.modes() == automatic; })) << "the new helper left the fans as they were";
  const auto replaced = [&] {
    const auto now = machine.processesOf("aerovane-helper");
    return now.size() == 1 && now.front() != helpers.front() && machine.modes() == manual;
  };
  EXPECT_TRUE(waitUntil(replaced)) << application->errors();
  application->signal(SIGTERM);
  EXPECT_EQ(application->wait(), 0);
  EXPECT_EQ(machine.modes(), automatic);
}

TEST_F(LossTests, AKilledMachineIsAnErrorLineAndItsReturnARecovery) {
  startUnderControl("Smart Auto");
  machine.kill();
  const Json failed = readUntil(*application, [](const Json& line) { return !line.at("error").is_null(); });
  ASSERT_FALSE(failed.is_null()) << application->errors();
  machine.restart();
  const Json recovered =
      readUntil(*application, [](const Json& line) { return line.at("error").is_null() && bothManual(line); });
  EXPECT_FALSE(recovered.is_null()) << application->errors();
  EXPECT_EQ(machine.modes(), manual);
  application->signal(SIGINT);
  EXPECT_EQ(application->wait(), 0);
  EXPECT_EQ(machine.modes(), automatic);
}

TEST_F(LossTests, AKilledBusReleasesTheFansAndControlReturnsWithIt) {
  startUnderControl("Smart Auto");
  const auto buses = machine.processesOf("dbus-daemon");
  ASSERT_EQ(buses.size(), 1U);
  ASSERT_EQ(::kill(buses.front(), SIGKILL), 0);
  EXPECT_TRUE(waitUntil([&] { return machine.modes() == automatic; })) << application->errors();
  EXPECT_TRUE(waitUntil([&] { return machine.modes() == manual; })) << application->errors();
  application->signal(SIGTERM);
  EXPECT_EQ(application->wait(), 0);
  EXPECT_EQ(machine.modes(), automatic);
}

TEST_F(LossTests, AHelperToldToStopHandsTheFansBackFirst) {
  startUnderControl("Full Blast");
  application->signal(SIGSTOP);  // so that nobody asks for a new session
  const auto helpers = machine.processesOf("aerovane-helper");
  ASSERT_EQ(helpers.size(), 1U);
  ASSERT_EQ(::kill(helpers.front(), SIGTERM), 0);
  EXPECT_TRUE(waitUntil([&] { return machine.processesOf("aerovane-helper").empty(); }));
  EXPECT_EQ(machine.modes(), automatic);
}

}  // namespace
}  // namespace halcyra::test
