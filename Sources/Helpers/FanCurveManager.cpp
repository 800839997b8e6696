#include "Helpers/FanCurveManager.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>

#include "Helpers/PresetCoding.h"

namespace halcyra {

namespace {

/// The first preset of each identity.
class PresetsByID {
 public:
  explicit PresetsByID(const std::vector<FanPreset>& presets) {
    for (const FanPreset& preset : presets) presets_.emplace(preset.id, &preset);
  }
  const FanPreset* find(const UUID& id) const {
    const auto found = presets_.find(id);
    return found == presets_.end() ? nullptr : found->second;
  }
  bool holdsUnchanged(const FanPreset& preset) const {
    const FanPreset* const found = find(preset.id);
    return found != nullptr && *found == preset;
  }

 private:
  std::map<UUID, const FanPreset*> presets_;
};

std::optional<std::vector<FanPreset>> decodedPresets(const std::optional<std::string>& stored) {
  try {
    return stored ? std::optional(PresetCoding::decodePresets(*stored)) : std::nullopt;
  } catch (const PresetCodingError&) {
    return std::nullopt;
  }
}

/// The bundled presets, as tuned, and every valid one of the user's own, once.
std::vector<FanPreset> usablePresets(const std::vector<FanPreset>& stored) {
  std::set<UUID> taken{FanPreset::systemDefault().id, FanPreset::automatic().id, FanPreset::fullBlast().id};
  std::vector<FanPreset> result;
  const PresetsByID storedByID(stored);
  for (const FanPreset& bundled : FanPreset::bundledPresets()) {
    taken.insert(bundled.id);
    result.push_back(bundled);
    const FanPreset* const found = storedByID.find(bundled.id);
    if (found == nullptr) {
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

}  // namespace

std::optional<std::vector<FanPreset>> FanCurveManager::storedPresets() const {
  return decodedPresets(defaults_.data(storageKey));
}

std::vector<FanPreset> FanCurveManager::loadCustomPresets() {
  known_ = usablePresets(storedPresets().value_or(std::vector<FanPreset>()));
  return known_;
}

std::vector<FanPreset> FanCurveManager::merged(const std::vector<FanPreset>& wanted,
                                               const std::vector<FanPreset>& stored) const {
  const PresetsByID wantedByID(wanted);
  const PresetsByID knownByID(known_);
  const PresetsByID storedByID(stored);
  std::vector<FanPreset> result;
  for (const FanPreset& theirs : stored) {
    const FanPreset* const ours = wantedByID.find(theirs.id);
    const bool wasDeletedHere = ours == nullptr && knownByID.find(theirs.id) != nullptr;
    if (!wasDeletedHere) {
      const bool wasChangedHere = ours != nullptr && !knownByID.holdsUnchanged(*ours);
      result.push_back(wasChangedHere ? *ours : theirs);
    }
  }
  // What is known, unchanged and not stored has been deleted by another process.
  std::copy_if(wanted.begin(), wanted.end(), std::back_inserter(result), [&](const FanPreset& ours) {
    return storedByID.find(ours.id) == nullptr && !knownByID.holdsUnchanged(ours);
  });
  return result;
}

std::vector<FanPreset> FanCurveManager::saveCustomPresets(const std::vector<FanPreset>& presets) {
  std::vector<FanPreset> kept;
  std::copy_if(presets.begin(), presets.end(), std::back_inserter(kept),
               [](const FanPreset& preset) { return preset.isValidCustomConfiguration(); });
  defaults_.changeData(storageKey, [&](const std::optional<std::string>& text) {
    const auto stored = decodedPresets(text);
    return PresetCoding::encode(stored ? merged(kept, usablePresets(*stored)) : kept);
  });
  return loadCustomPresets();
}

}  // namespace halcyra
