#include "App/PresetLibrary.h"

#include <algorithm>
#include <utility>

#include "fmt/format.h"

#include "Helpers/PresetExportFile.h"

namespace halcyra {

namespace {

constexpr const char* exportFailed = "Export failed: ";
constexpr const char* importFailed = "Import failed: ";
constexpr const char* invalidPreset = "That preset has an invalid name, temperature range, hysteresis, or RPM target.";

}  // namespace

PresetLibrary::PresetLibrary(Platform& platform, const ChangeSignal& signal, StandingErrors& errors)
    : platform_(platform),
      errors_(errors),
      store_(platform.userDefaults),
      presets_(signal, store_.loadCustomPresets()) {}

FanPreset PresetLibrary::makePreset() const {
  return {.id = UUID::random(),
          .name = fmt::format("Custom {}", presets_->size() + 1),
          .kind = PresetKind::custom,
          .strategy = ControlStrategy::cpuCoreAverage,
          .lowTemperature = 30.0,
          .highTemperature = 50.0,
          .constantRPM = std::nullopt,
          .hysteresis = 1.5,
          .linkedFans = true,
          .fan0Settings = std::nullopt,
          .fan1Settings = std::nullopt};
}

bool PresetLibrary::accepts(const FanPreset& preset) {
  if (!preset.isValidCustomConfiguration()) {
    errors_.set(ErrorCause::presetLibrary, invalidPreset);
    return false;
  }
  return true;
}

FanPreset PresetLibrary::put(const FanPreset& preset) {
  // Copies: the argument may be an element of the list.
  FanPreset saved = preset;
  for (const FanPreset& bundled : FanPreset::bundledPresets()) {
    if (bundled.id == saved.id) saved.name = bundled.name;
  }
  std::vector<FanPreset> presets = *presets_;
  const auto existing =
      std::find_if(presets.begin(), presets.end(), [&](const FanPreset& other) { return other.id == saved.id; });
  if (existing != presets.end()) {
    *existing = saved;
  } else {
    presets.push_back(saved);
  }
  presets_ = std::move(presets);
  return saved;
}

void PresetLibrary::remove(const UUID& id) {
  presets_.mutate([&](std::vector<FanPreset>& presets) {
    std::erase_if(presets, [&](const FanPreset& other) { return other.id == id; });
  });
}

void PresetLibrary::persist() {
  persist(ErrorCause::presetLibrary, "");
}

bool PresetLibrary::persist(ErrorCause cause, const char* prefix) {
  try {
    presets_ = store_.saveCustomPresets(*presets_);
    settingsFailure_ = platform_.userDefaults.saveFailure();
    if (settingsFailure_) {
      errors_.set(cause, prefix + *settingsFailure_);
      return false;
    }
    errors_.clear(cause);
    errors_.clear(ErrorCause::settings);
    return true;
  } catch (const LocalizedError& error) {
    errors_.set(cause, prefix + error.errorDescription());
    return false;
  }
}

std::optional<FanPreset> PresetLibrary::follow(const FanPreset& inUse) {
  std::optional<FanPreset> changed;
  if (platform_.userDefaults.refresh() && store_.hasStoredList()) {
    std::vector<FanPreset> presets = store_.loadCustomPresets();
    const auto listed =
        std::find_if(presets.begin(), presets.end(), [&](const FanPreset& preset) { return preset.id == inUse.id; });
    if (listed == presets.end() && inUse.kind == PresetKind::custom) {
      presets.push_back(inUse);
    } else if (listed != presets.end() && *listed != inUse) {
      changed = *listed;
    }
    presets_ = std::move(presets);
  }
  std::optional<std::string> failure = platform_.userDefaults.saveFailure();
  if (failure != settingsFailure_) {
    settingsFailure_ = std::move(failure);
    if (settingsFailure_) {
      errors_.set(ErrorCause::settings, *settingsFailure_);
    } else {
      errors_.clear(ErrorCause::settings);
    }
  }
  return changed;
}

void PresetLibrary::exportPresets() {
  const auto path = platform_.workspace.runSavePanel(std::string(PresetExportFile::defaultFileName));
  if (!path) {
    return;
  }
  try {
    const PresetExportFile file{PresetExportFile::supportedVersion, *presets_};
    platform_.files.writeAtomically(*path, file.encode());
    errors_.clear(ErrorCause::presetFile);
  } catch (const LocalizedError& error) {
    errors_.set(ErrorCause::presetFile, exportFailed + error.errorDescription());
  }
}

void PresetLibrary::importPresets() {
  const auto path = platform_.workspace.runOpenPanel();
  if (!path) {
    return;
  }
  PresetExportFile file;
  try {
    file = PresetExportFile::decode(platform_.files.read(*path));
  } catch (const LocalizedError& error) {
    errors_.set(ErrorCause::presetFile, importFailed + error.errorDescription());
    return;
  }
  if (file.version != PresetExportFile::supportedVersion) {
    errors_.set(ErrorCause::presetFile, std::string(PresetExportFile::unsupportedVersionMessage));
    return;
  }
  std::erase_if(file.presets, [](const FanPreset& preset) { return !preset.isValidCustomConfiguration(); });
  presets_.mutate([&](std::vector<FanPreset>& presets) {
    for (FanPreset& preset : file.presets) {
      preset.id = UUID::random();
      presets.push_back(preset);
    }
  });
  persist(ErrorCause::presetFile, importFailed);
  if (file.presets.empty()) {
    errors_.set(ErrorCause::presetFile, std::string(PresetExportFile::noValidPresetsMessage));
  }
}

}  // namespace halcyra
