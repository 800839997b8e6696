#include "UI/PresetListState.h"

#include <algorithm>

#include "fmt/format.h"

namespace halcyra {

namespace {

const char* iconOf(const FanPreset& preset) {
  switch (preset.kind) {
    case PresetKind::system:
      return "preset-system";
    case PresetKind::automatic:
      return "preset-auto";
    case PresetKind::fullBlast:
      return "preset-full";
    case PresetKind::custom:
      break;
  }
  return preset.strategy == ControlStrategy::constantRPM ? "preset-constant" : "preset-curve";
}

std::string_view withoutSpacesAndTabs(std::string_view text) {
  constexpr std::string_view blank = " \t";
  const std::size_t first = text.find_first_not_of(blank);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blank) - first + 1);
}

}  // namespace

PresetListState makePresetListState(const ModelView& view, const std::set<UUID>& drafts) {
  PresetListState state{{}, view.activePreset.id};
  bool hasUserPresets = false;
  for (const FanPreset& preset : FanPreset::menuOrder(view.customPresets)) {
    const bool isUsers = !preset.isLocked();
    state.rows.push_back({.id = preset.id,
                          .name = preset.name,
                          .icon = iconOf(preset),
                          .help = std::string(preset.subtitle().value_or(preset.name)),
                          .canDuplicate = preset.kind == PresetKind::custom,
                          .canEdit = isUsers,
                          .startsUserPresets = isUsers && !hasUserPresets,
                          .hasDraft = drafts.contains(preset.id)});
    hasUserPresets = hasUserPresets || isUsers;
  }
  return state;
}

std::optional<FanPreset> listedPreset(const std::vector<FanPreset>& customs, const UUID& id) {
  const std::vector<FanPreset> listed = FanPreset::menuOrder(customs);
  const auto found =
      std::find_if(listed.begin(), listed.end(), [&](const FanPreset& preset) { return preset.id == id; });
  if (found == listed.end()) return std::nullopt;
  return *found;
}

std::optional<FanPreset> renamedPreset(const std::vector<FanPreset>& customs, const UUID& id, std::string_view text) {
  const std::string_view name = withoutSpacesAndTabs(text);
  std::optional<FanPreset> preset = listedPreset(customs, id);
  if (!preset || name.empty()) return std::nullopt;
  preset->name = std::string(name);
  return preset;
}

std::string deletionTitle(std::string_view name) {
  return fmt::format("Delete “{}”?", name);
}

}  // namespace halcyra
