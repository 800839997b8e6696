// Sleep, wake and other fan utilities over the real programs, with the machine's own truth as the judge.

#include "Processes/UnderControl.h"

namespace halcyra::test {
namespace {

class TrustTests : public UnderControl {
 protected:
  /// Sends the machine to sleep: what it says once it sleeps.
  std::string sleep() {
    ChildProcess control(program("virtual-mac"), {"ctl", "--runtime-dir", machine.folder().string(), "sleep"});
    return control.readLine().value_or(control.errors());
  }
};

TEST_F(TrustTests, TheFansAreAutomaticBeforeTheMachineSleepsAndThePresetIsBackAfterWaking) {
  startUnderControl("Full Blast");
  // The machine waits at every sleep, not at the first only.
  for (int round = 0; round < 2; ++round) {
    ASSERT_EQ(sleep(), "asleep");
    EXPECT_EQ(machine.modes(), automatic) << "the machine fell asleep with a driven fan";
    ASSERT_EQ(machine.control({"wake"}), 0);
    ASSERT_TRUE(comeTo(manual));
  }

  // One that hangs does not keep the machine awake; its watchdog takes the fans, asleep or not.
  application->signal(SIGSTOP);
  EXPECT_EQ(sleep(), "asleep (an inhibitor was still held after 5 seconds)");
  EXPECT_TRUE(comeTo(automatic));
  application->signal(SIGCONT);
  ASSERT_EQ(machine.control({"wake"}), 0);
  EXPECT_TRUE(comeTo(manual));
  endInOrder();
}

TEST_F(TrustTests, AnotherFanUtilityGetsTheFansUntilItIsGone) {
  const std::string message =
      "TG Pro's privileged SMC helper is still running. Open TG Pro and use its uninstall/remove-helper option, or "
      "unload that service with administrator approval. Aerovane is keeping both fans on Apple Default and will "
      "automatically reapply Full Blast when the helper is gone.";
  const auto isConflict = [&](const Json& line) {
    return line.at("error") == message && !line.at("session").get<bool>();
  };
  // That of another machine is no concern of this one.
  MachineProcess other("idle");
  ASSERT_EQ(other.control({"competitor", "on"}), 0);
  // One that runs already is met before any fan is driven.
  ASSERT_EQ(machine.control({"competitor", "on"}), 0);
  writeFile(machine.settings(),
            R"({"supervisedFanTestProtocolVersion": 1, "supervisedFanTestHardwareModel": "Mac15,11"})");
  application = startApplication(machine, {"--preset", "Full Blast"});
  ASSERT_FALSE(readUntil(*application, isConflict).is_null()) << application->errors();
  EXPECT_EQ(machine.show().at("writes"), 0);
  EXPECT_EQ(machine.modes(), automatic);
  ASSERT_EQ(machine.control({"competitor", "off"}), 0);
  awaitControl();

  ASSERT_EQ(machine.control({"competitor", "on"}), 0);
  const Json conflict = readUntil(*application, isConflict);
  ASSERT_FALSE(conflict.is_null()) << application->errors();
  EXPECT_EQ(conflict.at("preset"), "Full Blast");
  EXPECT_EQ(machine.modes(), automatic);
  ASSERT_EQ(machine.control({"competitor", "off"}), 0);
  const Json restored = readUntil(*application, bothManual);
  ASSERT_FALSE(restored.is_null()) << application->errors();
  EXPECT_TRUE(restored.at("error").is_null());
  endInOrder();
}

}  // namespace
}  // namespace halcyra::test
