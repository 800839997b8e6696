#pragma once

#include <vector>

#include "App/Published.h"
#include "App/StandingErrors.h"
#include "Helpers/FanCurveManager.h"
#include "Helpers/FanPreset.h"
#include "Platform/Platform.h"

namespace halcyra {

/// The user's presets: the published list and its storage. Knows nothing of which one is selected. Failures are said
/// through the standing errors. Main queue only.
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
  /// Replaces the preset with the same id or appends it. To be stored with `persist`.
  void put(const FanPreset& preset);
  void remove(const UUID& id);
  void persist();

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
};

}  // namespace halcyra
