#include "App/AppModel.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

#include "fmt/format.h"

#include "App/StoredNumber.h"
#include "Helpers/PresetSelectionStore.h"
#include "Helpers/ThermalControlCompatibility.h"

namespace halcyra {

namespace {

std::string readHardwareModelIdentifier(const SystemInformation& system) {
  const auto model = system.sysctlString("hw.model");
  return model && !model->empty() ? *model : std::string("Unknown Mac");
}

}  // namespace

std::shared_ptr<AppModel> AppModel::make(Platform& platform, const AppModelOptions& options) {
  std::shared_ptr<AppModel> model(new AppModel(platform));
  model->start(options);
  return model;
}

AppModel::AppModel(Platform& platform)
    : platform_(platform),
      logger_(platform.log, "com.norwick.Halcyra", "Setup"),
      replies_(platform.dispatch.mainQueue()),
      errors_(objectWillChange_),
      helper_(HelperClient::make(platform)),
      machine_(objectWillChange_, readHardwareModelIdentifier(platform.system), helper_->installState()),
      thermal_(objectWillChange_, logger_),
      history_(objectWillChange_),
      alert_(platform, objectWillChange_, replies_, errors_, logger_),
      library_(platform, objectWillChange_, errors_),
      telemetry_(platform, replies_,
                 {.polling = [this] { polling(); },
                  .received = [this](TelemetrySnapshot snapshot) { received(std::move(snapshot)); },
                  .failed = [this](const Error& error, bool isStale) { telemetryFailed(error, isStale); }}),
      control_({platform, objectWillChange_, replies_, logger_, errors_, telemetry_, thermal_, machine_}, helper_),
      pollingInterval_(objectWillChange_, storedNumber(platform.userDefaults, "pollingInterval", defaultPollingInterval,
                                                       minimumPollingInterval, maximumPollingInterval)),
      launchAtLogin_(objectWillChange_, platform.serviceManagement.mainAppStatus() == ServiceManagement::enabled) {}

AppModel::~AppModel() {
  if (observesPower_) {
    platform_.power.observe({}, {});
  }
}

void AppModel::start(const AppModelOptions& options) {
  replies_.bind(weak_from_this());
  control_.remember(options.preset ? *options.preset
                                   : PresetSelectionStore(platform_.userDefaults).load(library_.menuOrder()));
  helper_->setSessionErrorHandler(replies_.whileAlive([this](const Error& error) { control_.sessionLost(error); }));
  if (options.refreshHelperRegistration) {
    return;
  }
  try {
    telemetry_.open();
  } catch (const LocalizedError& error) {
    errors_.set(ErrorCause::telemetry, error.errorDescription());
  }
  observePower();
  restartPolling();
}

std::optional<std::string> AppModel::visibleError() const {
  return errors_.last() == control_.conflictMessage() ? std::nullopt : errors_.last();
}

// --- Polling

void AppModel::setPollingInterval(double seconds) {
  if (std::isfinite(seconds)) {
    pollingInterval_ = std::clamp(seconds, minimumPollingInterval, maximumPollingInterval);
  }
}

void AppModel::restartPolling() {
  if (telemetry_.isActive()) {
    platform_.userDefaults.setNumber("pollingInterval", *pollingInterval_);
  }
  telemetry_.start(Seconds{*pollingInterval_});
}

void AppModel::polling() {
  if (const auto changed = library_.follow(activePreset())) {
    control_.presetEdited(*changed);
  }
  control_.polling();
}

void AppModel::received(TelemetrySnapshot snapshot) {
  machine_.helperState = snapshot.helperState;
  if (!snapshot.fans.empty()) {
    machine_.fans = std::move(snapshot.fans);
  }
  machine_.thermalControlSupported = ThermalControlCompatibility::allowsControl(
      machine_.modelIdentifier, snapshot.average.hasValidatedFanZoneTopology);
  machine_.isKnown = true;
  thermal_.apply(snapshot.average, platform_.clock.steadyNow());
  const Date now = platform_.clock.now();
  machine_.lastSampleDate = now;
  if (telemetry_.hasFailed() && errors_.clearAllBut(ErrorCause::conflict)) {
    logger_.log("cleared resolved error after telemetry recovery");
  }
  errors_.clear(ErrorCause::telemetry);
  history_.record(fans(), snapshot.average, thermal(), snapshot.readings, now);
  if (thermal_.isEstablished()) {
    alert_.check(displayTemperature().value_or(snapshot.average.thermalDisplayTemperature()));
  }
  machine_.sensorReadings = std::move(snapshot.readings);
  control_.received(snapshot.fansWithBadLimits);
}

void AppModel::telemetryFailed(const Error& error, bool isStale) {
  errors_.set(ErrorCause::telemetry, error.localizedDescription());
  if (isStale) {
    thermal_.clear();
    thermal_.clearControlTemperature();
    machine_.lastSampleDate = std::nullopt;
  }
  control_.telemetryFailed(isStale);
}

void AppModel::observePower() {
  observesPower_ = true;
  platform_.power.observe(
      [weak = weak_from_this()](std::function<void()> allowSleep) {
        if (const auto self = weak.lock()) {
          self->control_.willSleep(std::move(allowSleep));
        } else {
          allowSleep();
        }
      },
      replies_.whileAlive([this] {
        control_.didWake();
        restartPolling();
      }));
}

// --- Fan control and the end

void AppModel::prepareForTermination(std::function<void()> completion, std::function<void()> notice) {
  control_.terminate(std::move(notice), [weak = weak_from_this(), completion = std::move(completion)] {
    if (const auto self = weak.lock()) {
      self->helper_->invalidate();
      self->telemetry_.close();
    }
    if (completion) {
      completion();
    }
  });
}

// --- The helper and the login item

void AppModel::installHelper() {
  logger_.log("installHelper invoked");
  std::optional<std::string> failure;
  try {
    helper_->install();
  } catch (const LocalizedError& error) {
    failure = error.errorDescription();
  }
  refreshHelperState();
  const std::string_view state = rawValue(helperState());
  const bool requiresApproval = helperState() == HelperInstallState::requiresApproval;
  if (failure) {
    logger_.log(fmt::format("helper register threw {}; state={}", *failure, state));
  } else {
    logger_.log(fmt::format("helper register returned; state={}", state));
  }
  if (failure && !requiresApproval) {
    errors_.set(ErrorCause::helper, *failure);
  } else {
    errors_.clear(ErrorCause::helper);
  }
  if (requiresApproval) {
    openLoginItemsSettings();
  }
}

void AppModel::uninstallHelper() {
  const auto uninstall = replies_.whileAlive([this] {
    helper_->uninstall(replies_.onMain([this](const std::optional<Error>& error) {
      refreshHelperState();
      errors_.clearAll();
      if (error) errors_.set(ErrorCause::helper, error->localizedDescription());
    }));
  });
  control_.handBack({.reason = "helper uninstall", .selection = Selection::drop}, uninstall);
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
    errors_.clear(ErrorCause::loginItem);
  } catch (const LocalizedError& error) {
    errors_.set(ErrorCause::loginItem, error.errorDescription());
  }
  launchAtLogin_ = platform_.serviceManagement.mainAppStatus() == ServiceManagement::enabled;
}

// --- The preset library

void AppModel::createCustomPreset() {
  const FanPreset preset = library_.makePreset();
  savePreset(preset);
  activate(preset);
}

void AppModel::savePreset(const FanPreset& preset) {
  if (!library_.accepts(preset)) {
    return;
  }
  control_.presetEdited(library_.put(preset));
  library_.persist();
}

void AppModel::duplicatePreset(const FanPreset& preset) {
  if (preset.kind != PresetKind::custom) {
    return;
  }
  FanPreset copy = preset;
  copy.id = UUID::random();
  copy.name += " Copy";
  savePreset(copy);
}

void AppModel::deletePreset(const FanPreset& preset) {
  if (preset.isLocked()) {
    return;
  }
  const UUID id = preset.id;
  control_.presetDeleted(id);
  library_.remove(id);
  library_.persist();
}

}  // namespace halcyra
