#include "UI/FanCurveEditorState.h"

#include <algorithm>
#include <cmath>

#include "fmt/format.h"

#include "App/ModelView.h"
#include "Platform/UnicodeText.h"
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

/// What is wrong with the values of a fan, or with the shared ones; empty when nothing is.
std::string reasonAgainst(const FanCurveSettings& settings, bool isConstant) {
  if (isConstant) {
    const std::int64_t rpm = settings.constantRPM.value_or(0);
    if (rpm >= EditorLimits::lowestRPM && rpm <= EditorLimits::highestRPM) return {};
    return fmt::format("Enter a target speed from {} to {} RPM.", EditorLimits::lowestRPM, EditorLimits::highestRPM);
  }
  if (!(settings.lowTemperature < settings.highTemperature)) return std::string(EditorText::rangeWarning);
  if (settings.lowTemperature >= EditorLimits::lowestTemperature &&
      settings.highTemperature <= EditorLimits::highestTemperature) {
    return {};
  }
  return fmt::format("Enter temperatures from {:.0f} to {:.0f} °C.", EditorLimits::lowestTemperature,
                     EditorLimits::highestTemperature);
}

/// Why a preset that is not valid cannot be saved.
std::string reasonAgainst(const FanPreset& preset) {
  if (trimmed(preset.name).empty()) return "Enter a name.";
  const bool isConstant = preset.strategy == ControlStrategy::constantRPM;
  if (preset.linkedFans) {
    std::string reason = reasonAgainst(preset.settings(0), isConstant);
    if (!reason.empty()) return reason;
  } else {
    for (const int fan : {0, 1}) {
      if (!(fan == 0 ? preset.fan0Settings : preset.fan1Settings)) {
        return fanLabel(fan) + " has no values of its own yet.";
      }
      const std::string reason = reasonAgainst(preset.settings(fan), isConstant);
      if (!reason.empty()) return fanLabel(fan) + ": " + reason;
    }
  }
  if (preset.hysteresis >= EditorLimits::lowestHysteresis && preset.hysteresis <= EditorLimits::highestHysteresis) {
    return "Choose a control source.";
  }
  return fmt::format("Enter a hysteresis from {:.1f} to {:.1f} degrees.", EditorLimits::lowestHysteresis,
                     EditorLimits::highestHysteresis);
}

void addNote(FanCurveEditorState& state, const EditedPreset& edited) {
  state.noteIsReason = !state.canSave;
  if (!state.canSave) {
    state.note = reasonAgainst(edited.preset);
  } else if (state.isEdited) {
    state.note = EditorText::edited;
  } else if (edited.wasJustSaved) {
    state.note = EditorText::saved;
  }
}

}  // namespace

FanCurveEditorState makeFanCurveEditorState(const EditedPreset& edited, const std::vector<int>& fans) {
  const FanPreset& preset = edited.preset;
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
  state.showsDelete = !preset.isLocked();
  state.canSave = preset.isValidCustomConfiguration();
  state.isEdited = preset != edited.stored;
  addNote(state, edited);
  return state;
}

std::vector<CurveReading> makeCurveReadings(const ModelView& view) {
  std::vector<CurveReading> readings;
  for (const FanInfo& fan : view.fans) {
    const auto zone = view.fanControlTemperatures.find(fan.index);
    readings.push_back(
        {.fan = fan.index,
         .temperature = zone != view.fanControlTemperatures.end() ? std::optional(zone->second) : std::nullopt,
         .minRPM = fan.minRPM,
         .maxRPM = fan.maxRPM});
  }
  return readings;
}

void setStrategy(FanPreset& preset, ControlStrategy strategy) {
  preset.strategy = strategy;
  if (strategy != ControlStrategy::constantRPM) return;
  if (!preset.constantRPM) preset.constantRPM = EditorLimits::absentRPM;
  for (std::optional<FanCurveSettings>* const own : {&preset.fan0Settings, &preset.fan1Settings}) {
    if (*own && !(*own)->constantRPM) (*own)->constantRPM = EditorLimits::absentRPM;
  }
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

void setHysteresis(FanPreset& preset, double hysteresis) {
  constexpr double perDegree = 10;
  const double value = std::clamp(hysteresis, EditorLimits::lowestHysteresis, EditorLimits::highestHysteresis);
  preset.hysteresis = std::round(value * perDegree) / perDegree;
}

}  // namespace halcyra
