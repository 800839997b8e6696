// The preset library and recordings of the console, with real files.

#include <algorithm>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include "gtest/gtest.h"

#include "Processes/ProcessSupport.h"

namespace halcyra::test {
namespace {

struct Outcome {
  int status = 0;
  std::string output;
  std::string errors;
};

class LibraryFileTests : public testing::Test {
 protected:
  Outcome run(std::vector<std::string> arguments, std::optional<uid_t> user = std::nullopt) {
    ChildProcess process(program("aerovane"), std::move(arguments),
                         {{"XDG_CONFIG_HOME", home.path().string()}, {"HOME", home.path().string()}}, user);
    Outcome outcome;
    while (const auto line = process.readLine()) outcome.output += *line + "\n";
    outcome.status = process.wait();
    outcome.errors = process.errors();
    return outcome;
  }
  std::filesystem::path file(const std::string& name) const { return home.path() / name; }
  std::string settings() const { return readFile(home.path() / "aerovane/defaults.json"); }

  static std::string presetFile(const std::string& name) {
    return Json{{"version", 1}, {"presets", Json::array({steadyPreset(name)})}}.dump();
  }

  TemporaryFolder home;
};

TEST_F(LibraryFileTests, PresetsGoOutAndComeIn) {
  writeFile(file("in.json"), presetFile("Steady"));
  std::filesystem::create_symlink(file("in.json"), file("link.json"));
  const Outcome imported = run({"--import-presets", file("link.json").string()});
  EXPECT_EQ(imported.status, 0) << imported.errors;
  EXPECT_EQ(imported.output, "Imported 1 preset from " + file("link.json").string() + "\n");
  const Outcome listed = run({"--list-presets"});
  EXPECT_EQ(listed.status, 0) << listed.errors;
  EXPECT_EQ(listed.output, "Apple Default\nBattery Saver\n30–50 °C Cooling\nSmart Auto\nFull Blast\nSteady\n");
  const std::string before = settings();
  const Outcome exported = run({"--export-presets", file("out.json").string()});
  EXPECT_EQ(exported.status, 0) << exported.errors;
  const Json written = Json::parse(readFile(file("out.json")));
  EXPECT_EQ(written.at("version"), 1);
  ASSERT_EQ(written.at("presets").size(), 3U);
  EXPECT_EQ(written.at("presets")[2].at("name"), "Steady");
  EXPECT_EQ(settings(), before) << "listing and exporting change nothing";
  // Exported files are taken as they are.
  EXPECT_EQ(run({"--import-presets", file("out.json").string()}).output,
            "Imported 3 presets from " + file("out.json").string() + "\n");
}

TEST_F(LibraryFileTests, FilesThatCannotBeImportedAreNamedAndChangeNothing) {
  writeFile(file("good.json"), presetFile("Steady"));
  ASSERT_EQ(run({"--import-presets", file("good.json").string()}).status, 0);
  const std::string before = settings();
  ASSERT_FALSE(before.empty());
  writeFile(file("cut.json"), presetFile("Cut").substr(0, 80));
  writeFile(file("large.json"), std::string(50'000'000, '['));
  ASSERT_EQ(mkfifo(file("pipe.json").c_str(), 0600), 0);
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"cut.json", "Import failed: The data is not valid JSON"},
      {"large.json", "Import failed: The data is nested more than"},
      {"pipe.json", "couldn’t be read"},
      {"missing.json", "No such file or directory"},
  };
  for (const auto& [name, message] : rows) {
    SCOPED_TRACE(name);
    const Outcome outcome = run({"--import-presets", file(name).string()});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_NE(outcome.errors.find(message), std::string::npos) << outcome.errors;
    EXPECT_EQ(settings(), before);
  }
}

TEST_F(LibraryFileTests, WhatMayNotBeReadOrWrittenIsSaid) {
  ASSERT_EQ(geteuid(), 0U) << "this test changes users and must run as root";
  std::filesystem::permissions(home.path(), std::filesystem::perms(0777));
  writeFile(file("secret.json"), presetFile("Secret"));
  std::filesystem::permissions(file("secret.json"), std::filesystem::perms(0600));
  std::filesystem::create_directory(file("closed"));
  const Outcome refused = run({"--import-presets", file("secret.json").string()}, nobody);
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.errors.find("Permission denied"), std::string::npos) << refused.errors;
  const Outcome notWritten = run({"--export-presets", file("closed/out.json").string()}, nobody);
  EXPECT_EQ(notWritten.status, 1);
  EXPECT_NE(notWritten.errors.find("Export failed: "), std::string::npos) << notWritten.errors;
  EXPECT_TRUE(std::filesystem::is_empty(file("closed")));

  writeFile(file("in.json"), presetFile("Steady"));
  writeFile(file("aerovane"), "in the way of the settings folder");
  const Outcome notStored = run({"--import-presets", file("in.json").string()});
  EXPECT_EQ(notStored.status, 1);
  EXPECT_NE(notStored.errors.find("Import failed: "), std::string::npos) << notStored.errors;
}

TEST_F(LibraryFileTests, ARecordingIsReplayedByAnotherMachine) {
  const auto recording = file("run.csv");
  {
    MachineProcess machine("sustained");
    const auto application = startApplication(machine, {"--record", recording.string()});
    // A comment, the names and three polls.
    EXPECT_TRUE(waitUntil([&] { return std::ranges::count(readFile(recording), '\n') >= 5; }));
    application->signal(SIGTERM);
    EXPECT_EQ(application->wait(), 0) << application->errors();
    const auto again = startApplication(machine, {"--record", recording.string()});
    EXPECT_EQ(again->wait(), 1);
    EXPECT_NE(again->errors().find("File exists"), std::string::npos) << again->errors();
  }
  std::string last = readFile(recording);
  last.erase(last.find_last_not_of('\n') + 1);
  last.erase(0, last.rfind('\n') + 1);

  // The last line holds for ever: the other machine comes to read exactly that.
  MachineProcess other(recording.string());
  const auto reader = startApplication(other, {"--record", file("replay.csv").string()});
  // Without the time before them and the speeds of the fans behind.
  const std::string temperatures = last.substr(last.find(','), last.rfind(',', last.rfind(',') - 1) - last.find(','));
  EXPECT_GT(std::ranges::count(temperatures, ','), 40);
  EXPECT_TRUE(waitUntil([&] { return readFile(file("replay.csv")).find(temperatures) != std::string::npos; }))
      << temperatures << "\n"
      << readFile(file("replay.csv"));
  reader->signal(SIGTERM);
  EXPECT_EQ(reader->wait(), 0);
}

}  // namespace
}  // namespace halcyra::test
