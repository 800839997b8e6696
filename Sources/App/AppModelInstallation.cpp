#include <string_view>

#include "fmt/format.h"

#include "App/AppModel.h"
#include "App/AppModelReplies.h"

namespace halcyra {

void AppModel::installHelper() {
  logger_.log("installHelper invoked");
  std::optional<std::string> failure;
  try {
    helper_->install();
  } catch (const LocalizedError& error) {
    failure = error.errorDescription();
  }
  refreshHelperState();
  const std::string_view state = rawValue(*helperState_);
  const bool requiresApproval = *helperState_ == HelperInstallState::requiresApproval;
  if (failure) {
    logger_.log(fmt::format("helper register threw {}; state={}", *failure, state));
    if (!requiresApproval) {
      lastError_ = failure;
    }
  } else {
    logger_.log(fmt::format("helper register returned; state={}", state));
  }
  if (requiresApproval) {
    openLoginItemsSettings();
  }
}

void AppModel::uninstallHelper() {
  resetToAutomatic("helper uninstall", false, true, [weak = weak_from_this()] {
    const auto model = weak.lock();
    if (!model) {
      return;
    }
    model->helper_->uninstall(model->onMain([](AppModel& self, const std::optional<Error>& error) {
      self.refreshHelperState();
      self.lastError_ = error ? std::optional(error->localizedDescription()) : std::nullopt;
    }));
  });
}

void AppModel::openLoginItemsSettings() {
  platform_.serviceManagement.openSystemSettingsLoginItems();
}

void AppModel::setLaunchAtLogin(bool enabled) {
  try {
    if (enabled) {
      platform_.serviceManagement.registerMainApp();
    } else {
      platform_.serviceManagement.unregisterMainApp();
    }
  } catch (const LocalizedError& error) {
    lastError_ = error.errorDescription();
  }
  launchAtLogin_ = platform_.serviceManagement.mainAppStatus() == ServiceManagement::enabled;
}

}  // namespace halcyra
