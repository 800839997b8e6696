#include "UI/FanCurveEditorState.h"

#include <algorithm>

#include "fmt/format.h"

#include "UI/FanNames.h"

namespace halcyra {

namespace {

/// The fans that can have values of their own.
constexpr std::size_t fansWithBoxes = 2;

/// Where the values of a block are kept; null for the shared ones.
std::optional<FanCurveSettings>* ownSettings(FanPreset& preset, std::optional<int> fan) {
  if (fan == 0) return &preset.fan0Settings;
  if (fan == 1) return &preset.fan1Settings;
  return nullptr;
}

EditorBlock makeBlock(const FanPreset& preset, std::optional<int> fan) {
  const FanCurveSettings shared{preset.lowTemperature, preset.highTemperature, preset.constantRPM};
  const FanCurveSettings settings = fan ? preset.settings(*fan) : shared;
  return {.fan = fan,
          .title = fan ? fanLabel(*fan) : std::string(),
          .low = settings.lowTemperature,
          .high = settings.highTemperature,
          .hasEmptyRange = settings.highTemperature <= settings.lowTemperature,
          .rpm = settings.constantRPM.value_or(EditorLimits::absentRPM)};
}

}  // namespace

FanCurveEditorState makeFanCurveEditorState(const FanPreset& preset, const std::vector<int>& fans) {
  FanCurveEditorState state;
  state.name = preset.name;
  state.isConstant = preset.strategy == ControlStrategy::constantRPM;
  state.showsLink = fans.size() >= 2;
  state.isLinked = preset.linkedFans;
  state.linkLabel = fans.size() == 2 ? "Link left and right fans" : "Link all fans";
  state.linkCaption =
      preset.linkedFans
          ? "Every fan shares this configuration, each using its own hardware RPM limits."
          : "Each fan has its own configuration and hardware RPM limits. Unlinking starts every fan from the shared "
            "values.";
  if (preset.linkedFans || fans.size() < 2) {
    state.blocks.push_back(makeBlock(preset, std::nullopt));
  } else {
    for (std::size_t each = 0; each < fansWithBoxes; ++each) state.blocks.push_back(makeBlock(preset, fans[each]));
  }
  state.hysteresis = preset.hysteresis;
  state.hysteresisText = fmt::format("{:.1f}", preset.hysteresis);
  state.showsDelete = !preset.isLocked();
  state.canSave = preset.isValidCustomConfiguration();
  return state;
}

void setLinked(FanPreset& preset, bool linked) {
  if (!linked) preset.ensureFanSettings();
  preset.linkedFans = linked;
}

void setTemperature(FanPreset& preset, std::optional<int> fan, EditorBound bound, double temperature) {
  const double value = std::clamp(temperature, EditorLimits::lowestTemperature, EditorLimits::highestTemperature);
  if (std::optional<FanCurveSettings>* const own = ownSettings(preset, fan)) {
    FanCurveSettings settings = preset.settings(*fan);
    (bound == EditorBound::low ? settings.lowTemperature : settings.highTemperature) = value;
    *own = settings;
  } else {
    (bound == EditorBound::low ? preset.lowTemperature : preset.highTemperature) = value;
  }
}

void setConstantRPM(FanPreset& preset, std::optional<int> fan, std::int64_t rpm) {
  const std::int64_t value = std::clamp(rpm, EditorLimits::lowestRPM, EditorLimits::highestRPM);
  if (std::optional<FanCurveSettings>* const own = ownSettings(preset, fan)) {
    FanCurveSettings settings = preset.settings(*fan);
    settings.constantRPM = value;
    *own = settings;
  } else {
    preset.constantRPM = value;
  }
}

}  // namespace halcyra
