// Preset lists as they are stored, and the export files of strangers.

#include <algorithm>
#include <set>

#include "FuzzTargets.h"
#include "Helpers/FanCurveManager.h"
#include "Helpers/HysteresisCurve.h"
#include "Helpers/PresetCoding.h"
#include "Support/Desktop.h"
#include "Support/Expect.h"
#include "Support/Input.h"

namespace halcyra::fuzz {
namespace {

constexpr const char* importPath = "/home/user/Presets.json";
constexpr const char* exportPath = "/home/user/Exported.json";

const FanPreset& ownPreset() {
  static const FanPreset preset = [] {
    FanPreset own = FanPreset::cpuCoreDefault();
    own.id = *UUID::parse("6F9619FF-8B86-4D11-B42D-00CF4FC964FF");
    own.name = "Own";
    return own;
  }();
  return preset;
}

// A preset that counts as valid may be driven: whatever its fields hold, targets stay within the fan's limits.
void checkDriving(const FanPreset& preset) {
  for (const int index : {0, 1, 2}) {
    const FanInfo fan{index, 2000, 1350, 5700, FanMode::manual, std::nullopt};
    if (const auto fixed = preset.fixedTarget(fan)) {
      expect(*fixed >= fan.minRPM && *fixed <= fan.maxRPM, "a fixed target lies within the fan's limits");
    }
    const FanCurveSettings settings = preset.settings(index);
    HysteresisCurve curve(settings.lowTemperature, settings.highTemperature, preset.hysteresis);
    for (const double celsius : {-40.0, 35.5, 61.0, 99.9, 125.0, 60.5}) {
      const auto rpm = curve.target(celsius, fan.minRPM, fan.maxRPM);
      expect(rpm >= fan.minRPM && rpm <= fan.maxRPM, "a curve's target lies within the fan's limits");
    }
  }
}

void checkPresets(const std::vector<FanPreset>& presets) {
  for (const FanPreset& preset : presets) {
    expect(!longDescription(preset).empty(), "every preset can be described");
    if (preset.isValidCustomConfiguration()) {
      checkDriving(preset);
    }
  }
  const auto menu = FanPreset::menuOrder(presets);
  expect(menu.front() == FanPreset::systemDefault(), "Apple Default is listed first");
}

void checkList(const std::string& text) {
  std::vector<FanPreset> presets;
  try {
    presets = PresetCoding::decodePresets(text);
  } catch (const PresetCodingError& error) {
    expectReadable(error.errorDescription());
    return;
  }
  const std::string encoded = PresetCoding::encode(presets);
  expect(PresetCoding::decodePresets(encoded) == presets, "a list survives being written and read");
  expect(PresetCoding::encode(PresetCoding::decodePresets(encoded)) == encoded, "its written form is the only one");
  checkPresets(presets);
}

std::optional<PresetExportFile> checkExportFile(const std::string& text) {
  try {
    PresetExportFile file = PresetExportFile::decode(text);
    const std::string encoded = file.encode();
    expect(PresetExportFile::decode(encoded) == file, "an export file survives being written and read");
    expect(PresetExportFile::decode(encoded).encode() == encoded, "its written form is the only one");
    checkPresets(file.presets);
    return file;
  } catch (const PresetCodingError& error) {
    expectReadable(error.errorDescription());
    return std::nullopt;
  }
}

bool isEqualButForID(FanPreset first, const FanPreset& second) {
  first.id = second.id;
  return first == second;
}

// `file`: what the text holds, when it is an export file.
void checkImport(const std::string& text, const std::optional<PresetExportFile>& file) {
  Desktop desktop;
  FanCurveManager store(desktop.defaults());
  store.saveCustomPresets({ownPreset()});
  const auto before = store.loadCustomPresets();
  desktop.files().contents[importPath] = text;
  LibraryCommands commands;
  commands.importFile = importPath;
  commands.exportFile = exportPath;
  const auto error = desktop.runLibrary(desktop.defaults(), commands);
  const auto after = store.loadCustomPresets();

  std::vector<FanPreset> accepted;
  if (file && file->version == PresetExportFile::supportedVersion) {
    std::copy_if(file->presets.begin(), file->presets.end(), std::back_inserter(accepted),
                 [](const FanPreset& preset) { return preset.isValidCustomConfiguration(); });
  }
  expect(error.has_value() == accepted.empty(), "an import that adds nothing says so, and no other does");
  if (error) {
    expectReadable(*error);
    expect(after == before, "a refused import changes nothing");
    return;
  }
  expect(after.size() == before.size() + accepted.size() && std::equal(before.begin(), before.end(), after.begin()),
         "an import appends the valid presets");
  std::set<UUID> ids;
  for (const FanPreset& preset : after) ids.insert(preset.id);
  expect(ids.size() == after.size(), "imported presets have identities of their own");
  expect(std::equal(accepted.begin(), accepted.end(), after.begin() + static_cast<std::ptrdiff_t>(before.size()),
                    isEqualButForID),
         "imported presets are as they were in the file");
  expect(PresetExportFile::decode(desktop.files().contents.at(exportPath)).presets == after,
         "what is exported is what there is");
}

}  // namespace

void fuzzPresets(Bytes input) {
  const std::string text = textOf(input);
  checkList(text);
  checkImport(text, checkExportFile(text));
}

}  // namespace halcyra::fuzz
