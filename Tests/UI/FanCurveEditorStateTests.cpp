#include <algorithm>
#include <map>

#include "gtest/gtest.h"

#include "UI/CurvePreviewState.h"
#include "UI/FanCurveEditorState.h"

namespace halcyra::test {

namespace {

FanPreset userPreset() {
  FanPreset preset = FanPreset::cpuCoreDefault();
  preset.id = UUID::random();
  preset.name = "Quiet Desk";
  preset.lowTemperature = 54;
  preset.highTemperature = 84;
  preset.hysteresis = 3;
  return preset;
}

}  // namespace

TEST(FanCurveEditorStateTest, fansDecideWhatIsOffered) {
  struct Case {
    std::vector<int> fans;
    bool linked;
    /// None is offered for a single fan.
    std::optional<std::string> linkLabel;
    std::vector<std::string> boxes;
  };
  const std::vector<Case> cases{
      {{0}, false, std::nullopt, {""}},
      {{0, 1}, true, "Link left and right fans", {""}},
      {{0, 1}, false, "Link left and right fans", {"Left Fan (F0)", "Right Fan (F1)"}},
      {{1, 2, 3}, false, "Link all fans", {"Right Fan (F1)", "Fan 3 (F2)"}},
  };
  for (const Case& each : cases) {
    FanPreset preset = userPreset();
    setLinked(preset, each.linked);
    const FanCurveEditorState state = makeFanCurveEditorState(preset, each.fans);
    EXPECT_EQ(state.showsLink ? std::optional(state.linkLabel) : std::nullopt, each.linkLabel);
    std::vector<std::string> boxes;
    for (const EditorBlock& block : state.blocks) boxes.push_back(block.title);
    EXPECT_EQ(boxes, each.boxes);
  }
}

TEST(FanCurveEditorStateTest, unlinkedFansKeepTheirOwnValues) {
  FanPreset preset = userPreset();
  setLinked(preset, false);
  EXPECT_EQ(preset.fan0Settings, (FanCurveSettings{54, 84, std::nullopt}));
  EXPECT_EQ(preset.fan1Settings, preset.fan0Settings);

  setTemperature(preset, 1, EditorBound::low, 72);
  setTemperature(preset, 1, EditorBound::high, 66);
  EXPECT_EQ(preset.fan1Settings, (FanCurveSettings{72, 66, std::nullopt}));
  EXPECT_EQ(preset.fan0Settings, (FanCurveSettings{54, 84, std::nullopt}));
  EXPECT_EQ(preset.lowTemperature, 54);
  FanCurveEditorState state = makeFanCurveEditorState(preset, {0, 1});
  EXPECT_FALSE(state.blocks[0].hasEmptyRange);
  EXPECT_TRUE(state.blocks[1].hasEmptyRange);
  EXPECT_FALSE(state.canSave);

  setLinked(preset, true);
  EXPECT_TRUE(makeFanCurveEditorState(preset, {0, 1}).canSave);
  setLinked(preset, false);
  EXPECT_EQ(preset.fan1Settings, (FanCurveSettings{72, 66, std::nullopt}));

  setTemperature(preset, 2, EditorBound::low, 41);
  EXPECT_EQ(preset.lowTemperature, 41) << "a third fan has no values of its own";
}

TEST(FanCurveEditorStateTest, valuesAreTakenIntoTheirLimits) {
  FanPreset preset = userPreset();
  setTemperature(preset, std::nullopt, EditorBound::low, 15);
  setTemperature(preset, std::nullopt, EditorBound::high, 120);
  EXPECT_EQ(preset.lowTemperature, 20);
  EXPECT_EQ(preset.highTemperature, 100);
  preset.strategy = ControlStrategy::constantRPM;
  EXPECT_EQ(makeFanCurveEditorState(preset, {}).blocks[0].rpm, 2000);
  EXPECT_FALSE(makeFanCurveEditorState(preset, {}).canSave) << "what is shown is not yet set";
  setConstantRPM(preset, std::nullopt, 500);
  EXPECT_EQ(preset.constantRPM, 1000);
  setConstantRPM(preset, std::nullopt, 9000);
  EXPECT_EQ(preset.constantRPM, 6000);
  EXPECT_TRUE(makeFanCurveEditorState(preset, {}).canSave);
}

TEST(FanCurveEditorStateTest, anEmptyRangeIsWarnedOfAndNotSaved) {
  FanPreset preset = userPreset();
  for (const double high : {60.0, 61.0}) {
    preset.lowTemperature = 60;
    preset.highTemperature = high;
    const FanCurveEditorState state = makeFanCurveEditorState(preset, {0, 1});
    EXPECT_EQ(state.blocks[0].hasEmptyRange, high <= 60) << high;
    EXPECT_EQ(state.canSave, high > 60) << high;
  }
  preset.name = "  ";
  EXPECT_FALSE(makeFanCurveEditorState(preset, {0, 1}).canSave);
  EXPECT_TRUE(makeFanCurveEditorState(preset, {}).showsDelete);
  EXPECT_FALSE(makeFanCurveEditorState(FanPreset::batterySaver(), {}).showsDelete);
}

TEST(CurvePreviewTest, temperaturesOffTheAxisStandAtItsEnds) {
  EXPECT_EQ(curvePreviewX(10, 400), 0);
  EXPECT_EQ(curvePreviewX(60, 400), 200);
  EXPECT_EQ(curvePreviewX(120, 400), 400);
  EXPECT_EQ(curveDescription(54.9, 84.2),
            "Fan speed rises linearly from minimum at 54 degrees to maximum at 84 degrees");
}

TEST(CurvePreviewTest, textsNeitherTouchNorLeaveTheCanvas) {
  const auto measure = [](const std::string& text) { return 6.0 * static_cast<double>(text.size()); };
  for (const double width : {230.0, 420.0, 620.0}) {
    for (double low = 20; low <= 100; low += 5) {
      for (double high = 20; high <= 100; high += 5) {
        std::map<int, std::vector<std::pair<double, double>>> rows;
        const auto labels = layOutCurveLabels(low, high, width, measure);
        ASSERT_EQ(labels.size(), 4U);
        for (const CurvePreviewLabel& label : labels) {
          rows[label.row].emplace_back(label.left, label.left + measure(label.text));
        }
        for (auto& [row, places] : rows) {
          std::sort(places.begin(), places.end());
          EXPECT_GE(places.front().first, 0) << low << " " << high << " " << width;
          EXPECT_LE(places.back().second, width) << low << " " << high << " " << width;
          for (std::size_t each = 1; each < places.size(); ++each) {
            EXPECT_LT(places[each - 1].second, places[each].first) << low << " " << high << " " << width;
          }
        }
      }
    }
  }
  EXPECT_EQ(layOutCurveLabels(54, 84, 620, measure)[1].text, "ramp start 54 °C");
  EXPECT_EQ(layOutCurveLabels(54.9, 84.9, 620, measure)[2].text, "full 84 °C");
}

}  // namespace halcyra::test
