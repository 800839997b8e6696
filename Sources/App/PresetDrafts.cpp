#include "App/PresetDrafts.h"

#include <algorithm>
#include <utility>

#include "Helpers/PresetCoding.h"

namespace halcyra {

PresetDrafts::PresetDrafts(UserDefaults& defaults, Queue& mainQueue) : defaults_(defaults), mainQueue_(mainQueue) {
  const std::optional<std::string> stored = defaults_.data(storageKey);
  if (!stored) return;
  try {
    for (FanPreset& draft : PresetCoding::decodePresets(*stored)) {
      // A copy: the key would else be read from what has been moved.
      const UUID id = draft.id;
      if (draft.kind == PresetKind::custom) drafts_.emplace(id, std::move(draft));
    }
  } catch (const PresetCodingError&) {
    drafts_.clear();
  }
}

PresetDrafts::~PresetDrafts() {
  if (storage_) store();
}

std::optional<FanPreset> PresetDrafts::draft(const UUID& id) const {
  const auto found = drafts_.find(id);
  return found == drafts_.end() ? std::nullopt : std::optional(found->second);
}

std::set<UUID> PresetDrafts::ids() const {
  std::set<UUID> result;
  for (const auto& [id, draft] : drafts_) result.insert(id);
  return result;
}

void PresetDrafts::keep(const FanPreset& edited, const FanPreset& saved) {
  if (edited == saved || edited.kind != PresetKind::custom) {
    discard(edited.id);
    return;
  }
  if (draft(edited.id) == edited) return;
  willChange_.announce();
  drafts_.insert_or_assign(edited.id, edited);
  storeSoon();
}

void PresetDrafts::discard(const UUID& id) {
  if (!drafts_.contains(id)) return;
  willChange_.announce();
  drafts_.erase(id);
  storeSoon();
}

void PresetDrafts::retain(const std::vector<FanPreset>& presets) {
  for (const UUID& id : ids()) {
    const auto preset = std::ranges::find(presets, id, &FanPreset::id);
    if (preset == presets.end() || *preset == drafts_.at(id)) discard(id);
  }
}

void PresetDrafts::followRename(const FanPreset& before, const FanPreset& after) {
  std::optional<FanPreset> renamed = draft(after.id);
  if (!renamed || renamed->name != before.name) return;
  renamed->name = after.name;
  keep(*renamed, after);
}

void PresetDrafts::storeSoon() {
  if (!storage_) storage_ = mainQueue_.startTimer(storageDelay, Seconds{0}, Seconds{0}, [this] { store(); });
}

void PresetDrafts::store() {
  storage_.reset();
  std::vector<FanPreset> drafts;
  for (const auto& [id, draft] : drafts_) drafts.push_back(draft);
  try {
    defaults_.setData(storageKey, PresetCoding::encode(drafts));
  } catch (const PresetCodingError&) {
    // A name that is no Unicode text has no stored form: the drafts live as long as the process.
  }
}

}  // namespace halcyra
