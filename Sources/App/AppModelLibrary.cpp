#include <algorithm>

#include "fmt/format.h"

#include "App/AppModel.h"
#include "Helpers/PresetExportFile.h"

namespace halcyra {

namespace {

constexpr const char* exportFailed = "Export failed: ";
constexpr const char* importFailed = "Import failed: ";

}  // namespace

void AppModel::createCustomPreset() {
  const FanPreset preset{.id = UUID::random(),
                         .name = fmt::format("Custom {}", customPresets_->size() + 1),
                         .kind = PresetKind::custom,
                         .strategy = ControlStrategy::cpuCoreAverage,
                         .lowTemperature = 30.0,
                         .highTemperature = 50.0,
                         .constantRPM = std::nullopt,
                         .hysteresis = 1.5,
                         .linkedFans = true,
                         .fan0Settings = std::nullopt,
                         .fan1Settings = std::nullopt};
  savePreset(preset);
  activate(preset, false);
}

void AppModel::savePreset(const FanPreset& preset) {
  if (!preset.isValidCustomConfiguration()) {
    lastError_ = "That preset has an invalid name, temperature range, hysteresis, or RPM target.";
    return;
  }
  // A copy of the list: the argument may be an element of it.
  std::vector<FanPreset> presets = *customPresets_;
  FanPreset saved = preset;
  for (const FanPreset& bundled : FanPreset::bundledPresets()) {
    if (bundled.id == saved.id) saved.name = bundled.name;
  }
  const auto existing =
      std::find_if(presets.begin(), presets.end(), [&](const FanPreset& other) { return other.id == saved.id; });
  if (existing != presets.end()) {
    *existing = saved;
  } else {
    presets.push_back(saved);
  }
  customPresets_ = std::move(presets);
  if (activePreset_->id == saved.id) {
    activePreset_ = saved;
  }
  if (presetPendingRestore_ && presetPendingRestore_->id == saved.id) {
    presetPendingRestore_ = saved;
  }
  persistCustomPresets("");
}

void AppModel::duplicatePreset(const FanPreset& preset) {
  if (preset.kind != PresetKind::custom) {
    return;
  }
  FanPreset copy = preset;
  copy.id = UUID::random();
  copy.name += " Copy";
  savePreset(copy);
}

void AppModel::deletePreset(const FanPreset& preset) {
  if (preset.isLocked()) {
    return;
  }
  const UUID id = preset.id;
  if (selectionStore_.savedPresetID() == id) {
    presetPendingRestore_.reset();
    selectionStore_.save(FanPreset::systemDefault());
  }
  if (activePreset_->id == id) {
    resetToAutomatic("deleted active preset", false, true, {});
  }
  customPresets_.mutate([&](std::vector<FanPreset>& presets) {
    std::erase_if(presets, [&](const FanPreset& other) { return other.id == id; });
  });
  persistCustomPresets("");
}

bool AppModel::persistCustomPresets(const char* errorPrefix) {
  try {
    customPresets_ = curveManager_.saveCustomPresets(*customPresets_);
    settingsFailure_ = platform_.userDefaults.saveFailure();
    if (!settingsFailure_) return true;
    lastError_ = errorPrefix + *settingsFailure_;
    return false;
  } catch (const LocalizedError& error) {
    lastError_ = errorPrefix + error.errorDescription();
    return false;
  }
}

// Another process may have edited or imported presets. One that is selected here stays, whatever became of it there.
void AppModel::followSettings() {
  if (platform_.userDefaults.refresh() && curveManager_.hasStoredList()) {
    std::vector<FanPreset> presets = curveManager_.loadCustomPresets();
    const auto selected = std::find_if(presets.begin(), presets.end(),
                                       [&](const FanPreset& preset) { return preset.id == activePreset_->id; });
    if (selected == presets.end() && activePreset_->kind == PresetKind::custom) {
      presets.push_back(*activePreset_);
    } else if (selected != presets.end() && *selected != *activePreset_) {
      activePreset_ = *selected;
      if (presetPendingRestore_ && presetPendingRestore_->id == selected->id) presetPendingRestore_ = *selected;
    }
    if (presets != *customPresets_) customPresets_ = std::move(presets);
  }
  std::optional<std::string> failure = platform_.userDefaults.saveFailure();
  if (failure != settingsFailure_ && failure) lastError_ = *failure;
  settingsFailure_ = std::move(failure);
}

void AppModel::exportCustomPresets() {
  const auto path = platform_.workspace.runSavePanel(std::string(PresetExportFile::defaultFileName));
  if (!path) {
    return;
  }
  try {
    const PresetExportFile file{PresetExportFile::supportedVersion, *customPresets_};
    platform_.files.writeAtomically(*path, file.encode());
  } catch (const LocalizedError& error) {
    lastError_ = exportFailed + error.errorDescription();
  }
}

void AppModel::importCustomPresets() {
  const auto path = platform_.workspace.runOpenPanel();
  if (!path) {
    return;
  }
  PresetExportFile file;
  try {
    file = PresetExportFile::decode(platform_.files.read(*path));
  } catch (const LocalizedError& error) {
    lastError_ = importFailed + error.errorDescription();
    return;
  }
  if (file.version != PresetExportFile::supportedVersion) {
    lastError_ = std::string(PresetExportFile::unsupportedVersionMessage);
    return;
  }
  std::erase_if(file.presets, [](const FanPreset& preset) { return !preset.isValidCustomConfiguration(); });
  customPresets_.mutate([&](std::vector<FanPreset>& presets) {
    for (FanPreset& preset : file.presets) {
      preset.id = UUID::random();
      presets.push_back(preset);
    }
  });
  persistCustomPresets(importFailed);
  if (file.presets.empty()) {
    lastError_ = std::string(PresetExportFile::noValidPresetsMessage);
  }
}

}  // namespace halcyra
