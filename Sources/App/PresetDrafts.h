#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "App/Published.h"
#include "Helpers/FanPreset.h"
#include "Platform/Dispatch.h"
#include "Platform/UserDefaults.h"

namespace halcyra {

/// The user's unsaved edits of presets, at most one draft per preset, kept over a restart. A draft need not be a valid
/// configuration: it is what stood in the editor. Main queue only; `defaults` and `mainQueue` outlive it.
///
/// The stored drafts follow the changes after half a second, so that typing and dragging do not write with every step,
/// and when this object is destroyed.
class PresetDrafts {
 public:
  static constexpr std::string_view storageKey = "presetDrafts.v1";
  static constexpr Seconds storageDelay{0.5};

  /// Takes over what is stored; drafts that cannot be read count as absent.
  PresetDrafts(UserDefaults& defaults, Queue& mainQueue);
  ~PresetDrafts();
  PresetDrafts(const PresetDrafts&) = delete;
  PresetDrafts& operator=(const PresetDrafts&) = delete;

  /// Called before every change of the set of drafts or of a draft.
  [[nodiscard]] ChangeSignal::Subscription observe(std::function<void()> willChange) {
    return willChange_.observe(std::move(willChange));
  }

  /// The edited form of the preset `id`; none where nothing is unsaved.
  std::optional<FanPreset> draft(const UUID& id) const;
  /// The presets that have one.
  std::set<UUID> ids() const;
  /// Keeps `edited` as the draft of its preset, whose saved form is `saved`; where they are equal, nothing is unsaved
  /// and the draft goes.
  void keep(const FanPreset& edited, const FanPreset& saved);
  /// Forgets the draft of the preset `id`, once it is saved or reverted.
  void discard(const UUID& id);
  /// Forgets the drafts of presets that are not among `presets`, and those that equal theirs.
  void retain(const std::vector<FanPreset>& presets);
  /// A preset's name has been changed from `before` to `after`; a draft that has not changed the name follows.
  void followRename(const FanPreset& before, const FanPreset& after);

 private:
  void storeSoon();
  void store();

  UserDefaults& defaults_;
  Queue& mainQueue_;
  ChangeSignal willChange_;
  std::map<UUID, FanPreset> drafts_;
  std::unique_ptr<Timer> storage_;
};

}  // namespace halcyra
