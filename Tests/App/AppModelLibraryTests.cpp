#include <algorithm>

#include "gtest/gtest.h"

#include "App/ModelHarness.h"
#include "Helpers/PresetExportFile.h"

namespace halcyra::test {

namespace {

constexpr const char* path = "/tmp/presets.json";
constexpr const char* invalid = "That preset has an invalid name, temperature range, hysteresis, or RPM target.";

std::vector<std::string> names(const std::vector<FanPreset>& presets) {
  std::vector<std::string> result;
  for (const FanPreset& preset : presets) result.push_back(preset.name);
  return result;
}

/// What another start of the application would find.
std::vector<std::string> storedNames(ModelHarness& h) {
  return names(FanCurveManager(h.doubles.userDefaults).loadCustomPresets());
}

const Lines bundled = {"Battery Saver", "30–50 °C Cooling"};

Lines with(Lines lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
  return lines;
}

}  // namespace

TEST(AppModelLibrary, aNewPresetIsSavedAndActivated) {
  StartedModel h;
  h.onMain([](AppModel& model) { model.createCustomPreset(); });
  EXPECT_EQ(names(h.model().customPresets()), with(bundled, {"Custom 3"}));
  EXPECT_EQ(storedNames(h), with(bundled, {"Custom 3"}));
  EXPECT_EQ(h.model().activePreset(), h.model().customPresets().back());
  EXPECT_EQ(h.model().activePreset().settings(0),
            (FanCurveSettings{.lowTemperature = 30, .highTemperature = 50, .constantRPM = std::nullopt}));
  EXPECT_EQ(h.helper.fans[0].target, 5000) << "50 °C is full speed";
}

TEST(AppModelLibrary, savingReplacesInPlaceAndKeepsEveryCopyCurrent) {
  ModelHarness h;
  const FanPreset first = constantPreset(2000);
  h.startDriving(first);
  const FanPreset second = curvePreset();
  h.onMain([&](AppModel& model) { model.savePreset(second); });
  FanPreset edited = first;
  edited.name = "Edited";
  edited.constantRPM = 4000;
  h.onMain([&](AppModel& model) { model.savePreset(edited); });
  EXPECT_EQ(names(h.model().customPresets()), with(bundled, {"Edited", "Curve"}));
  EXPECT_EQ(h.model().activePreset(), edited);
  EXPECT_EQ(h.transcript(), Lines{}) << "no new activation";
  h.run(2);
  EXPECT_EQ(h.helper.fans[0].target, 4000) << "the next poll follows";

  // A preset that waits to be restored is restored in its new version.
  h.helper.failNext("target", helperError(99));
  edited.constantRPM = 4500;
  h.onMain([&](AppModel& model) { model.savePreset(edited); });
  h.run(2);
  ASSERT_FALSE(h.model().hasHelperSession());
  edited.constantRPM = 3500;
  h.onMain([&](AppModel& model) { model.savePreset(edited); });
  h.run(8);
  EXPECT_EQ(h.helper.count("target S2 0 3500"), 1u);
  EXPECT_EQ(h.helper.count("target S2 0 4500"), 0u);
}

TEST(AppModelLibrary, onlyCustomPresetsAreDuplicated) {
  StartedModel h;
  h.onMain([](AppModel& model) {
    model.duplicatePreset(FanPreset::automatic());
    model.duplicatePreset(FanPreset::fullBlast());
    EXPECT_EQ(names(model.customPresets()), bundled);
    model.duplicatePreset(model.customPresets().front());
  });
  EXPECT_EQ(names(h.model().customPresets()), with(bundled, {"Battery Saver Copy"}));
  EXPECT_NE(h.model().customPresets().back().id, FanPreset::batterySaver().id);
  EXPECT_EQ(h.model().activePreset().name, "Apple Default");
}

TEST(AppModelLibrary, deletingARememberedPresetThatIsNotActiveLeavesTheFansAlone) {
  ModelHarness h;
  const FanPreset other = constantPreset(2500);
  h.startDriving(constantPreset(2000));
  h.onMain([&](AppModel& model) { model.savePreset(other); });
  h.doubles.userDefaults.setString("lastSelectedFanPresetID.v1", other.id.string());
  h.onMain([&](AppModel& model) {
    model.deletePreset(other);
    model.deletePreset(FanPreset::batterySaver());
    model.deletePreset(FanPreset::fullBlast());
  });
  EXPECT_EQ(h.transcript(), Lines{});
  EXPECT_EQ(names(h.model().customPresets()), with(bundled, {"Constant"}));
  EXPECT_EQ(storedNames(h), with(bundled, {"Constant"}));
  EXPECT_EQ(h.doubles.userDefaults.string("lastSelectedFanPresetID.v1"), FanPreset::systemDefault().id.string());
}

TEST(AppModelLibrary, anExportedFileCanBeImportedAgainAndAgain) {
  ModelHarness h(constantPreset(2000));
  h.doubles.workspace.saveAnswer = path;
  h.onMain([](AppModel& model) { model.exportCustomPresets(); });
  EXPECT_EQ(h.doubles.workspace.suggestedNames, Lines{"Aerovane-Presets.json"});
  const PresetExportFile file = PresetExportFile::decode(h.doubles.files.contents.at(path));
  EXPECT_EQ(file.version, 1);
  EXPECT_EQ(file.presets, h.model().customPresets());

  h.doubles.workspace.openAnswer = path;
  h.onMain([](AppModel& model) {
    model.importCustomPresets();
    model.importCustomPresets();
  });
  EXPECT_EQ(h.errorText(), "");
  const Lines all = with(bundled, {"Constant"});
  EXPECT_EQ(names(h.model().customPresets()), with(with(all, all), all));
  EXPECT_EQ(storedNames(h), names(h.model().customPresets()));
  std::vector<UUID> ids;
  for (const FanPreset& preset : h.model().customPresets()) ids.push_back(preset.id);
  std::sort(ids.begin(), ids.end());
  EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end()) << "every copy has an identity of its own";
  EXPECT_EQ(h.transcript(), Lines{}) << "nothing is activated";
}

TEST(AppModelLibrary, whatAnotherProcessStoresIsFollowedAndKept) {
  ModelHarness h;
  const FanPreset mine = constantPreset(2000);
  h.startDriving(mine);
  FanPreset edited = mine;
  edited.constantRPM = 3000;
  const FanPreset theirs = curvePreset();
  FanCurveManager other(h.doubles.userDefaults);
  other.loadCustomPresets();
  other.saveCustomPresets({edited, theirs});
  h.doubles.userDefaults.isChanged = true;
  h.run(3);
  EXPECT_EQ(names(h.model().customPresets()), with(bundled, {"Constant", "Curve"}));
  EXPECT_EQ(h.model().activePreset(), edited);
  EXPECT_EQ(h.helper.fans[0].target, 3000);
  // Unseen yet, and not lost by a change of our own.
  const FanPreset later = curvePreset(40, 70);
  other.saveCustomPresets({edited, theirs, later});
  h.onMain([&](AppModel& model) { model.deletePreset(theirs); });
  EXPECT_EQ(names(h.model().customPresets()), with(bundled, {"Constant", "Curve"}));
  EXPECT_EQ(h.model().customPresets().back(), later);
  // The preset in use stays even if it is gone from there.
  other.saveCustomPresets({later});
  h.doubles.userDefaults.isChanged = true;
  h.run(3);
  EXPECT_TRUE(h.model().hasHelperSession());
  EXPECT_EQ(h.model().customPresets().back(), edited);
}

TEST(AppModelLibrary, whatIsNotDurableIsSaidAndACatalogueNameStays) {
  StartedModel h;
  FanPreset renamed = FanPreset::batterySaver();
  renamed.name = "Mine";
  h.onMain([&](AppModel& model) { model.savePreset(renamed); });
  EXPECT_EQ(names(h.model().customPresets()), bundled);
  h.doubles.userDefaults.failure = "the disk is full";
  h.run(3);
  EXPECT_EQ(h.errorText(), "the disk is full");
  h.doubles.workspace.openAnswer = path;
  h.doubles.files.contents[path] = PresetExportFile{1, {curvePreset()}}.encode();
  h.onMain([](AppModel& model) { model.importCustomPresets(); });
  EXPECT_EQ(h.errorText(), "Import failed: the disk is full");
  h.doubles.files.contents[path] = PresetExportFile{1, {}}.encode();
  h.onMain([](AppModel& model) { model.importCustomPresets(); });
  EXPECT_EQ(h.errorText(), PresetExportFile::noValidPresetsMessage);
}

TEST(AppModelLibrary, validPresetsAreTakenAndInvalidOnesLeft) {
  FanPreset weak = curvePreset();
  weak.hysteresis = 0.2;
  StartedModel h;
  h.doubles.files.contents[path] = PresetExportFile{1, {curvePreset(), weak, constantPreset(2000)}}.encode();
  h.doubles.workspace.openAnswer = path;
  h.onMain([](AppModel& model) { model.importCustomPresets(); });
  EXPECT_EQ(names(h.model().customPresets()), with(bundled, {"Curve", "Constant"}));
  EXPECT_EQ(h.errorText(), "");
}

TEST(AppModelLibrary, whatIsRefusedCancelledOrFailsChangesNothing) {
  StartedModel h;
  h.onMain([](AppModel& model) { model.savePreset(curvePreset(60, 40)); });
  EXPECT_EQ(h.errorText(), invalid);
  EXPECT_EQ(names(h.model().customPresets()), bundled);
  h.onMain([](AppModel& model) {
    model.exportCustomPresets();
    model.importCustomPresets();
  });
  EXPECT_EQ(h.errorText(), invalid) << "a cancelled panel says nothing of its own";
  EXPECT_TRUE(h.doubles.files.contents.empty());
  h.doubles.workspace.saveAnswer = path;
  h.doubles.files.writeError = "disk full";
  h.onMain([](AppModel& model) { model.exportCustomPresets(); });
  EXPECT_EQ(h.errorText(), "Export failed: disk full");
}

}  // namespace halcyra::test
