// A preset drives the fans of the simulated Mac, through the three real programs, and hands them back at every end.

#include <unistd.h>

#include "Processes/UnderControl.h"

namespace halcyra::test {
namespace {

using ControlTests = UnderControl;

TEST_F(ControlTests, TheUsersOwnPresetDrivesBothFansAndTheMachineAgrees) {
  const Json presets = Json::array({steadyPreset("Stéady")});
  // A simulation changes nothing of the real machine's settings.
  const auto real = machine.settings().parent_path() / "defaults.json";
  writeFile(real, R"({"lastSelectedFanPresetID.v1": "mine"})");
  writeFile(machine.settings(), Json{{"customFanPresets.v1", {{"data", presets.dump()}}}}.dump());
  application = startApplication(machine, {"--preset", "Stéady"});
  const Json line = readUntil(*application, [](const Json& candidate) {
    const Json& fans = candidate.at("fans");
    return bothManual(candidate) && fans[0].at("target") == 3100 && fans[1].at("target") == 3100;
  });
  ASSERT_FALSE(line.is_null()) << application->errors();
  EXPECT_EQ(line.at("preset"), "Stéady");
  EXPECT_EQ(machine.modes(), manual);
  EXPECT_EQ(machine.show().at("fans")[0].at("target"), 3100);
  endInOrder();
  EXPECT_EQ(readFile(real), R"({"lastSelectedFanPresetID.v1": "mine"})");
  EXPECT_NE(readFile(machine.settings()).find("lastSelectedFanPresetID.v1"), std::string::npos);
}

TEST_F(ControlTests, ASecondApplicationAndAStrangerAreRefusedAndChangeNothing) {
  ASSERT_EQ(geteuid(), 0U) << "this test changes users and must run as root";
  startUnderControl("Full Blast");
  const auto second = startApplication(machine, {"--preset", "30–50 °C Cooling"});
  TemporaryFolder home;
  std::filesystem::permissions(home.path(), std::filesystem::perms(0777));
  writeFile(home.path() / "aerovane/simulated-defaults.json",
            R"({"supervisedFanTestProtocolVersion": 1, "supervisedFanTestHardwareModel": "Mac15,11"})");
  ASSERT_EQ(chown((home.path() / "aerovane").c_str(), nobody, nobody), 0);
  // Root has registered the helper: another user is not let in.
  ChildProcess stranger(program("aerovane"),
                        {"--console", "--json", "--runtime-dir", machine.folder().string(), "--preset", "Full Blast"},
                        {{"XDG_CONFIG_HOME", home.path().string()}, {"HOME", home.path().string()}}, nobody);
  const std::pair<ChildProcess*, const char*> refusals[] = {
      {second.get(), "Another fan-control session is active. Quit any other fan utility and try again."},
      {&stranger, "Aerovane could not verify the privileged helper connection."}};
  for (const auto& [process, message] : refusals) {
    const Json refused = readUntil(*process, [text = message](const Json& line) { return line.at("error") == text; });
    EXPECT_FALSE(refused.is_null()) << process->errors();
    process->signal(SIGTERM);
    EXPECT_EQ(process->wait(), 0);
    EXPECT_EQ(machine.modes(), manual) << "the end of a client without a session touched the fans";
    for (const Json& fan : machine.show().at("fans")) EXPECT_EQ(fan.at("target"), fan.at("maximum"));
  }

  // Whatever else runs.
  application->signal(SIGSTOP);
  ChildProcess release(program("aerovane-helper"), {"--runtime-dir", machine.folder().string(), "--release-all"});
  EXPECT_EQ(release.wait(), 0) << release.errors();
  EXPECT_EQ(machine.modes(), automatic);
}

TEST(UsageTests, BadUsageIsNamedBeforeAnythingStarts) {
  struct Row {
    const char* program;
    std::vector<std::string> arguments;
    const char* named;
  };
  const Row rows[] = {
      {"aerovane", {"--console", "--sekonds", "3"}, "--sekonds"},
      {"aerovane", {"--console", "--seconds", "-1"}, "--seconds"},
      {"aerovane", {"--console", "--seconds", "nan"}, "--seconds"},
      {"aerovane", {"--console", "--virtual-mac", "--seed", "-1"}, "--seed"},
      {"aerovane", {"--console", "--runtime-dir", ""}, "--runtime-dir"},
      {"aerovane", {"--console", "--virtual-mac", "--runtime-dir", "/nowhere"}, "--runtime-dir"},
      {"aerovane", {"--console", "--virtual-mac", "--workload", "party"}, "there are host, idle, bursts"},
      {"aerovane", {"--console", "--virtual-mac", "--preset", "Warp"}, "Smart Auto"},
      // Options that would be ignored.
      {"aerovane", {"--list-presets", "--record", "x.csv"}, "--console"},
      {"aerovane", {"--refresh-helper-registration", "--console"}, "--refresh-helper-registration"},
      {"virtual-mac", {"--runtime-dir", "/tmp", "--seed", "-1"}, "--seed"},
      {"virtual-mac", {"--runtime-dir", ""}, "--runtime-dir"},
      {"virtual-mac", {"--runtime-dir", "/nowhere", "--workload", "party"}, "and traces (FILE.csv)"},
      {"aerovane-helper", {"--release-all", "--runtime-dir", ""}, "--runtime-dir"},
  };
  for (const Row& row : rows) {
    ChildProcess process(program(row.program), row.arguments);
    EXPECT_EQ(process.wait(), 2) << row.named;
    EXPECT_NE(process.errors().find(row.named), std::string::npos) << process.errors();
    EXPECT_EQ(process.errors().find("simulated Mac in"), std::string::npos) << process.errors();
    EXPECT_EQ(process.readLine(), std::nullopt);
  }
  ChildProcess refresh(program("aerovane"), {"--refresh-helper-registration", "--runtime-dir", "/nowhere"});
  EXPECT_EQ(refresh.wait(), 1);
  EXPECT_EQ(refresh.errors(), "aerovane: No simulated Mac runs in “/nowhere”.\n");
}

TEST_F(ControlTests, OutputThatNobodyGetsEndsTheProgramWithTheFansHandedBack) {
  startUnderControl("Full Blast");
  application->closeOutput();
  EXPECT_EQ(application->wait(), 1) << application->errors();
  EXPECT_EQ(machine.modes(), automatic);
  for (const char* arguments : {"--console --json", "--list-presets", "--help"}) {
    const auto command = program("aerovane") + " " + arguments + " --runtime-dir " + machine.folder().string();
    ChildProcess full("/bin/sh", {"-c", "exec " + command + " >/dev/full"});
    EXPECT_EQ(full.wait(), 1) << arguments;
  }
}

}  // namespace
}  // namespace halcyra::test
