#pragma once

#include <functional>
#include <string>

#include "Platform/UserNotifications.h"

namespace halcyra {

/// The desktop's file panels. Main thread only.
class QtWorkspace : public Workspace {
 public:
  /// What "to the front" means is the application's: called by `activateApplication`. May be empty.
  void setActivation(std::function<void()> activate) { activate_ = std::move(activate); }

  std::optional<std::string> runSavePanel(const std::string& suggestedName) override;
  std::optional<std::string> runOpenPanel() override;
  void activateApplication() override;

  /// A modal warning with one button.
  static void showWarning(const std::string& message, const std::string& informativeText, const std::string& button);

 private:
  std::function<void()> activate_;
};

}  // namespace halcyra
