#pragma once

#include <optional>
#include <vector>

#include "App/Published.h"
#include "App/StandingErrors.h"
#include "Helpers/FanCurveManager.h"
#include "Helpers/FanPreset.h"
#include "Platform/Platform.h"

namespace halcyra {

/// The user's presets: the published list and its storage, which other processes may change. Knows nothing of which one
/// is selected. Failures are said through the standing errors. Main queue only.
class PresetLibrary {
 public:
  /// Loads the stored list. What is handed in outlives it.
  PresetLibrary(Platform& platform, const ChangeSignal& signal, StandingErrors& errors);

  const std::vector<FanPreset>& presets() const { return *presets_; }
  /// Every preset, the built-in ones included, in the order in which they are listed.
  std::vector<FanPreset> menuOrder() const { return FanPreset::menuOrder(*presets_); }

  /// A new curve preset, not in the list yet.
  FanPreset makePreset() const;
  /// Whether `preset` may be stored; says why not.
  bool accepts(const FanPreset& preset);
  /// Replaces the preset with the same id or appends it; a bundled one keeps its name. To be stored with `persist`.
  /// The preset as it is listed.
  FanPreset put(const FanPreset& preset);
  void remove(const UUID& id);
  void persist();
  /// Takes over what other processes have stored, but for the deletion of `inUse`, and says when the settings cannot be
  /// stored. What has become of `inUse`, when it was changed.
  std::optional<FanPreset> follow(const FanPreset& inUse);

  /// To and from a file that the user names; nothing happens when the user cancels.
  void exportPresets();
  void importPresets();

 private:
  /// Says a failure as that of `cause`, after `prefix`.
  bool persist(ErrorCause cause, const char* prefix);

  Platform& platform_;
  StandingErrors& errors_;
  FanCurveManager store_;
  Published<std::vector<FanPreset>> presets_;
  /// As it was said last.
  std::optional<std::string> settingsFailure_;
};

}  // namespace halcyra
