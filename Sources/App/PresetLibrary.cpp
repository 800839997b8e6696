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

void PresetLibrary::put(const FanPreset& preset) {
  // A copy of the list: the argument may be an element of it.
  std::vector<FanPreset> presets = *presets_;
  const auto existing =
      std::find_if(presets.begin(), presets.end(), [&](const FanPreset& other) { return other.id == preset.id; });
  if (existing != presets.end()) {
    *existing = preset;
  } else {
    presets.push_back(preset);
  }
  presets_ = std::move(presets);
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
    store_.saveCustomPresets(*presets_);
    errors_.clear(cause);
    return true;
  } catch (const LocalizedError& error) {
    errors_.set(cause, prefix + error.errorDescription());
    return false;
  }
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
