#include "App/AppModel.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>
#include <variant>

#include "fmt/format.h"
#include "fmt/ranges.h"

#include "App/AppModelReplies.h"
#include "Helpers/ThermalControlCompatibility.h"

namespace halcyra {

namespace {

constexpr std::string_view unknownModel = "Unknown Mac";
constexpr std::size_t sustainedDieSampleCount = 3;
/// Every call may take 60 ms until then.
constexpr Seconds lateRead{30};

constexpr FanZoneThermalFilter::Parameters zoneFilterParameters{.initialValue = std::nullopt,
                                                                .risingAlpha = 0.45,
                                                                .fallingAlpha = 0.18,
                                                                .deadband = 0.35,
                                                                .coolingThreshold = 1.0,
                                                                .coolingHold = Seconds{8.0}};

/// A stored 0 counts as absent.
double storedNumber(const UserDefaults& defaults, std::string_view key, double fallback, double low, double high) {
  const double stored = defaults.number(key).value_or(0.0);
  return stored == 0.0 || !std::isfinite(stored) ? fallback : std::clamp(stored, low, high);
}

std::string readHardwareModelIdentifier(const SystemInformation& system) {
  const auto model = system.sysctlString("hw.model");
  return model && !model->empty() ? *model : std::string(unknownModel);
}

}  // namespace

std::shared_ptr<AppModel> AppModel::make(Platform& platform, AppModelOptions options) {
  std::shared_ptr<AppModel> model(new AppModel(platform));
  model->start(options);
  return model;
}

AppModel::AppModel(Platform& platform)
    : platform_(platform),
      logger_(platform.log, "com.norwick.Halcyra", "Setup"),
      helper_(HelperClient::make(platform)),
      curveManager_(platform.userDefaults),
      selectionStore_(platform.userDefaults),
      ownershipStore_(platform.userDefaults),
      hardwareModelIdentifier_(readHardwareModelIdentifier(platform.system)),
      helperState_(objectWillChange_, helper_->installState()),
      fanControlOwnership_(objectWillChange_, ownershipStore_.load()),
      activePreset_(objectWillChange_, FanPreset::systemDefault()),
      customPresets_(objectWillChange_, curveManager_.loadCustomPresets()),
      supervisedTestPassed_(objectWillChange_, platform.userDefaults.integer("supervisedFanTestProtocolVersion") ==
                                                   supervisedTestProtocolVersion),
      pollingInterval_(objectWillChange_, storedNumber(platform.userDefaults, "pollingInterval", defaultPollingInterval,
                                                       minimumPollingInterval, maximumPollingInterval)),
      launchAtLogin_(objectWillChange_, platform.serviceManagement.mainAppStatus() == ServiceManagement::enabled),
      overheatAlertsEnabled_(objectWillChange_, platform.userDefaults.boolean("overheatAlertsEnabled").value_or(false)),
      overheatThreshold_(objectWillChange_,
                         storedNumber(platform.userDefaults, "overheatThreshold", defaultOverheatThreshold,
                                      minimumOverheatThreshold, maximumOverheatThreshold)),
      telemetryPoller_(std::make_unique<TelemetryPoller>(platform)),
      competingControllerQueue_(
          platform.dispatch.makeSerialQueue("com.norwick.Halcyra.controller-scan", QualityOfService::utility)) {}

AppModel::~AppModel() {
  timer_.reset();
  conflictTimer_.reset();
  if (observesPower_) {
    platform_.power.observe({}, {});
  }
  telemetryPoller_->close();
}

void AppModel::start(AppModelOptions options) {
  activePreset_ = selectionStore_.load(FanPreset::menuOrder(*customPresets_));
  if (activePreset_->kind != PresetKind::system) {
    presetPendingRestore_ = *activePreset_;
  }
  helper_->setSessionErrorHandler([weak = weak_from_this()](const Error& error) {
    if (const auto self = weak.lock()) {
      self->handleSessionLoss(error);
    }
  });
  if (options.refreshHelperRegistration) {
    return;
  }
  try {
    telemetryPoller_->open();
  } catch (const LocalizedError& error) {
    lastError_ = error.errorDescription();
  }
  observePowerLifecycle();
  restartPolling();
}

std::optional<std::string> AppModel::visibleError() const {
  return *lastError_ == activeConflictMessage_ ? std::nullopt : *lastError_;
}

ControlStatus AppModel::controlStatus() const {
  using Kind = ControlStatus::Kind;
  const bool isSelected = activePreset_->kind != PresetKind::system;
  if (*isBusy_) return {isSelected && !handBackIsOwed_ ? Kind::starting : Kind::handingBack, ""};
  if (!isSelected) return {Kind::firmware, ""};
  if (hasHelperSession()) return {Kind::driving, ""};
  if (*fanControlOwnership_ == FanControlOwnership::anotherApp)
    return {Kind::monitoringOnly, "another app controls the fans"};
  if (competingController_->has_value()) return {Kind::paused, **competingController_};
  if (!lastTemperatureSampleDate_->has_value()) return {Kind::waitingForTemperatures, ""};
  if (!*thermalControlSupported_) return {Kind::monitoringOnly, "this Mac is not validated"};
  if (*helperState_ != HelperInstallState::enabled) return {Kind::monitoringOnly, "the helper is not approved"};
  if (!*supervisedTestPassed_) return {Kind::monitoringOnly, "the supervised fan test has not passed"};
  return {Kind::starting, ""};
}

double AppModel::zoneTemperature(int fan, double fallback) const {
  const auto zone = fanControlTemperatures_->find(fan);
  return zone != fanControlTemperatures_->end() ? zone->second : controlTemperature_->value_or(fallback);
}

void AppModel::setPollingInterval(double seconds) {
  if (std::isfinite(seconds)) {
    pollingInterval_ = std::clamp(seconds, minimumPollingInterval, maximumPollingInterval);
  }
}

void AppModel::restartPolling() {
  timer_.reset();
  if (powerLifecycle_.isSleeping() || isTerminating_) {
    return;
  }
  platform_.userDefaults.setNumber("pollingInterval", *pollingInterval_);
  // A read from before a sleep is not late by the sleep.
  pollBegan_ = platform_.clock.steadyNow();
  const Seconds period{*pollingInterval_};
  timer_ = platform_.dispatch.mainQueue().startTimer(period, period, Seconds{0}, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) {
      self->poll();
    }
  });
  poll();
}

void AppModel::poll() {
  if (powerLifecycle_.isSleeping() || isTerminating_) {
    return;
  }
  followSettings();
  requestCompetingControllerRefresh();
  if (pollInFlight_) {
    pollRequested_ = true;
    noteLateRead();
    return;
  }
  pollInFlight_ = true;
  pollBegan_ = platform_.clock.steadyNow();
  telemetryPoller_->read(onMain([generation = powerLifecycle_.generation()](AppModel& self, TelemetryResult result) {
    self.finishPoll();
    if (!self.powerLifecycle_.accepts(generation)) {
      return;
    }
    if (auto* snapshot = std::get_if<TelemetrySnapshot>(&result)) {
      self.helperState_ = snapshot->helperState;
      self.applySnapshot(std::move(snapshot->fans), snapshot->average, std::move(snapshot->readings));
    } else {
      self.handlePollError(std::get<Error>(result));
    }
  }));
}

// A driver that takes seconds for each call delivers neither a reading nor an error, and the fans would be driven by
// what was read before. Nor are they driven by what such a read delivers in the end.
void AppModel::noteLateRead() {
  if (platform_.clock.steadyNow() - pollBegan_ < lateRead) {
    return;
  }
  handlePollError(SMCError::readFailed("the sensors have not been read for 30 seconds").asError());
  if (isTelemetryStale()) {
    powerLifecycle_.invalidatePendingPolls();
  }
}

void AppModel::finishPoll() {
  pollInFlight_ = false;
  if (std::exchange(pollRequested_, false) && !powerLifecycle_.isSleeping()) {
    onMain([](AppModel& self) { self.poll(); })();
  }
}

void AppModel::applySnapshot(std::vector<FanInfo> fans, const CPUCoreAverage& average,
                             std::vector<SensorReading> readings) {
  if (!fans.empty()) {
    fans_ = std::move(fans);
  }
  publishAggregates(average);
  thermalControlSupported_ =
      ThermalControlCompatibility::allowsControl(hardwareModelIdentifier_, average.hasValidatedFanZoneTopology);
  const double rawTemperature = average.thermalDisplayTemperature();
  thermal_.displayPipeline.update(rawTemperature);
  displayTemperature_ = thermal_.displayPipeline.value();

  const Date date = filterDate();
  updateCriticalOverride(rawTemperature, date);
  updateSustainedDie(average, date);
  updateZones(average, date);
  lastTemperatureSampleDate_ = now();
  noteTelemetryRecovery();

  recordHistory(average, readings);
  if (thermal_.displayPipeline.isEstablished()) {
    checkOverheat(displayTemperature_->value_or(rawTemperature));
  }
  sensorReadings_ = std::move(readings);

  if (activePreset_->kind != PresetKind::system && !hasHelperSession() && !presetPendingRestore_) {
    presetPendingRestore_ = *activePreset_;
  }
  restoreRememberedPresetIfReady();
  seeToOwedHandBack(true);
  takeFansThatReturned();
  controlFans();
}

void AppModel::publishAggregates(const CPUCoreAverage& average) {
  cpuCoreAverage_ = average.temperature;
  gpuCoreAverage_ = average.gpuAverageTemperature;
  cpuCoreMaximum_ = average.cpuMaximumTemperature;
  efficiencyCoreMaximum_ = average.efficiencyMaximumTemperature;
  performanceCoreMaximum_ = average.performanceMaximumTemperature;
  gpuCoreMaximum_ = average.gpuMaximumTemperature;
  cpuDieHotspotTemperature_ = average.hotspotTemperature;
  gpuDieHotspotTemperature_ = average.gpuHotspotTemperature;
}

void AppModel::updateCriticalOverride(double temperature, Date now) {
  const bool wasActive = *criticalThermalOverrideActive_;
  criticalThermalOverrideActive_ = thermal_.criticalThermalOverride.update(temperature, now);
  if (*criticalThermalOverrideActive_ && !wasActive) {
    logger_.error(fmt::format(
        "critical raw-die override engaged at {:f}°C; all manually controlled fans will run at maximum", temperature));
  } else if (!*criticalThermalOverrideActive_ && wasActive) {
    logger_.log("critical raw-die override cleared after sustained cooling");
  }
}

void AppModel::updateSustainedDie(const CPUCoreAverage& average, Date now) {
  // An absent hotspot compares below every present one.
  const std::optional<double> hottest = std::max(average.hotspotTemperature, average.gpuHotspotTemperature);
  sustainedDieTemperature_ =
      hottest ? thermal_.sustainedDieFilter.update(*hottest) : thermal_.sustainedDieFilter.noteMissingSample();
  auto& samples = thermal_.sustainedDieSamples;
  if (!sustainedDieTemperature_->has_value()) {
    samples.clear();
    return;
  }
  samples.emplace_back(now, **sustainedDieTemperature_);
  if (samples.size() > sustainedDieSampleCount) {
    samples.erase(samples.begin());
  }
}

void AppModel::updateZones(const CPUCoreAverage& average, Date now) {
  thermal_.zoneReadings.clear();
  std::map<int, double> temperatures;
  std::map<int, std::string> drivers;
  for (const FanZoneReading& reading : average.fanZoneReadings) {
    // Of two readings for one fan the first is kept.
    if (!thermal_.zoneReadings.emplace(reading.fanIndex, reading).second) {
      continue;
    }
    auto& filter = thermal_.zoneFilters.try_emplace(reading.fanIndex, zoneFilterParameters).first->second;
    temperatures[reading.fanIndex] = filter.update(reading.temperature, now);
    drivers[reading.fanIndex] = reading.driver;
  }
  std::optional<double> hottest;
  for (const auto& [fan, temperature] : temperatures) {
    hottest = std::max(hottest, std::optional(temperature));
  }
  fanControlTemperatures_ = std::move(temperatures);
  fanControlDrivers_ = std::move(drivers);
  controlTemperature_ = hottest ? hottest : std::max(std::optional(average.temperature), average.gpuAverageTemperature);
}

void AppModel::noteTelemetryRecovery() {
  if (consecutiveTelemetryFailures_ >= 1) {
    clearErrorUnlessConflict("cleared resolved error after telemetry recovery");
  }
  consecutiveTelemetryFailures_ = 0;
}

void AppModel::controlFans() {
  if (*fanControlOwnership_ != FanControlOwnership::aerovane) {
    return;
  }
  switch (activePreset_->kind) {
    case PresetKind::system:
      return;
    case PresetKind::automatic:
      return applySmartAuto();
    case PresetKind::fullBlast:
      return followPreset();
    case PresetKind::custom:
      if (activePreset_->strategy) {
        followPreset();
      }
      return;
  }
}

void AppModel::handlePollError(const Error& error) {
  ++consecutiveTelemetryFailures_;
  showError(error);
  if (!isTelemetryStale()) {
    return;
  }
  clearDerivedThermalState();
  controlTemperature_ = std::nullopt;
  lastTemperatureSampleDate_ = std::nullopt;
  seeToOwedHandBack(false);
  // Busy without a session: the start of one is out, and must not lead to driven fans any more.
  if (activePreset_->kind != PresetKind::system && (hasHelperSession() || *isBusy_)) {
    resetToAutomatic("Thermal or fan telemetry became stale", true, true, {});
  }
}

void AppModel::clearDerivedThermalState() {
  thermal_.reset();
  fanControlTemperatures_ = {};
  fanControlDrivers_ = {};
  sustainedDieTemperature_ = std::nullopt;
  criticalThermalOverrideActive_ = false;
  displayTemperature_ = std::nullopt;
}

void AppModel::clearErrorUnlessConflict(const char* logMessage) {
  if (lastError_->has_value() && *lastError_ != activeConflictMessage_) {
    logger_.log(logMessage);
    lastError_ = std::nullopt;
  }
}

void AppModel::logFanDecision(int fan, std::int64_t target, std::string_view reason) {
  const auto found = thermal_.zoneReadings.find(fan);
  if (found == thermal_.zoneReadings.end()) {
    return;
  }
  const FanZoneReading& zone = found->second;
  const auto filtered = fanControlTemperatures_->find(fan);
  logger_.log(fmt::format(
      "fan-zone decision fan={} zone={} driver={} keys={} raw={:f}°C filtered={:f}°C sustainedDie={}°C target={}RPM "
      "reason={}",
      fan, zone.zoneName, zone.driver, fmt::join(zone.contributingKeys, ","), zone.temperature,
      filtered != fanControlTemperatures_->end() ? filtered->second : zone.temperature,
      sustainedDieTemperature_->has_value() ? fmt::format("{:.2f}", **sustainedDieTemperature_) : "n/a", target,
      reason));
  smartAuto_.lastLoggedZoneDriver[fan] = zone.driver;
}

void AppModel::logDriverTransitionIfNeeded(int fan, std::int64_t target) {
  const auto zone = thermal_.zoneReadings.find(fan);
  if (zone == thermal_.zoneReadings.end()) {
    return;
  }
  const auto logged = smartAuto_.lastLoggedZoneDriver.find(fan);
  if (logged == smartAuto_.lastLoggedZoneDriver.end() || logged->second != zone->second.driver) {
    logFanDecision(fan, target, "zone source changed");
  }
}

}  // namespace halcyra
