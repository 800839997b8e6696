#pragma once

#include <string_view>
#include <vector>

#include "Helpers/FanPreset.h"
#include "Platform/UserDefaults.h"

namespace halcyra {

/// The stored list of custom presets. Holds no cache; `defaults` outlives it.
class FanCurveManager {
 public:
  static constexpr std::string_view storageKey = "customFanPresets.v1";

  explicit FanCurveManager(UserDefaults& defaults) : defaults_(defaults) {}

  /// The bundled presets, with the user's tuning where that is valid, then the user's own. Never fails: what cannot be
  /// read counts as absent, and stays stored until the next save.
  std::vector<FanPreset> loadCustomPresets() const;
  /// Replaces the stored list by the valid custom presets of `presets`. Throws `PresetCodingError`; then nothing is
  /// stored.
  void saveCustomPresets(const std::vector<FanPreset>& presets);

 private:
  std::vector<FanPreset> storedPresets() const;

  UserDefaults& defaults_;
};

}  // namespace halcyra
