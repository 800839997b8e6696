// The preset library and recordings of the console, with real files.

#include <fstream>
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
  writeFile(file("deep.json"), std::string(10'000, '['));
  writeFile(file("large.json"), std::string(50'000'000, '['));
  writeFile(file("huge.json"), "x");
  std::filesystem::resize_file(file("huge.json"), std::uintmax_t{1} << 36);
  ASSERT_EQ(mkfifo(file("pipe.json").c_str(), 0600), 0);
  std::filesystem::create_symlink(file("nothing"), file("dangling.json"));
  std::filesystem::create_directory(file("folder.json"));
  writeFile(file("other.json"), R"({"version": 7, "presets": []})");
  writeFile(file("none.json"), R"({"version": 1, "presets": []})");
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"cut.json", "Import failed: The data is not valid JSON"},
      {"deep.json", "Import failed: The data is nested more than"},
      {"large.json", "Import failed: The data is nested more than"},
      {"huge.json", "File too large"},
      {"pipe.json", "couldn’t be read"},
      {"dangling.json", "No such file or directory"},
      {"folder.json", "Is a directory"},
      {"missing.json", "No such file or directory"},
      {"other.json", "That preset file uses an unsupported format version."},
      {"none.json", "No valid custom presets found in that file."},
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

TEST_F(LibraryFileTests, WithoutPermissionNothingIsReadOrReplaced) {
  ASSERT_EQ(geteuid(), 0U) << "this test changes users and must run as root";
  constexpr uid_t nobody = 65534;
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
}

TEST_F(LibraryFileTests, AnImportThatCannotBeStoredFails) {
  writeFile(file("in.json"), presetFile("Steady"));
  writeFile(file("aerovane"), "in the way of the settings folder");
  const Outcome outcome = run({"--import-presets", file("in.json").string()});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.errors.find("Import failed: "), std::string::npos) << outcome.errors;
}

TEST_F(LibraryFileTests, OptionsThatWouldBeIgnoredAreRefused) {
  for (const auto& option : {std::vector<std::string>{"--preset", "Full Blast"}, {"--record", "x.csv"}}) {
    std::vector<std::string> arguments = {"--list-presets"};
    arguments.insert(arguments.end(), option.begin(), option.end());
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.errors.find("--console"), std::string::npos) << outcome.errors;
    EXPECT_EQ(outcome.output, "");
  }
}

TEST_F(LibraryFileTests, ARecordingIsReplayedByAnotherMachine) {
  const auto recording = file("run.csv");
  {
    MachineProcess machine("sustained");
    const auto application = startApplication(machine, {"--record", recording.string(), "--seconds", "9"});
    EXPECT_EQ(application->wait(), 0) << application->errors();
    const auto again = startApplication(machine, {"--record", recording.string()});
    EXPECT_EQ(again->wait(), 1);
    EXPECT_NE(again->errors().find("File exists"), std::string::npos) << again->errors();
  }
  std::ifstream lines(recording);
  std::string line;
  std::getline(lines, line);
  EXPECT_TRUE(line.starts_with("# Recorded by Aerovane from "));
  std::vector<std::string> names;
  std::getline(lines, line);
  for (std::size_t start = 0; start <= line.size();) {
    const auto end = std::min(line.find(',', start), line.size());
    names.push_back(line.substr(start, end - start));
    start = end + 1;
  }
  EXPECT_EQ(names.front(), "time");
  EXPECT_GT(names.size(), 40U);
  EXPECT_EQ(names.back(), "F1Ac");
  std::string last;
  int rows = 0;
  while (std::getline(lines, line)) {
    last = line;
    ++rows;
  }
  EXPECT_GE(rows, 3);

  // The last line holds for ever: the other machine comes to read exactly that.
  MachineProcess other(recording.string());
  const auto reader = startApplication(other, {"--record", file("replay.csv").string()});
  const std::string temperatures = last.substr(last.find(','), last.rfind(',', last.rfind(',') - 1) - last.find(','));
  EXPECT_TRUE(waitUntil([&] { return readFile(file("replay.csv")).find(temperatures) != std::string::npos; }))
      << temperatures << "\n"
      << readFile(file("replay.csv"));
  reader->signal(SIGTERM);
  EXPECT_EQ(reader->wait(), 0);
}

}  // namespace
}  // namespace halcyra::test
