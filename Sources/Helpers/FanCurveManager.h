#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Helpers/FanPreset.h"
#include "Platform/UserDefaults.h"

namespace halcyra {

/// The stored list of custom presets, which several processes may change: what this one has added, changed and deleted
/// since it last loaded or saved goes into the list as it is stored by then. `defaults` outlives it. One thread only.
class FanCurveManager {
 public:
  static constexpr std::string_view storageKey = "customFanPresets.v1";

  explicit FanCurveManager(UserDefaults& defaults) : defaults_(defaults) {}

  /// The bundled presets, with the user's tuning where that is valid, then the user's own. Never fails: what cannot be
  /// read counts as absent, and stays stored until the next save.
  std::vector<FanPreset> loadCustomPresets();
  /// Stores the valid custom presets of `presets`, and those that another process has stored meanwhile; returns the
  /// list as `loadCustomPresets` does. Throws `PresetCodingError`; then nothing is stored.
  std::vector<FanPreset> saveCustomPresets(const std::vector<FanPreset>& presets);
  /// Whether there is a list that can be read.
  bool hasStoredList() const { return storedPresets().has_value(); }

 private:
  std::optional<std::vector<FanPreset>> storedPresets() const;
  std::vector<FanPreset> merged(const std::vector<FanPreset>& wanted, const std::vector<FanPreset>& stored) const;

  UserDefaults& defaults_;
  /// What was loaded or saved last: what differs from it has been changed here since.
  std::vector<FanPreset> known_;
};

}  // namespace halcyra
