#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "App/ModelView.h"
#include "Helpers/FanPreset.h"

namespace halcyra {

/// One row of the dashboard's preset library.
struct PresetListRow {
  UUID id;
  std::string name;
  /// Name of the row's picture.
  std::string icon;
  std::string help;
  bool canDuplicate = false;
  /// Rename and delete.
  bool canEdit = false;
  /// The first of the user's own presets: a line parts it from the built-in ones.
  bool startsUserPresets = false;
  /// Edits of it are not saved yet.
  bool hasDraft = false;

  bool operator==(const PresetListRow&) const = default;
};

struct PresetListState {
  std::vector<PresetListRow> rows;
  UUID activeID;

  bool operator==(const PresetListState&) const = default;
};

struct PresetListText {
  static constexpr std::string_view section = "Presets";
  static constexpr std::string_view create = "New Custom Preset";
  static constexpr std::string_view renamePrompt = "Preset name";
  static constexpr std::string_view duplicate = "Duplicate";
  static constexpr std::string_view rename = "Rename…";
  static constexpr std::string_view remove = "Delete";
  static constexpr std::string_view removeMessage =
      "This cannot be undone. If the preset is active, fans return to Automatic.";
};

/// `drafts`: the presets with unsaved edits.
PresetListState makePresetListState(const ModelView& view, const std::set<UUID>& drafts = {});

/// The listed preset with this id.
std::optional<FanPreset> listedPreset(const std::vector<FanPreset>& customs, const UUID& id);

/// What is to be saved when `text` has been entered as the new name of the preset `id`: nothing when the preset is not
/// listed any more, or the text holds nothing but spaces and tabs.
std::optional<FanPreset> renamedPreset(const std::vector<FanPreset>& customs, const UUID& id, std::string_view text);

/// The question before a preset is deleted.
std::string deletionTitle(std::string_view name);

}  // namespace halcyra
