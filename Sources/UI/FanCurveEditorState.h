#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Helpers/FanPreset.h"
#include "UI/CurvePreviewState.h"

namespace halcyra {

struct ModelView;

/// The limits of the editor's fields.
struct EditorLimits {
  /// °C.
  static constexpr double lowestTemperature = 20;
  static constexpr double highestTemperature = 100;
  static constexpr double lowestHysteresis = 0.5;
  static constexpr double highestHysteresis = 10;
  static constexpr double hysteresisStep = 0.5;
  /// RPM.
  static constexpr std::int64_t lowestRPM = 1000;
  static constexpr std::int64_t highestRPM = 6000;
  static constexpr std::int64_t stepRPM = 50;
  /// What a preset without a constant speed shows.
  static constexpr std::int64_t absentRPM = 2000;
};

struct EditorText {
  static constexpr std::string_view title = "Custom Preset";
  static constexpr std::string_view name = "Preset name";
  static constexpr std::string_view namePrompt = "Name";
  static constexpr std::string_view source = "Control source";
  static constexpr std::string_view curve = "CPU/GPU Thermal Signal";
  static constexpr std::string_view constant = "Constant RPM";
  static constexpr std::string_view targetSpeed = "Target speed";
  static constexpr std::string_view targetRPM = "Target RPM";
  static constexpr std::string_view constantCaption = "Fans hold this speed, each clamped to its own hardware limits.";
  static constexpr std::string_view rampStart = "Ramp start";
  static constexpr std::string_view fullSpeed = "Full speed";
  static constexpr std::string_view rangeWarning = "Full speed must be above ramp start.";
  static constexpr std::string_view curveCaption =
      "Fans idle at their minimum RPM below ramp start, then ramp smoothly to maximum at the full-speed temperature.";
  static constexpr std::string_view hysteresis = "Hysteresis";
  static constexpr std::string_view hysteresisCaption =
      "Temperature must fall this far below its last peak before fans slow down, preventing RPM oscillation.";
  static constexpr std::string_view remove = "Delete Preset";
  static constexpr std::string_view removeMessage =
      "This cannot be undone. If this preset is active, both fans return to Automatic.";
  static constexpr std::string_view save = "Save and Apply";
  static constexpr std::string_view revert = "Revert";
  static constexpr std::string_view revertTip = "Puts back what is stored";
  static constexpr std::string_view edited = "Not saved yet";
  static constexpr std::string_view saved = "Saved";
};

/// One block of controls: the shared one, or that of one fan.
struct EditorBlock {
  /// None for the shared values.
  std::optional<int> fan;
  /// The fan's label; empty for the shared values.
  std::string title;
  /// °C.
  double low = 0;
  double high = 0;
  bool hasEmptyRange = false;
  std::int64_t rpm = 0;

  bool operator==(const EditorBlock&) const = default;
};

struct FanCurveEditorState {
  std::string name;
  bool isConstant = false;
  bool showsLink = false;
  bool isLinked = false;
  std::string linkLabel;
  std::string linkCaption;
  std::vector<EditorBlock> blocks;
  /// °C; one for all blocks.
  double hysteresis = 0;
  bool showsDelete = false;
  bool canSave = false;
  /// There is something to put back.
  bool isEdited = false;
  /// Why the preset cannot be saved, else whether it is. Empty where there is nothing to say.
  std::string note;
  bool noteIsReason = false;

  bool operator==(const FanCurveEditorState&) const = default;
};

/// What is edited.
struct EditedPreset {
  const FanPreset& preset;
  /// As it is stored.
  const FanPreset& stored;
  /// It has been saved, and nothing changed since.
  bool wasJustSaved = false;
};

/// `fans`: indices of the controllable fans, ascending.
FanCurveEditorState makeFanCurveEditorState(const EditedPreset& edited, const std::vector<int>& fans);

/// What the zones of the fans report, for the marks on the curves.
std::vector<CurveReading> makeCurveReadings(const ModelView& view);

// What the controls write. `fan` is the block's; a fan other than 0 and 1 has no values of its own and writes the
// shared ones.

/// A preset that comes to hold a constant speed holds what its blocks show where it has none yet.
void setStrategy(FanPreset& preset, ControlStrategy strategy);
/// Unlinked, each of the two fans that has no values of its own starts from the shared ones; linked, they are kept.
void setLinked(FanPreset& preset, bool linked);
/// °C, taken into the field's limits.
void setTemperature(FanPreset& preset, std::optional<int> fan, EditorBound bound, double temperature);
/// Taken into the field's limits.
void setConstantRPM(FanPreset& preset, std::optional<int> fan, std::int64_t rpm);
/// °C, taken into the field's limits and to a tenth.
void setHysteresis(FanPreset& preset, double hysteresis);

}  // namespace halcyra
