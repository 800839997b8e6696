#include <algorithm>
#include <functional>
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

FanCurveEditorState stateOf(const FanPreset& preset, const std::vector<int>& fans = {0, 1}) {
  return makeFanCurveEditorState({preset, preset}, fans);
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
    const FanCurveEditorState state = stateOf(preset, each.fans);
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
  const FanCurveEditorState state = stateOf(preset);
  EXPECT_FALSE(state.blocks[0].hasEmptyRange);
  EXPECT_TRUE(state.blocks[1].hasEmptyRange);
  EXPECT_FALSE(state.canSave);

  setLinked(preset, true);
  EXPECT_TRUE(stateOf(preset).canSave);
  setLinked(preset, false);
  EXPECT_EQ(preset.fan1Settings, (FanCurveSettings{72, 66, std::nullopt}));

  setTemperature(preset, 2, EditorBound::low, 41);
  EXPECT_EQ(preset.lowTemperature, 41) << "a third fan has no values of its own";

  setConstantRPM(preset, 1, 2500);
  setStrategy(preset, ControlStrategy::constantRPM);
  EXPECT_TRUE(stateOf(preset).canSave) << "what is shown is stored by choosing it";
  EXPECT_EQ(preset.constantRPM, 2000);
  EXPECT_EQ(preset.fan0Settings->constantRPM, 2000);
  EXPECT_EQ(preset.fan1Settings->constantRPM, 2500);
}

TEST(FanCurveEditorStateTest, theNoteSaysWhyItCannotBeSavedOrWhetherItIs) {
  struct Case {
    std::function<void(FanPreset&)> edit;
    bool canSave;
    std::string note;
  };
  const std::vector<Case> cases{
      {[](FanPreset&) {}, true, ""},
      {[](FanPreset& preset) { preset.name = "Loud"; }, true, "Not saved yet"},
      {[](FanPreset& preset) { preset.name = " \t"; }, false, "Enter a name."},
      {[](FanPreset& preset) { preset.lowTemperature = 84; }, false, "Full speed must be above ramp start."},
      {[](FanPreset& preset) { preset.lowTemperature = 83; }, true, "Not saved yet"},
      {[](FanPreset& preset) { preset.highTemperature = 120; }, false, "Enter temperatures from 20 to 100 °C."},
      {[](FanPreset& preset) { preset.hysteresis = 11; }, false, "Enter a hysteresis from 0.5 to 10.0 degrees."},
      {[](FanPreset& preset) { preset.strategy.reset(); }, false, "Choose a control source."},
      {[](FanPreset& preset) { preset.strategy = ControlStrategy::constantRPM; }, false,
       "Enter a target speed from 1000 to 6000 RPM."},
      {[](FanPreset& preset) { preset.linkedFans = false; }, false, "Left Fan (F0) has no values of its own yet."},
      {[](FanPreset& preset) {
         setLinked(preset, false);
         preset.fan1Settings->highTemperature = 20;
       },
       false, "Right Fan (F1): Full speed must be above ramp start."},
  };
  const FanPreset stored = userPreset();
  for (const Case& each : cases) {
    FanPreset preset = stored;
    each.edit(preset);
    const FanCurveEditorState state = makeFanCurveEditorState({preset, stored}, {0, 1});
    EXPECT_EQ(state.note, each.note);
    EXPECT_EQ(state.canSave, each.canSave) << each.note;
    EXPECT_EQ(state.noteIsReason, !each.canSave) << each.note;
    EXPECT_EQ(state.isEdited, !each.note.empty());
    const bool hasEmptyRange = each.note.find("above ramp start") != std::string::npos;
    EXPECT_EQ(state.blocks.back().hasEmptyRange, hasEmptyRange) << each.note;
  }
  EXPECT_EQ(makeFanCurveEditorState({stored, stored, true}, {0, 1}).note, "Saved");
  EXPECT_TRUE(stateOf(stored).showsDelete);
  EXPECT_FALSE(stateOf(FanPreset::batterySaver()).showsDelete);
}

TEST(CurvePreviewTest, temperaturesOffTheAxisStandAtItsEnds) {
  EXPECT_EQ(curvePreviewX(10, 400), 0);
  EXPECT_EQ(curvePreviewX(60, 400), 200);
  EXPECT_EQ(curvePreviewX(120, 400), 400);
  EXPECT_EQ(curveDescription(54.9, 84.2),
            "Fan speed rises linearly from minimum at 54 degrees to maximum at 84 degrees");
}

TEST(CurvePreviewTest, pointsAreMovedOverTheAxisAndNotPastEachOther) {
  EXPECT_EQ(curvePreviewTemperature(-5, 400), 20);
  EXPECT_EQ(curvePreviewTemperature(201, 400), 60);
  EXPECT_EQ(curvePreviewTemperature(900, 400), 100);
  struct Case {
    EditorBound bound;
    double wanted;
    double low;
    double high;
    double moved;
  };
  const std::vector<Case> cases{
      {EditorBound::low, 60, 54, 84, 60},    {EditorBound::low, 90, 54, 84, 83},    {EditorBound::high, 60, 54, 84, 60},
      {EditorBound::high, 30, 54, 84, 55},   {EditorBound::high, 120, 54, 84, 100}, {EditorBound::low, 10, 54, 20, 20},
      {EditorBound::high, 60, 100, 60, 100}, {EditorBound::low, 70, 72, 66, 65},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(movedCurvePoint(each.bound, each.wanted, each.low, each.high), each.moved) << each.wanted;
  }
}

TEST(CurvePreviewTest, fansStandOnTheCurveWhereItPutsThem) {
  const std::vector<CurveReading> readings{{0, 69, 1000, 5000}, {1, std::nullopt, 1000, 5000}, {2, 90.04, 900, 3000}};
  EXPECT_EQ(makeCurveMarks(readings, 54, 84),
            (std::vector<CurveMark>{{0, 69, 0.5, "Left Fan: 69.0 °C asks for 3000 RPM"},
                                    {2, 90.04, 1, "Fan 3: 90.0 °C asks for 3000 RPM"}}));
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
