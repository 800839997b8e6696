#include "gtest/gtest.h"

#include "UI/MainViewState.h"
#include "UI/PresetListState.h"
#include "UI/UIHarness.h"

namespace halcyra::test {

TEST(MainViewStateTest, aFanCardSaysWhatTheFanDoes) {
  struct Case {
    FanInfo fan;
    std::optional<double> temperature;
    std::optional<std::string> driver;
    std::string label, speed, target, mode;
    std::optional<std::string> input, shownDriver;
  };
  const std::vector<Case> cases{
      {{0, 2040, 1350, 5950, FanMode::manual, 2025},
       58.44,
       "Left CPU/GPU zone",
       "Left Fan",
       "2040 RPM",
       "Target 2025 • 1350–5950",
       "Manual",
       "Curve input 58.4 °C",
       "Left CPU/GPU zone"},
      {{1, 0, 1350, 6200, FanMode::automatic, std::nullopt},
       55.96,
       std::nullopt,
       "Right Fan",
       "0 RPM",
       "Target 0 • 1350–6200",
       "Automatic",
       "Curve input 56.0 °C",
       std::nullopt},
      {{2, 12000, 1000, 12500, FanMode::manual, 12000},
       std::nullopt,
       "never shown alone",
       "Fan 3",
       "12000 RPM",
       "Target 12000 • 1000–12500",
       "Manual",
       std::nullopt,
       std::nullopt},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.label);
    const FanCardState card = makeFanCardState(each.fan, each.temperature, each.driver);
    EXPECT_EQ(card.label, each.label);
    EXPECT_EQ(card.speed, each.speed);
    EXPECT_EQ(card.target, each.target);
    EXPECT_EQ(card.mode, each.mode);
    EXPECT_EQ(card.curveInput, each.input);
    EXPECT_EQ(card.driver, each.shownDriver);
    EXPECT_EQ(card.zone.has_value(), each.temperature.has_value());
  }
}

TEST(MainViewStateTest, theEditorStartsWithTheActivePresetIfThatCanBeEdited) {
  EXPECT_EQ(firstEditingPreset(FanPreset::batterySaver()), FanPreset::batterySaver());
  for (const FanPreset& fixed : {FanPreset::systemDefault(), FanPreset::automatic(), FanPreset::fullBlast()}) {
    EXPECT_EQ(firstEditingPreset(fixed), FanPreset::cpuCoreDefault());
  }
}

TEST(PresetListStateTest, theLibraryListsBuiltInPresetsThenTheUsersOwn) {
  UIHarness ui;
  const auto names = [](const PresetListState& state) {
    std::vector<std::string> result;
    for (const PresetListRow& row : state.rows) result.push_back(row.name);
    return result;
  };
  const std::vector<std::string> builtIn{"Apple Default", "Battery Saver", "30–50 °C Cooling", "Smart Auto",
                                         "Full Blast"};
  PresetListState state = makePresetListState(ui.model());
  EXPECT_EQ(names(state), builtIn);
  EXPECT_EQ(state.activeID, FanPreset::systemDefault().id);
  EXPECT_EQ(state.rows[0].help, "Stock macOS control");
  EXPECT_EQ(state.rows[1].help, "Battery Saver");
  EXPECT_EQ(state.rows[3].help, "Performance-biased");
  EXPECT_EQ(state.rows[4].help, "Maximum RPM");
  for (const PresetListRow& row : state.rows) {
    EXPECT_FALSE(row.canEdit) << row.name;
    EXPECT_FALSE(row.startsUserPresets) << row.name;
    EXPECT_EQ(row.canDuplicate, FanPreset::isBundled(row.id)) << row.name;
  }

  ui.model().duplicatePreset(FanPreset::batterySaver());
  ui.model().duplicatePreset(FanPreset::cpuCoreDefault());
  state = makePresetListState(ui.model());
  ASSERT_EQ(state.rows.size(), 7U);
  EXPECT_EQ(state.rows[5].name, "Battery Saver Copy");
  EXPECT_TRUE(state.rows[5].startsUserPresets);
  EXPECT_FALSE(state.rows[6].startsUserPresets);
  EXPECT_TRUE(state.rows[5].canEdit && state.rows[5].canDuplicate);
}

TEST(PresetListStateTest, aNewNameLosesSpacesAndTabsAtItsEndsOnly) {
  FanPreset mine = FanPreset::batterySaver();
  mine.id = UUID::random();
  mine.name = "Mine";
  const std::vector<FanPreset> customs{mine};
  EXPECT_EQ(renamedPreset(customs, mine.id, " \tVideo  Export\t ").value().name, "Video  Export");
  EXPECT_EQ(renamedPreset(customs, mine.id, "\nX ").value().name, "\nX");
  EXPECT_EQ(renamedPreset(customs, mine.id, "X").value().id, mine.id);
  EXPECT_FALSE(renamedPreset(customs, mine.id, "   "));
  EXPECT_FALSE(renamedPreset(customs, mine.id, "\t"));
  EXPECT_FALSE(renamedPreset(customs, mine.id, ""));
  EXPECT_FALSE(renamedPreset({}, mine.id, "X"));
  EXPECT_EQ(deletionTitle("Mine"), "Delete “Mine”?");
}

}  // namespace halcyra::test
