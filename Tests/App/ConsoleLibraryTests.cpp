// The console's preset library: the model's own commands, with the panels answered beforehand.

#include "gtest/gtest.h"

#include "App/ConsoleLibrary.h"
#include "App/ModelHarness.h"
#include "Helpers/PresetExportFile.h"

namespace halcyra::test {
namespace {

constexpr const char* libraryPath = "/home/user/Presets.json";

class ConsoleLibraryTests : public testing::Test {
 protected:
  /// The failure; what was printed is in `output`.
  std::optional<std::string> run(const LibraryCommands& commands) {
    output.clear();
    std::optional<std::string> failure;
    Platform& own = h.doubles.platform;
    Platform platform{
        own.clock,        own.dispatch, own.log,        own.iokit, own.helper,        own.serviceManagement,
        own.userDefaults, own.system,   own.activities, own.power, own.notifications, workspace,
        own.files};
    bool done = false;
    h.process->mainQueue().async([&] {
      failure = runLibraryCommands(platform, workspace, commands, [this](const std::string& text) { output += text; });
      done = true;
    });
    EXPECT_TRUE(h.scheduler.runUntil([&] { return done; }, Seconds{60}));
    return failure;
  }

  ModelHarness h;
  NamedFileWorkspace workspace;
  std::string output;
};

TEST_F(ConsoleLibraryTests, ImportsExportsAndListsInThisOrder) {
  h.doubles.files.contents[libraryPath] = PresetExportFile{1, {curvePreset(), constantPreset(2500)}}.encode();
  EXPECT_EQ(run({libraryPath, "/home/user/All.json", true, false}), std::nullopt);
  EXPECT_EQ(output,
            "Imported 2 presets from /home/user/Presets.json\n"
            "Exported 4 presets to /home/user/All.json\n"
            "Apple Default\nBattery Saver\n30–50 °C Cooling\nSmart Auto\nFull Blast\nCurve\nConstant\n");
  EXPECT_EQ(PresetExportFile::decode(h.doubles.files.contents.at("/home/user/All.json")).presets.size(), 4U);

  EXPECT_EQ(run({std::nullopt, std::nullopt, true, true}), std::nullopt);
  const auto list = nlohmann::json::parse(output);
  ASSERT_EQ(list.size(), 7U);
  EXPECT_EQ(list[0].at("name"), "Apple Default");
  EXPECT_EQ(list[6].at("kind"), "custom");
  EXPECT_EQ(h.smc.calls, 0) << "the library needs no machine";
  EXPECT_TRUE(h.transcript().empty());
}

TEST_F(ConsoleLibraryTests, TheFirstFailureEndsIt) {
  const auto stored = h.doubles.userDefaults.data("customFanPresets.v1");
  h.doubles.files.contents[libraryPath] = "{";
  const auto failure = run({libraryPath, "/home/user/All.json", true, false});
  ASSERT_TRUE(failure.has_value());
  EXPECT_TRUE(failure->starts_with("Import failed: ")) << *failure;
  EXPECT_EQ(output, "");
  EXPECT_EQ(h.doubles.files.contents.count("/home/user/All.json"), 0U);
  EXPECT_EQ(h.doubles.userDefaults.data("customFanPresets.v1"), stored);

  h.doubles.files.writeError = "disk full";
  EXPECT_EQ(run({std::nullopt, "/home/user/All.json", true, false}), "Export failed: disk full");
  EXPECT_EQ(output, "");
}

}  // namespace
}  // namespace halcyra::test
