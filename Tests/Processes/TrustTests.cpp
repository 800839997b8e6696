// Sleep, wake and other fan utilities over the real programs, with the machine's own truth as the judge.

#include "Processes/UnderControl.h"

namespace halcyra::test {
namespace {

std::size_t occurrences(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++count;
  return count;
}

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
  for (const std::size_t round : {1U, 2U}) {
    ASSERT_EQ(sleep(), "asleep");
    EXPECT_EQ(machine.modes(), automatic) << "the machine fell asleep with a driven fan";
    EXPECT_EQ(occurrences(application->errors(), "smart control disengaged: system sleep"), round);
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
  // One that runs already is met before any fan is driven, be it by the supervised test.
  ASSERT_EQ(machine.control({"competitor", "on"}), 0);
  const auto tested = startApplication(machine, {"--preset", "Full Blast"});
  EXPECT_EQ(tested->wait(), 1);
  EXPECT_NE(tested->errors().find("aerovane: The supervised fan test failed: TG Pro may write to the fans as well."),
            std::string::npos)
      << tested->errors();
  writeFile(machine.configuration() / "aerovane/defaults.json", R"({"supervisedFanTestProtocolVersion": 1})");
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
  // For three more polls nothing is taken back.
  for (int poll = 0; poll < 3; ++poll) {
    const auto line = application->readLine();
    ASSERT_TRUE(line) << application->errors();
    EXPECT_FALSE(Json::parse(*line).at("session").get<bool>());
    EXPECT_EQ(machine.modes(), automatic);
  }
  ASSERT_EQ(machine.control({"competitor", "off"}), 0);
  const Json restored = readUntil(*application, bothManual);
  ASSERT_FALSE(restored.is_null()) << application->errors();
  EXPECT_TRUE(restored.at("error").is_null());
  EXPECT_NE(application->errors().find("competing fan controller cleared; saved preset may resume"), std::string::npos);
  endInOrder();
}

TEST(TrustWithoutSleepManagerTests, AMachineWithoutOneIsSaidOnceAndRunsOn) {
  // No machine and no bus at all: nothing to poll, nobody to announce sleep.
  TemporaryFolder nowhere;
  ChildProcess application(program("aerovane"),
                           {"--console", "--json", "--seconds", "5", "--runtime-dir", nowhere.path().string()},
                           {{"XDG_CONFIG_HOME", nowhere.path().string()}, {"HOME", nowhere.path().string()}});
  EXPECT_EQ(application.wait(), 0) << application.errors();
  EXPECT_EQ(occurrences(application.errors(), "no notice of sleep and wake"), 1U) << application.errors();
}

}  // namespace
}  // namespace halcyra::test
