// A preset drives the fans of the simulated Mac, through the three real programs, and hands them back at every end.

#include <unistd.h>

#include "Processes/UnderControl.h"

namespace halcyra::test {
namespace {

using ControlTests = UnderControl;

TEST_F(ControlTests, TheUsersOwnPresetDrivesBothFansAndTheMachineAgrees) {
  const Json presets = Json::array({steadyPreset("Stéady")});
  writeFile(machine.configuration() / "aerovane/defaults.json",
            Json{{"customFanPresets.v1", {{"data", presets.dump()}}}}.dump());
  application = startApplication(machine, {"--preset", "Stéady"});
  const Json line = readUntil(*application, [](const Json& candidate) {
    const Json& fans = candidate.at("fans");
    return bothManual(candidate) && fans[0].at("target") == 3100 && fans[1].at("target") == 3100;
  });
  ASSERT_FALSE(line.is_null()) << application->errors();
  EXPECT_EQ(line.at("preset"), "Stéady");
  EXPECT_EQ(line.at("helper"), "Approved");
  EXPECT_EQ(line.at("zones").size(), 2U);
  EXPECT_EQ(machine.modes(), manual);
  EXPECT_EQ(machine.show().at("fans")[0].at("target"), 3100);
  // The speed follows the target.
  EXPECT_TRUE(
      waitUntil([&] { return std::abs(machine.show().at("fans")[0].at("actual").get<double>() - 3100) < 100; }));
  endInOrder();
}

TEST_F(ControlTests, ASecondApplicationAndAStrangerAreRefusedAndChangeNothing) {
  ASSERT_EQ(geteuid(), 0U) << "this test changes users and must run as root";
  startUnderControl("Full Blast");
  const auto second = startApplication(machine, {"--preset", "30–50 °C Cooling"});
  TemporaryFolder home;
  std::filesystem::permissions(home.path(), std::filesystem::perms(0777));
  writeFile(home.path() / "aerovane/defaults.json", R"({"supervisedFanTestProtocolVersion": 1})");
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

TEST(ApprovalTests, AnOrdinaryUsersHelperNeedsApproval) {
  ASSERT_EQ(geteuid(), 0U) << "this test changes users and must run as root";
  TemporaryFolder home;
  std::filesystem::permissions(home.path(), std::filesystem::perms(0777));
  const std::string machineFolder = (home.path() / "machine").string();
  const ChildProcess::Environment environment = {{"XDG_CONFIG_HOME", home.path().string()},
                                                 {"HOME", home.path().string()}};
  ChildProcess machine(program("virtual-mac"), {"--runtime-dir", machineFolder, "--workload", "idle"}, environment,
                       nobody);
  ASSERT_TRUE(machine.readLine()) << machine.errors();
  const auto run = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--console", "--json", "--runtime-dir", machineFolder});
    return std::make_unique<ChildProcess>(program("aerovane"), arguments, environment, nobody);
  };
  const auto end = [](ChildProcess& process) {
    process.signal(SIGTERM);
    EXPECT_EQ(process.wait(), 0) << process.errors();
  };
  const auto unapproved = run({"--install-helper", "--preset", "Full Blast"});
  // The first poll may have begun before the registration.
  const Json waiting = readUntil(*unapproved, [](const Json& line) {
    return !line.at("error").is_null() && line.at("helper") == "Approval required";
  });
  ASSERT_FALSE(waiting.is_null()) << unapproved->errors();
  EXPECT_EQ(waiting.at("error"), "Approve the helper and complete the supervised fan test first.");
  EXPECT_EQ(waiting.at("session"), false);
  end(*unapproved);

  ChildProcess refresh(program("aerovane"), {"--refresh-helper-registration", "--runtime-dir", machineFolder},
                       environment, nobody);
  EXPECT_EQ(refresh.wait(), 0) << refresh.errors();
  EXPECT_EQ(refresh.readLine(), "Aerovane helper registration refreshed: 2");

  const auto approved = run({"--approve-helper", "--supervised-test", "--preset", "Full Blast"});
  EXPECT_FALSE(readUntil(*approved, bothManual).is_null()) << approved->errors();
  end(*approved);
  end(machine);
}

TEST_F(ControlTests, BadUsageSaysWhatIsWrong) {
  const std::vector<std::pair<std::vector<std::string>, const char*>> rows = {
      {{"--console", "--sekonds", "3"}, "--sekonds"},
      {{"--console", "--seconds", "soon"}, "--seconds"},
      {{"--console", "--seconds", "-1"}, "--seconds"},
      {{"--console", "--virtual-mac", "--runtime-dir", "/nowhere"}, "--runtime-dir"},
      {{"--console", "--runtime-dir", machine.folder().string(), "--preset", "Warp"}, "Smart Auto"},
      // Options that would be ignored.
      {{"--list-presets", "--preset", "Full Blast"}, "--console"},
      {{"--list-presets", "--record", "x.csv"}, "--console"},
      {{"--refresh-helper-registration", "--console"}, "--refresh-helper-registration"},
  };
  for (const auto& [arguments, named] : rows) {
    ChildProcess process(program("aerovane"), arguments);
    EXPECT_EQ(process.wait(), 2);
    EXPECT_NE(process.errors().find(named), std::string::npos) << process.errors();
    EXPECT_EQ(process.readLine(), std::nullopt);
  }
}

TEST_F(ControlTests, SettingsThatAreDamagedOrCannotBeWrittenAreKeptAndNamedAndControlGoesOn) {
  const std::string damaged = "{\"pollingInterval\": 1.0, \"customFanPr";
  const auto file = machine.configuration() / "aerovane/defaults.json";
  writeFile(file, damaged);
  startUnderControl("Full Blast");
  endInOrder();
  bool kept = false;
  for (const auto& entry : std::filesystem::directory_iterator(file.parent_path())) {
    kept = kept || readFile(entry.path()) == damaged;
  }
  EXPECT_TRUE(kept) << "the damaged file's content is gone";
  EXPECT_NE(application->errors().find("defaults.json"), std::string::npos);
  EXPECT_TRUE(Json::accept(readFile(file)));

  // A file where the folder should be: not writable for root either.
  const auto blocked = machine.configuration() / "blocked";
  writeFile(blocked / "aerovane", "in the way");
  application = startApplication(machine, {"--preset", "Full Blast"}, std::nullopt, blocked.string());
  awaitControl();
  endInOrder();
  EXPECT_NE(application->errors().find("defaults.json"), std::string::npos);
  EXPECT_EQ(readFile(blocked / "aerovane"), "in the way");
}

}  // namespace
}  // namespace halcyra::test
