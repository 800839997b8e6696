#include "Helpers/FanCurveManager.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "Helpers/PresetCoding.h"

namespace halcyra {

std::vector<FanPreset> FanCurveManager::storedPresets() const {
  const std::optional<std::string> stored = defaults_.data(storageKey);
  if (!stored) {
    return {};
  }
  try {
    return PresetCoding::decodePresets(*stored);
  } catch (const PresetCodingError&) {
    return {};
  }
}

std::vector<FanPreset> FanCurveManager::loadCustomPresets() const {
  const std::vector<FanPreset> stored = storedPresets();
  std::set<UUID> taken{FanPreset::systemDefault().id, FanPreset::automatic().id, FanPreset::fullBlast().id};
  std::vector<FanPreset> result;
  for (const FanPreset& bundled : FanPreset::bundledPresets()) {
    taken.insert(bundled.id);
    result.push_back(bundled);
    const auto found =
        std::find_if(stored.begin(), stored.end(), [&](const FanPreset& preset) { return preset.id == bundled.id; });
    if (found == stored.end()) {
      continue;
    }
    FanPreset tuned = *found;
    tuned.name = bundled.name;
    if (tuned.isValidCustomConfiguration()) {
      result.back() = std::move(tuned);
    }
  }
  std::copy_if(stored.begin(), stored.end(), std::back_inserter(result), [&](const FanPreset& preset) {
    return preset.isValidCustomConfiguration() && taken.insert(preset.id).second;
  });
  return result;
}

void FanCurveManager::saveCustomPresets(const std::vector<FanPreset>& presets) {
  std::vector<FanPreset> kept;
  std::copy_if(presets.begin(), presets.end(), std::back_inserter(kept),
               [](const FanPreset& preset) { return preset.isValidCustomConfiguration(); });
  defaults_.setData(storageKey, PresetCoding::encode(kept));
}

}  // namespace halcyra
