#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Platform/Platform.h"

namespace halcyra {

/// File panels without a desktop: each is answered with the file that was named beforehand, or cancelled.
class NamedFileWorkspace : public Workspace {
 public:
  std::optional<std::string> runSavePanel(const std::string&) override { return saveFile; }
  std::optional<std::string> runOpenPanel() override { return openFile; }
  void activateApplication() override {}

  std::optional<std::string> saveFile;
  std::optional<std::string> openFile;
};

/// What is asked of the preset library; carried out in the order of the members.
struct LibraryCommands {
  std::optional<std::string> importFile;
  std::optional<std::string> exportFile;
  bool list = false;
  /// The list as one JSON array instead of a name a line.
  bool json = false;

  bool any() const { return importFile || exportFile || list; }
};

/// Carries the commands out through a model of its own, which neither reads the SMC nor touches a fan, until one
/// fails: its message, or nothing. `workspace` is the one that `platform` names. `output` gets what there is to say,
/// complete with line feeds. Main queue only.
std::optional<std::string> runLibraryCommands(Platform& platform, NamedFileWorkspace& workspace,
                                              const LibraryCommands& commands,
                                              const std::function<void(const std::string&)>& output);

}  // namespace halcyra
