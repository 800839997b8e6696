#pragma once

#include <functional>
#include <memory>
#include <string>

#include "App/AppModel.h"
#include "App/PresetDrafts.h"
#include "Platform/Clock.h"
#include "UI/HistorySelection.h"
#include "UI/Notices.h"

namespace halcyra {

/// What a view may ask of the application beside the model's commands. Actions may be empty; main thread only.
struct ViewContext {
  std::shared_ptr<AppModel> model;
  std::function<void()> openDashboard;
  std::function<void()> openSensors;
  std::function<void()> openSettings;
  std::function<void()> quit;
  std::function<void()> checkForUpdates;
  /// What the charts of all windows show; never null.
  std::shared_ptr<HistorySelection> historySelection = std::make_shared<HistorySelection>();
  /// Unsaved edits of presets; null: they are not kept.
  std::shared_ptr<PresetDrafts> drafts;
  /// What the windows remember together; a view that is given none remembers for itself.
  std::shared_ptr<Notices> notices;
  /// What has to be typed to approve the helper; empty where the desktop needs no such help.
  std::string approvalCommand;
  /// Null where the view needs no time.
  Clock* clock = nullptr;
  /// The application's version, as "1.2.3".
  std::string version;
};

}  // namespace halcyra
