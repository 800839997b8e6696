#include "Helpers/PresetSelectionStore.h"

#include <algorithm>

namespace halcyra {

void PresetSelectionStore::save(const FanPreset& preset) {
  defaults_.setString(storageKey, preset.id.string());
}

std::optional<UUID> PresetSelectionStore::savedPresetID() const {
  const std::optional<std::string> text = defaults_.string(storageKey);
  return text ? UUID::parse(*text) : std::nullopt;
}

FanPreset PresetSelectionStore::load(const std::vector<FanPreset>& presets) const {
  const std::optional<UUID> saved = savedPresetID();
  const auto found =
      std::find_if(presets.begin(), presets.end(), [&](const FanPreset& preset) { return preset.id == saved; });
  return found == presets.end() ? FanPreset::systemDefault() : *found;
}

}  // namespace halcyra
