// A preset drives the fans of the simulated Mac, through the three real programs, and hands them back at every end.

#include <signal.h>
#include <unistd.h>

#include "gtest/gtest.h"

#include "Processes/ProcessSupport.h"
#include "Support/Values.h"

namespace halcyra::test {
namespace {

struct PresetCase {
  const char* name;
  /// What each fan's target must be, from the fan as the console reports it.
  bool (*accepts)(const Json& fan);
};

class PresetTests : public testing::TestWithParam<PresetCase> {};

TEST_P(PresetTests, DrivesBothFansAndTheMachineAgrees) {
  MachineProcess machine("sustained");
  const Json presets = Json::array({steadyPreset("Steady")});
  writeFile(machine.configuration() / "aerovane/defaults.json",
            Json{{"customFanPresets.v1", {{"data", presets.dump()}}}}.dump());
  const auto application = startApplication(machine, {"--preset", GetParam().name});
  const Json line = readUntil(*application, [](const Json& candidate) {
    return bothManual(candidate) && GetParam().accepts(candidate.at("fans")[0]) &&
           GetParam().accepts(candidate.at("fans")[1]);
  });
  ASSERT_FALSE(line.is_null()) << application->errors();
  EXPECT_EQ(line.at("preset"), GetParam().name);
  EXPECT_EQ(line.at("helper"), "Approved");
  EXPECT_EQ(line.at("zones").size(), 2U);
  EXPECT_EQ(machine.modes(), manual);
  for (const Json& fan : machine.show().at("fans")) {
    EXPECT_GE(fan.at("target"), fan.at("minimum"));
    EXPECT_LE(fan.at("target"), fan.at("maximum"));
  }
  // The speed follows the target.
  EXPECT_TRUE(waitUntil([&] {
    const Json fan = machine.show().at("fans")[0];
    return std::abs(fan.at("actual").get<double>() - fan.at("target").get<double>()) < 100;
  }));
  application->signal(SIGTERM);
  EXPECT_EQ(application->wait(), 0);
  EXPECT_EQ(machine.modes(), automatic);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, PresetTests,
    testing::Values(PresetCase{"Smart Auto", [](const Json& fan) { return fan.at("target") > fan.at("minimum"); }},
                    PresetCase{"Full Blast", [](const Json& fan) { return fan.at("target") == fan.at("maximum"); }},
                    // Hot enough for full speed, less the 50 RPM for which no new target is worth a write.
                    PresetCase{"30–50 °C Cooling",
                               [](const Json& fan) {
                                 return fan.at("target").get<int>() > fan.at("maximum").get<int>() - 50;
                               }},
                    PresetCase{"Steady", [](const Json& fan) { return fan.at("target") == 3100; }}),
    [](const auto& test) { return std::string("Preset") + std::to_string(test.index); });

TEST(ControlTests, TheEndOfTheTimeHandsTheFansBack) {
  MachineProcess machine;
  const auto application = startApplication(machine, {"--preset", "Full Blast", "--seconds", "12"});
  ASSERT_FALSE(readUntil(*application, bothManual).is_null()) << application->errors();
  EXPECT_EQ(application->wait(), 0);
  EXPECT_EQ(machine.modes(), automatic);
}

TEST(ControlTests, ASecondApplicationIsRefusedAndChangesNothing) {
  MachineProcess machine;
  const auto first = startApplication(machine, {"--preset", "Full Blast"});
  ASSERT_FALSE(readUntil(*first, bothManual).is_null()) << first->errors();
  const auto second = startApplication(machine, {"--preset", "30–50 °C Cooling"});
  const Json refused = readUntil(*second, [](const Json& line) {
    return line.at("error") == "Another fan-control session is active. Quit any other fan utility and try again.";
  });
  EXPECT_FALSE(refused.is_null()) << second->errors();
  EXPECT_EQ(machine.modes(), manual);
  for (const Json& fan : machine.show().at("fans")) EXPECT_EQ(fan.at("target"), fan.at("maximum"));
  second->signal(SIGTERM);
  EXPECT_EQ(second->wait(), 0);
  EXPECT_EQ(machine.modes(), manual) << "the end of a client without a session touched the fans";
}

TEST(ControlTests, ACallerThatThePolicyDoesNotAllowIsRefused) {
  ASSERT_EQ(geteuid(), 0U) << "this test changes users and must run as root";
  MachineProcess machine;
  // Root registers the helper and passes the test; then another user tries.
  const auto allowed = startApplication(machine, {"--seconds", "15"});
  EXPECT_EQ(allowed->wait(), 0) << allowed->errors();
  constexpr uid_t nobody = 65534;
  TemporaryFolder home;
  std::filesystem::permissions(home.path(), std::filesystem::perms(0777));
  writeFile(home.path() / "aerovane/defaults.json", R"({"supervisedFanTestProtocolVersion": 1})");
  ASSERT_EQ(chown((home.path() / "aerovane").c_str(), nobody, nobody), 0);
  const auto writes = machine.show().at("writes");
  ChildProcess stranger(program("aerovane"),
                        {"--console", "--json", "--runtime-dir", machine.folder().string(), "--preset", "Full Blast"},
                        {{"XDG_CONFIG_HOME", home.path().string()}, {"HOME", home.path().string()}}, nobody);
  const Json refused = readUntil(stranger, [](const Json& line) {
    return line.at("error") == "Aerovane could not verify the privileged helper connection.";
  });
  EXPECT_FALSE(refused.is_null()) << stranger.errors();
  EXPECT_EQ(machine.modes(), automatic);
  EXPECT_EQ(machine.show().at("writes"), writes);
}

TEST(ControlTests, AnOrdinaryUsersHelperNeedsApproval) {
  ASSERT_EQ(geteuid(), 0U) << "this test changes users and must run as root";
  constexpr uid_t nobody = 65534;
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
  const auto unapproved = run({"--install-helper", "--preset", "Full Blast", "--seconds", "8"});
  // The first poll may have begun before the registration.
  const Json waiting = readUntil(*unapproved, [](const Json& line) {
    return !line.at("error").is_null() && line.at("helper") == "Approval required";
  });
  ASSERT_FALSE(waiting.is_null()) << unapproved->errors();
  EXPECT_EQ(waiting.at("error"), "Approve the helper and complete the supervised fan test first.");
  EXPECT_EQ(waiting.at("session"), false);
  EXPECT_EQ(unapproved->wait(), 0);

  const auto approved = run({"--approve-helper", "--supervised-test", "--preset", "Full Blast"});
  EXPECT_FALSE(readUntil(*approved, bothManual).is_null()) << approved->errors();
  approved->signal(SIGTERM);
  EXPECT_EQ(approved->wait(), 0);
  machine.signal(SIGTERM);
  EXPECT_EQ(machine.wait(), 0);
}

TEST(ControlTests, ReleaseAllHandsBackWhateverElseRuns) {
  MachineProcess machine;
  auto application = startApplication(machine, {"--preset", "Full Blast"});
  ASSERT_FALSE(readUntil(*application, bothManual).is_null()) << application->errors();
  application->signal(SIGSTOP);
  ChildProcess release(program("aerovane-helper"), {"--runtime-dir", machine.folder().string(), "--release-all"});
  EXPECT_EQ(release.wait(), 0) << release.errors();
  EXPECT_EQ(machine.modes(), automatic);
}

TEST(ControlTests, BadUsageSaysWhatIsWrong) {
  const auto complaint = [](std::vector<std::string> arguments) {
    ChildProcess process(program("aerovane"), std::move(arguments));
    EXPECT_EQ(process.wait(), 2);
    return process.errors();
  };
  EXPECT_NE(complaint({"--console", "--sekonds", "3"}).find("--sekonds"), std::string::npos);
  EXPECT_NE(complaint({"--console", "--seconds", "soon"}).find("--seconds"), std::string::npos);
  EXPECT_NE(complaint({"--console", "--seconds", "-1"}).find("--seconds"), std::string::npos);
  EXPECT_NE(complaint({"--console", "--virtual-mac", "--runtime-dir", "/nowhere"}).find("--runtime-dir"),
            std::string::npos);
  MachineProcess machine("idle");
  EXPECT_NE(complaint({"--console", "--runtime-dir", machine.folder().string(), "--preset", "Warp"}).find("Smart Auto"),
            std::string::npos);
}

TEST(ControlTests, ADamagedSettingsFileIsKeptAndNamed) {
  MachineProcess machine("idle");
  const auto file = machine.configuration() / "aerovane/defaults.json";
  writeFile(file, "{\"pollingInterval\": 1.0, \"customFanPr");
  const auto application = startApplication(machine, {"--preset", "Full Blast"});
  EXPECT_FALSE(readUntil(*application, bothManual).is_null()) << application->errors();
  application->signal(SIGTERM);
  EXPECT_EQ(application->wait(), 0);
  bool kept = false;
  for (const auto& entry : std::filesystem::directory_iterator(file.parent_path())) {
    if (entry.path() == file) continue;
    kept = kept || readFile(entry.path()) == "{\"pollingInterval\": 1.0, \"customFanPr";
  }
  EXPECT_TRUE(kept) << "the damaged file's content is gone";
  EXPECT_NE(application->errors().find("defaults.json"), std::string::npos);
  EXPECT_TRUE(Json::accept(readFile(file)));
}

TEST(ControlTests, SettingsThatCannotBeWrittenAreSaidAndUsed) {
  MachineProcess machine("idle");
  // A file where the folder should be: not writable for root either.
  writeFile(machine.configuration() / "blocked/aerovane", "in the way");
  const auto application = startApplication(machine, {"--preset", "Full Blast"}, std::nullopt,
                                            (machine.configuration() / "blocked").string());
  EXPECT_FALSE(readUntil(*application, bothManual).is_null()) << application->errors();
  application->signal(SIGTERM);
  EXPECT_EQ(application->wait(), 0);
  EXPECT_NE(application->errors().find("defaults.json"), std::string::npos);
  EXPECT_EQ(readFile(machine.configuration() / "blocked/aerovane"), "in the way");
}

}  // namespace
}  // namespace halcyra::test
