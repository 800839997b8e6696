#include "App/ConsoleLibrary.h"

#include "fmt/format.h"
#include "nlohmann/json.hpp"

#include "App/AppModel.h"
#include "Platform/UntrustedText.h"

namespace halcyra {

namespace {

std::string counted(std::size_t presets) {
  return fmt::format("{} preset{}", presets, presets == 1 ? "" : "s");
}

std::string listed(const std::vector<FanPreset>& presets) {
  std::string text;
  for (const FanPreset& preset : presets) {
    text += onOneLine(preset.name) + "\n";
  }
  return text;
}

std::string listedAsJSON(const std::vector<FanPreset>& presets) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const FanPreset& preset : presets) {
    list.push_back({{"id", preset.id.string()}, {"name", preset.name}, {"kind", rawValue(preset.kind)}});
  }
  return list.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace

std::optional<std::string> runLibraryCommands(Platform& platform, NamedFileWorkspace& workspace,
                                              const LibraryCommands& commands,
                                              const std::function<void(const std::string&)>& output) {
  workspace.openFile = commands.importFile;
  workspace.saveFile = commands.exportFile;
  AppModelOptions options;
  options.refreshHelperRegistration = true;
  const auto model = AppModel::make(platform, options);
  if (commands.importFile) {
    const std::size_t before = model->customPresets().size();
    model->importCustomPresets();
    if (model->lastError()) {
      return model->lastError();
    }
    output(fmt::format("Imported {} from {}\n", counted(model->customPresets().size() - before), *commands.importFile));
  }
  if (commands.exportFile) {
    model->exportCustomPresets();
    if (model->lastError()) {
      return model->lastError();
    }
    output(fmt::format("Exported {} to {}\n", counted(model->customPresets().size()), *commands.exportFile));
  }
  if (commands.list) {
    const auto presets = FanPreset::menuOrder(model->customPresets());
    output(commands.json ? listedAsJSON(presets) : listed(presets));
  }
  return std::nullopt;
}

}  // namespace halcyra
