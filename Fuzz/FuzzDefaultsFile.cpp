// The settings file, which the user, another version or a failing disk may have written.

#include <fstream>
#include <iterator>
#include <set>

#include "App/ConsoleLibrary.h"
#include "FuzzTargets.h"
#include "Helpers/FanControlOwnership.h"
#include "Helpers/FanCurveManager.h"
#include "Helpers/PresetSelectionStore.h"
#include "Platform/Linux/JSONUserDefaults.h"
#include "Support/Desktop.h"
#include "Support/Expect.h"
#include "Support/Input.h"
#include "Support/TemporaryFolder.h"

namespace halcyra::fuzz {
namespace {

namespace fs = std::filesystem;

constexpr const char* keys[] = {
    "customFanPresets.v1", "lastSelectedFanPresetID.v1", "fanControlOwnership.v1",           "pollingInterval",
    "overheatThreshold",   "overheatAlertsEnabled",      "supervisedFanTestProtocolVersion", "somebodyElses"};
/// Of the keys, the one that is written here.
constexpr const char* writtenKey = "pollingInterval";

/// Everything that the store says of a key.
struct Values {
  std::optional<std::int64_t> integer;
  std::optional<double> number;
  std::optional<bool> boolean;
  std::optional<std::string> string;
  std::optional<std::string> data;

  bool operator==(const Values&) const = default;
};

Values valuesOf(const JSONUserDefaults& defaults, const char* key) {
  return {defaults.integer(key), defaults.number(key), defaults.boolean(key), defaults.string(key), defaults.data(key)};
}

void checkTypes(const Values& values) {
  expect(!values.integer || values.number, "an integer is a number");
  expect(
      values.number.has_value() + values.boolean.has_value() + values.string.has_value() + values.data.has_value() <= 1,
      "a value has one type");
}

std::string contentOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// A file that was understood stays as it is; any other one is kept beside it, to the byte.
void checkNothingIsLost(const fs::path& file, const std::string& text) {
  fs::path aside = file;
  aside += ".damaged-1";
  const bool wasSetAside = fs::exists(aside);
  expect(wasSetAside != fs::exists(file), "the file is either in place or set aside");
  expect(contentOf(wasSetAside ? aside : file) == text, "reading the settings loses nothing");
}

void checkStores(JSONUserDefaults& defaults) {
  FanCurveManager curves(defaults);
  const auto presets = curves.loadCustomPresets();
  const auto& bundled = FanPreset::bundledPresets();
  expect(presets.size() >= bundled.size(), "the bundled presets are always there");
  std::set<UUID> ids;
  for (std::size_t i = 0; i < presets.size(); ++i) {
    expect(presets[i].isValidCustomConfiguration() && ids.insert(presets[i].id).second,
           "every loaded preset is valid and is there once");
    expect(i >= bundled.size() || (presets[i].id == bundled[i].id && presets[i].name == bundled[i].name),
           "the bundled presets come first, under their own names");
  }
  const auto menu = FanPreset::menuOrder(presets);
  const PresetSelectionStore selection(defaults);
  expect(std::find(menu.begin(), menu.end(), selection.load(menu)) != menu.end(), "the selection is one of the menu");
  FanControlOwnershipStore(defaults).load();
  curves.saveCustomPresets(presets);
  expect(curves.loadCustomPresets() == presets, "loaded presets survive being saved");
}

// One change must leave every other setting as it was, in this process and for the next one.
void checkChange(const fs::path& file, LogSink& log) {
  JSONUserDefaults defaults(file, log);
  std::vector<Values> before;
  for (const char* key : keys) before.push_back(valuesOf(defaults, key));
  defaults.setNumber(writtenKey, 2.5);
  const JSONUserDefaults next(file, log);
  for (std::size_t i = 0; i < std::size(keys); ++i) {
    const bool isWritten = keys[i] == std::string_view(writtenKey);
    expect(valuesOf(defaults, keys[i]) == valuesOf(next, keys[i]), "what is set is stored");
    expect(isWritten || valuesOf(next, keys[i]) == before[i], "a change leaves the other settings alone");
  }
  expect(next.number(writtenKey) == 2.5, "a change is stored");
}

}  // namespace

void fuzzDefaultsFile(Bytes input) {
  const test::TemporaryFolder folder;
  Desktop desktop;
  const fs::path file = folder.path() / "settings.json";
  const std::string text = textOf(input);
  std::ofstream(file, std::ios::binary) << text;

  JSONUserDefaults defaults(file, desktop.log());
  checkNothingIsLost(file, text);
  for (const char* key : keys) checkTypes(valuesOf(defaults, key));
  checkChange(file, desktop.log());

  JSONUserDefaults changed(file, desktop.log());
  LibraryCommands listing;
  listing.list = listing.json = true;
  expect(!desktop.runLibrary(changed, listing), "the application starts with any settings");
  expect(desktop.output().starts_with("[{"), "and lists its presets");
  checkStores(changed);
}

}  // namespace halcyra::fuzz
