#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/UserNotifications.h"

namespace halcyra::test {

/// A desktop whose user answers file panels as scripted. A panel without a scripted answer is cancelled.
class ScriptedWorkspace : public Workspace {
 public:
  std::optional<std::string> runSavePanel(const std::string& suggestedName) override;
  std::optional<std::string> runOpenPanel() override;
  void activateApplication() override { ++activations; }

  /// Answers of the next panels of each kind; nothing: every panel is cancelled.
  std::optional<std::string> saveAnswer;
  std::optional<std::string> openAnswer;

  std::vector<std::string> suggestedNames;
  int openPanels = 0;
  int activations = 0;
};

}  // namespace halcyra::test
