#include "Support/ScriptedWorkspace.h"

namespace halcyra::test {

std::optional<std::string> ScriptedWorkspace::runSavePanel(const std::string& suggestedName) {
  suggestedNames.push_back(suggestedName);
  return saveAnswer;
}

std::optional<std::string> ScriptedWorkspace::runOpenPanel() {
  ++openPanels;
  return openAnswer;
}

}  // namespace halcyra::test
