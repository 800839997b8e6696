// The preset library: what is saved, copied, deleted, exported and imported, and what strangers' files may hold.

#include <algorithm>

#include "App/AppRig.h"
#include "App/ConsoleLibrary.h"
#include "Helpers/PresetExportFile.h"
#include "Support/ScriptWords.h"

namespace halcyra::test {
namespace {

constexpr const char* presetFile = "/home/user/Presets.json";
constexpr const char* allFile = "/home/user/All.json";
constexpr const char* selectionKey = "lastSelectedFanPresetID.v1";

Lines namesOf(const std::vector<FanPreset>& presets) {
  Lines result;
  for (const FanPreset& preset : presets) result.push_back(preset.name);
  return result;
}

class PresetLibraryTests : public testing::Test {
 protected:
  AppModel& model() { return rig.model(); }
  TestPlatform& doubles() { return rig.doubles(); }
  Lines names() { return namesOf(model().customPresets()); }
  /// What another start of the application would find.
  Lines storedNames() { return namesOf(FanCurveManager(doubles().userDefaults).loadCustomPresets()); }
  std::string import(const std::string& content) {
    doubles().workspace.openAnswer = presetFile;
    doubles().files.contents[presetFile] = content;
    rig.onMain([](AppModel& each) { each.importCustomPresets(); });
    return rig.errorText();
  }
  /// Imports `content`, which must change nothing: the message.
  std::string refuse(const std::string& content) {
    const auto before = model().customPresets();
    const auto stored = doubles().userDefaults.data(FanCurveManager::storageKey);
    const std::string message = import(content);
    EXPECT_EQ(model().customPresets(), before);
    EXPECT_EQ(doubles().userDefaults.data(FanCurveManager::storageKey), stored);
    return message;
  }
  /// The console's commands with these settings: the failure; what was printed is in `output`.
  std::optional<std::string> runCommands(const LibraryCommands& commands) {
    output.clear();
    std::optional<std::string> failure;
    Platform& own = doubles().platform;
    Platform platform{
        own.clock,        own.dispatch, own.log,        own.iokit, own.helper,        own.serviceManagement,
        own.userDefaults, own.system,   own.activities, own.power, own.notifications, workspace,
        own.files};
    rig.onMain([&](AppModel&) {
      failure = runLibraryCommands(platform, workspace, commands, [this](const std::string& text) { output += text; });
    });
    return failure;
  }

  const Lines bundled = {"Battery Saver", "30–50 °C Cooling"};
  const std::string validFile = PresetExportFile{1, {presetNamed("mine"), presetNamed("steady")}}.encode();
  AppRig rig;
  NamedFileWorkspace workspace;
  std::string output;
};

TEST_F(PresetLibraryTests, NewCopiedAndDeletedPresets) {
  rig.onMain([](AppModel& each) { each.createCustomPreset(); });
  EXPECT_EQ(names(), (Lines{"Battery Saver", "30–50 °C Cooling", "Custom 3"}));
  EXPECT_EQ(storedNames(), names());
  EXPECT_EQ(model().activePreset(), model().customPresets().back()) << "a new one is selected";
  const FanPreset made = model().activePreset();
  rig.onMain([&](AppModel& each) {
    each.duplicatePreset(FanPreset::automatic());
    each.duplicatePreset(FanPreset::fullBlast());
    each.duplicatePreset(each.customPresets().front());
  });
  EXPECT_EQ(names().back(), "Battery Saver Copy") << "and only of the user's own";
  EXPECT_EQ(names().size(), 4U);
  EXPECT_NE(model().customPresets().back().id, FanPreset::batterySaver().id);
  EXPECT_EQ(model().activePreset(), made);

  // One that is remembered and not selected: the fans stay as they are. A bundled one stays.
  const FanPreset copy = model().customPresets().back();
  doubles().userDefaults.setString(selectionKey, copy.id.string());
  rig.onMain([&](AppModel& each) {
    each.deletePreset(copy);
    each.deletePreset(FanPreset::batterySaver());
    each.deletePreset(FanPreset::fullBlast());
  });
  EXPECT_EQ(names(), (Lines{"Battery Saver", "30–50 °C Cooling", "Custom 3"}));
  EXPECT_EQ(storedNames(), names());
  EXPECT_EQ(model().activePreset(), made);
  EXPECT_EQ(doubles().userDefaults.string(selectionKey), FanPreset::systemDefault().id.string());
}

TEST_F(PresetLibraryTests, SavingReplacesInPlaceAndRefusesWhatIsInvalid) {
  FanPreset edited = FanPreset::batterySaver();
  edited.lowTemperature -= 5;
  rig.onMain([&](AppModel& each) { each.savePreset(edited); });
  EXPECT_EQ(names(), bundled);
  EXPECT_EQ(model().customPresets().front(), edited);
  edited.highTemperature = edited.lowTemperature - 1;
  rig.onMain([&](AppModel& each) { each.savePreset(edited); });
  EXPECT_EQ(rig.errorText(), "That preset has an invalid name, temperature range, hysteresis, or RPM target.");
  EXPECT_NE(model().customPresets().front(), edited);
  rig.onMain([](AppModel& each) {
    each.exportCustomPresets();
    each.importCustomPresets();
  });
  EXPECT_NE(rig.errorText(), "") << "a cancelled panel says nothing of its own";
  EXPECT_TRUE(doubles().files.contents.empty());
  doubles().workspace.saveAnswer = presetFile;
  doubles().files.writeError = "disk full";
  rig.onMain([](AppModel& each) { each.exportCustomPresets(); });
  EXPECT_EQ(rig.errorText(), "Export failed: disk full");
}

TEST_F(PresetLibraryTests, AnExportedFileCanBeImportedAgainAndAgain) {
  doubles().workspace.saveAnswer = presetFile;
  rig.onMain([](AppModel& each) { each.exportCustomPresets(); });
  EXPECT_EQ(doubles().workspace.suggestedNames, Lines{"Aerovane-Presets.json"});
  const std::string exported = doubles().files.contents.at(presetFile);
  EXPECT_EQ(PresetExportFile::decode(exported).presets, model().customPresets());
  EXPECT_EQ(import(exported), "");
  EXPECT_EQ(import(exported), "");
  EXPECT_EQ(names().size(), 3 * bundled.size());
  EXPECT_EQ(storedNames(), names());
  std::vector<UUID> ids;
  for (const FanPreset& preset : model().customPresets()) ids.push_back(preset.id);
  std::sort(ids.begin(), ids.end());
  EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end()) << "every copy has an identity of its own";
  EXPECT_EQ(model().activePreset(), FanPreset::systemDefault()) << "nothing is activated";

  FanPreset weak = presetNamed("mine");
  weak.hysteresis = 0.2;
  EXPECT_EQ(import(PresetExportFile{1, {weak, presetNamed("steady")}}.encode()), "");
  EXPECT_EQ(names().size(), 3 * bundled.size() + 1) << "valid ones are taken, invalid ones left";
}

TEST_F(PresetLibraryTests, ContentThatIsNoPresetFile) {
  rig.onMain([](AppModel& each) { each.savePreset(presetNamed("steady")); });
  for (std::size_t length = 0; length < validFile.size(); length += 23) {
    ASSERT_TRUE(refuse(validFile.substr(0, length)).starts_with("Import failed: ")) << length;
  }
  const auto nested = [](std::size_t levels, const std::string& open) {
    std::string text;
    for (std::size_t level = 0; level < levels; ++level) text += open;
    return text;
  };
  // With one member of an otherwise valid preset replaced.
  const auto with = [&](const std::string& member, const std::string& value) {
    auto json = nlohmann::json::parse(validFile);
    json["presets"][0].erase(member);
    std::string text = json.dump();
    return text.insert(text.find("[{") + 2, "\"" + member + "\":" + value + ",");
  };
  const std::vector<std::pair<const char*, std::string>> rows = {
      {"binary", std::string("\x00\xFF\x89PNG\r\n", 8)},
      {"two documents", validFile + validFile},
      {"array", "[]"},
      {"version beyond 64 bits", R"({"version":99999999999999999999,"presets":[]})"},
      {"version with a fraction", R"({"version":1.5,"presets":[]})"},
      {"no presets", R"({"version":1})"},
      {"preset no object", R"({"version":1,"presets":[7]})"},
      {"name no Unicode", with("name", "\"\xC3\x28\"")},
      {"unknown kind", with("kind", "\"turbo\"")},
      {"id no UUID", with("id", "\"1\"")},
      {"temperature beyond every double", with("lowTemperature", "1e999")},
      {"speed beyond 64 bits", with("constantRPM", "1e30")},
      {"10,000 arrays in a member", R"({"version":1,"presets":)" + nested(10'000, "[") + nested(10'000, "]") + "}"},
      {"5 MB of arrays", nested(5'000'000, "[")},
      {"50 MB of text", "\"" + std::string(50'000'000, 'x') + "\""},
  };
  for (const auto& [name, content] : rows) {
    const std::string message = refuse(content);
    EXPECT_TRUE(message.starts_with("Import failed: ")) << name << ": " << message;
    EXPECT_LT(message.size(), 400U) << name << ": a message for people";
  }
  for (const char* version : {"2", "-9223372036854775808"}) {
    EXPECT_EQ(refuse(std::string("{\"version\":") + version + ",\"presets\":[]}"),
              "That preset file uses an unsupported format version.");
  }
  EXPECT_EQ(refuse(PresetExportFile{1, {FanPreset::fullBlast()}}.encode()),
            "No valid custom presets found in that file.");
  doubles().files.readError = "Permission denied.";
  EXPECT_EQ(refuse(validFile), "Import failed: Permission denied.");
}

TEST_F(PresetLibraryTests, TheConsoleImportsExportsAndListsInThisOrderUntilTheFirstFailure) {
  doubles().files.contents[presetFile] = validFile;
  EXPECT_EQ(runCommands({presetFile, allFile, true, false}), std::nullopt);
  EXPECT_EQ(output,
            "Imported 2 presets from /home/user/Presets.json\n"
            "Exported 4 presets to /home/user/All.json\n"
            "Apple Default\nBattery Saver\n30–50 °C Cooling\nSmart Auto\nFull Blast\nMine\nSteady\n");
  EXPECT_EQ(PresetExportFile::decode(doubles().files.contents.at(allFile)).presets.size(), 4U);
  EXPECT_EQ(runCommands({std::nullopt, std::nullopt, true, true}), std::nullopt);
  const auto list = nlohmann::json::parse(output);
  ASSERT_EQ(list.size(), 7U);
  EXPECT_EQ(list[6].at("kind"), "custom");

  const Lines stored = storedNames();
  doubles().files.contents = {{presetFile, "{"}};
  const auto failure = runCommands({presetFile, allFile, true, false});
  EXPECT_TRUE(failure.value_or("").starts_with("Import failed: ")) << failure.value_or("");
  EXPECT_EQ(output, "");
  EXPECT_EQ(doubles().files.contents.count(allFile), 0U);
  EXPECT_EQ(storedNames(), stored);
  doubles().files.writeError = "disk full";
  EXPECT_EQ(runCommands({std::nullopt, allFile, true, false}), "Export failed: disk full");
}

TEST_F(PresetLibraryTests, WhatAnotherProcessStoresIsFollowedAndKept) {
  FanPreset mine = FanPreset::cpuCoreDefault();
  mine.id = UUID::random();
  mine.name = "Mine";
  mine.strategy = ControlStrategy::constantRPM;
  mine.constantRPM = 2000;
  rig.drive(mine);
  FanPreset edited = mine;
  edited.constantRPM = 3000;
  FanPreset theirs = mine;
  theirs.id = UUID::random();
  theirs.name = "Theirs";
  FanPreset later = theirs;
  later.id = UUID::random();
  later.name = "Later";
  FanCurveManager other(doubles().userDefaults);
  other.loadCustomPresets();
  other.saveCustomPresets({edited, theirs});
  doubles().userDefaults.isChanged = true;
  rig.run(4);
  EXPECT_EQ(names(), (Lines{"Battery Saver", "30–50 °C Cooling", "Mine", "Theirs"}));
  EXPECT_EQ(model().activePreset(), edited);
  // Unseen yet, and not lost by a change of our own.
  other.saveCustomPresets({edited, theirs, later});
  rig.onMain([&](AppModel& each) { each.deletePreset(theirs); });
  EXPECT_EQ(names(), (Lines{"Battery Saver", "30–50 °C Cooling", "Mine", "Later"}));
  // The preset in use stays even if it is gone from there.
  other.saveCustomPresets({later});
  doubles().userDefaults.isChanged = true;
  rig.run(3);
  EXPECT_TRUE(model().hasHelperSession());
  EXPECT_EQ(model().customPresets().back(), edited);
}

TEST_F(PresetLibraryTests, WhatIsNotDurableIsSaidAndACatalogueNameStays) {
  FanPreset renamed = FanPreset::batterySaver();
  renamed.name = "Mine";
  rig.onMain([&](AppModel& each) { each.savePreset(renamed); });
  EXPECT_EQ(names(), bundled);
  doubles().userDefaults.failure = "the disk is full";
  rig.run(3);
  EXPECT_EQ(rig.errorText(), "the disk is full");
  EXPECT_EQ(import(PresetExportFile{1, {FanPreset::cpuCoreDefault()}}.encode()), "Import failed: the disk is full");
  doubles().userDefaults.failure.reset();
  rig.run(3);
  EXPECT_EQ(import(PresetExportFile{1, {}}.encode()), PresetExportFile::noValidPresetsMessage);
}

}  // namespace
}  // namespace halcyra::test
