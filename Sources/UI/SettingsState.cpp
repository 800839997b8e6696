#include "UI/SettingsState.h"

#include <algorithm>
#include <cmath>

#include "fmt/format.h"

#include "App/AppModel.h"

namespace halcyra {

namespace {

constexpr double stepsPerSecond = 2.0;
constexpr std::string_view missing = "—";

static_assert(firstIntervalStep == AppModel::minimumPollingInterval * stepsPerSecond);
static_assert(lastIntervalStep == AppModel::maximumPollingInterval * stepsPerSecond);

}  // namespace

double settingsInterval(int step) {
  return std::clamp(step, firstIntervalStep, lastIntervalStep) / stepsPerSecond;
}

int settingsIntervalStep(double seconds) {
  const double limited = std::clamp(seconds, AppModel::minimumPollingInterval, AppModel::maximumPollingInterval);
  return static_cast<int>(std::lround(limited * stepsPerSecond));
}

SettingsState makeSettingsState(const ModelView& view, const BundleVersion& version) {
  SettingsState state;
  state.owner = view.fanControlOwnership;
  state.ownerDetail = detail(state.owner);
  state.detectedWriter = view.competingController;
  state.helperStatus = rawValue(view.helperState);
  state.helperApproved = view.helperState == HelperInstallState::enabled;
  state.supervisedTest = view.supervisedTestPassed ? "Passed" : "Required";
  state.canChangeHelper = !view.isBusy;
  state.startAtLogin = view.launchAtLogin;
  state.intervalStep = settingsIntervalStep(view.pollingInterval);
  state.applyInterval = fmt::format("Apply {:.1f} second interval", view.pollingInterval);
  state.spokenInterval = fmt::format("{:.1f} seconds", view.pollingInterval);
  state.overheatAlerts = view.overheatAlertsEnabled;
  state.threshold = static_cast<int>(std::lround(view.overheatThreshold));
  state.thresholdText = fmt::format("{} °C", state.threshold);
  state.version = fmt::format("{} ({})", version.shortVersion.value_or(std::string(missing)),
                              version.build.value_or(std::string(missing)));
  return state;
}

}  // namespace halcyra
