#include "gtest/gtest.h"

#include "UI/MainViewState.h"
#include "UI/PresetListState.h"
#include "UI/UIHarness.h"

namespace halcyra::test {

TEST(MainViewStateTest, aFanCardSaysWhatTheFanDoes) {
  const FanCardState left = makeFanCardState({0, 2040, 1350, 5950, FanMode::manual, 2025}, 55.96, "Left CPU/GPU zone");
  EXPECT_EQ(left.label, "Left Fan");
  EXPECT_EQ(left.speed, "2040 RPM");
  EXPECT_EQ(left.target, "Target 2025 • 1350–5950");
  EXPECT_EQ(left.mode, "Manual");
  EXPECT_EQ(left.curveInput, "Curve input 56.0 °C");
  EXPECT_EQ(left.driver, "Left CPU/GPU zone");
  EXPECT_EQ(left.zone, TemperatureZone::colorFor(55.96));

  const FanCardState third =
      makeFanCardState({2, 0, 1350, 6200, FanMode::automatic, std::nullopt}, std::nullopt, "never shown alone");
  EXPECT_EQ(third.label, "Fan 3");
  EXPECT_EQ(third.target, "Target 0 • 1350–6200");
  EXPECT_EQ(third.mode, "Automatic");
  EXPECT_EQ(third.curveInput, std::nullopt);
  EXPECT_EQ(third.driver, std::nullopt);
  EXPECT_EQ(third.zone, std::nullopt);
}

TEST(PresetListStateTest, theLibraryListsBuiltInPresetsThenTheUsersOwn) {
  UIHarness ui;
  PresetListState state = makePresetListState(ui.model().view());
  ASSERT_EQ(state.rows.size(), 5U);
  EXPECT_EQ(state.activeID, FanPreset::systemDefault().id);
  EXPECT_EQ(state.rows[0].help, "Stock macOS control");
  EXPECT_EQ(state.rows[3].help, "Performance-biased");
  EXPECT_EQ(state.rows[4].help, "Maximum RPM");
  EXPECT_EQ(state.rows[4].name, "Full Blast");
  for (const PresetListRow& row : state.rows) {
    EXPECT_FALSE(row.canEdit) << row.name;
    EXPECT_FALSE(row.startsUserPresets) << row.name;
    EXPECT_EQ(row.canDuplicate, FanPreset::isBundled(row.id)) << row.name;
  }

  ui.model().duplicatePreset(FanPreset::batterySaver());
  ui.model().duplicatePreset(FanPreset::cpuCoreDefault());
  state = makePresetListState(ui.model().view());
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
  EXPECT_FALSE(renamedPreset(customs, mine.id, " \t"));
  EXPECT_FALSE(renamedPreset(customs, mine.id, ""));
  EXPECT_FALSE(renamedPreset({}, mine.id, "X"));
}

}  // namespace halcyra::test
