#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "Helpers/FanPreset.h"
#include "Platform/UserDefaults.h"

namespace halcyra {

/// Which preset the user selected last. Holds no cache; `defaults` outlives it.
class PresetSelectionStore {
 public:
  static constexpr std::string_view storageKey = "lastSelectedFanPresetID.v1";

  explicit PresetSelectionStore(UserDefaults& defaults) : defaults_(defaults) {}

  void save(const FanPreset& preset);
  /// Nothing when none is saved or it cannot be read.
  std::optional<UUID> savedPresetID() const;
  /// The saved one among `presets`, else "Apple Default".
  FanPreset load(const std::vector<FanPreset>& presets) const;

 private:
  UserDefaults& defaults_;
};

}  // namespace halcyra
