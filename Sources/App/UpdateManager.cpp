#include "App/UpdateManager.h"

#include <utility>

namespace halcyra {

UpdateManager::UpdateManager(Updater& updater, std::function<void(const Warning&)> showWarning)
    : updater_(updater), showWarning_(std::move(showWarning)) {
  updater_.start();
}

void UpdateManager::checkForUpdates() {
  if (updater_.canCheckForUpdates()) {
    updater_.checkForUpdates();
    return;
  }
  showWarning_({"Unable to Check for Updates",
                "Aerovane's updater is not ready. Check your internet connection and try again.", "OK"});
}

}  // namespace halcyra
