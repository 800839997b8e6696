#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "App/AppModelState.h"
#include "App/Control/ControlStatus.h"
#include "App/HistorySample.h"
#include "App/Published.h"
#include "Client/HelperClient.h"
#include "Client/TelemetryPoller.h"
#include "Helpers/CoalescedRefreshState.h"
#include "Helpers/FanControlOwnership.h"
#include "Helpers/FanCurveManager.h"
#include "Helpers/FanPreset.h"
#include "Helpers/PowerLifecycleState.h"
#include "Helpers/PresetSelectionStore.h"
#include "Helpers/SensorReader.h"
#include "Platform/Platform.h"
#include "SMC/FanInfo.h"

namespace halcyra {

struct AppModelOptions {
  /// The process only refreshes the helper's registration: the model neither opens the SMC nor polls.
  bool refreshHelperRegistration = false;
};

/// The one observable model of the application: it polls the telemetry, decides what the fans should do, and has the
/// privileged helper do it. Main queue only, destruction included. Held by `std::shared_ptr`; timers and replies hold
/// it weakly. Commands report failure through `lastError()`.
///
/// Every asynchronous continuation of fan control carries the control generation of its request and is dropped when
/// an activation, a hand-back or the loss of the session has opened a new one meanwhile.
class AppModel : public std::enable_shared_from_this<AppModel> {
 public:
  using Subscription = ChangeSignal::Subscription;
  using SensorHistory = std::map<std::string, std::vector<float>>;

  static constexpr std::int64_t supervisedTestProtocolVersion = 1;
  /// Seconds.
  static constexpr double minimumPollingInterval = 1.0;
  static constexpr double maximumPollingInterval = 5.0;
  static constexpr double defaultPollingInterval = 2.0;
  /// °C.
  static constexpr double minimumOverheatThreshold = 40.0;
  static constexpr double maximumOverheatThreshold = 100.0;
  static constexpr double defaultOverheatThreshold = 85.0;
  static constexpr std::int64_t historySampleLimit = 21600;
  static constexpr std::int64_t historyTrimBatchSize = 600;
  static constexpr Seconds overheatCooldown{300.0};
  /// How long a failed activation rests before the preset is restored.
  static constexpr Seconds restoreRetryDelay{5.0};
  static constexpr Seconds ownershipRestoreDelay{1.0};
  static constexpr Seconds conflictScanPeriod{0.5};
  /// RPM; a fan whose commanded and reported targets are both closer than this to the wanted one is left alone.
  static constexpr std::int64_t targetToleranceRPM = 50;
  /// °C that Smart Auto assumes where there is no temperature at all.
  static constexpr double smartAutoFallbackTemperature = 55.0;

  /// Loads the settings and starts polling. `platform` outlives the model.
  static std::shared_ptr<AppModel> make(Platform& platform, AppModelOptions options = {});
  ~AppModel();
  AppModel(const AppModel&) = delete;
  AppModel& operator=(const AppModel&) = delete;

  /// `willChange` is called before every change of a published value, several times within one poll: to be answered
  /// with a refresh in a later turn of the main queue.
  [[nodiscard]] Subscription observe(std::function<void()> willChange) {
    return objectWillChange_.observe(std::move(willChange));
  }

  // Published values. Temperatures in °C; absent where there is no trustworthy value.

  /// Those of the last poll that reported any.
  const std::vector<FanInfo>& fans() const { return *fans_; }
  const std::optional<double>& cpuCoreAverage() const { return *cpuCoreAverage_; }
  const std::optional<double>& gpuCoreAverage() const { return *gpuCoreAverage_; }
  const std::optional<double>& cpuCoreMaximum() const { return *cpuCoreMaximum_; }
  const std::optional<double>& efficiencyCoreMaximum() const { return *efficiencyCoreMaximum_; }
  const std::optional<double>& performanceCoreMaximum() const { return *performanceCoreMaximum_; }
  const std::optional<double>& gpuCoreMaximum() const { return *gpuCoreMaximum_; }
  const std::optional<double>& cpuDieHotspotTemperature() const { return *cpuDieHotspotTemperature_; }
  const std::optional<double>& gpuDieHotspotTemperature() const { return *gpuDieHotspotTemperature_; }
  /// When the last poll was applied.
  const std::optional<Date>& lastTemperatureSampleDate() const { return *lastTemperatureSampleDate_; }
  /// The smoothed hottest live temperature.
  const std::optional<double>& displayTemperature() const { return *displayTemperature_; }
  /// The hottest zone.
  const std::optional<double>& controlTemperature() const { return *controlTemperature_; }
  /// The smoothed zone temperature of each fan, by fan index.
  const std::map<int, double>& fanControlTemperatures() const { return *fanControlTemperatures_; }
  /// What drives each zone, by fan index.
  const std::map<int, std::string>& fanControlDrivers() const { return *fanControlDrivers_; }
  const std::optional<double>& sustainedDieTemperature() const { return *sustainedDieTemperature_; }
  bool criticalThermalOverrideActive() const { return *criticalThermalOverrideActive_; }
  /// Whether this machine's sensors and fans are validated for control.
  bool thermalControlSupported() const { return *thermalControlSupported_; }
  HelperInstallState helperState() const { return *helperState_; }
  /// The name of a fan utility of another vendor that is running.
  const std::optional<std::string>& competingController() const { return *competingController_; }
  FanControlOwnership fanControlOwnership() const { return *fanControlOwnership_; }
  /// The selected preset, whether or not it is driving the fans at the moment.
  const FanPreset& activePreset() const { return *activePreset_; }
  const std::vector<FanPreset>& customPresets() const { return *customPresets_; }
  const std::optional<std::string>& lastError() const { return *lastError_; }
  /// Fan control is being taken, tested or handed back.
  bool isBusy() const { return *isBusy_; }
  /// What drives the fans now, and what is missing when the selected preset does not.
  ControlStatus controlStatus() const;
  bool supervisedTestPassed() const { return *supervisedTestPassed_; }
  /// Seconds.
  double pollingInterval() const { return *pollingInterval_; }
  bool launchAtLogin() const { return *launchAtLogin_; }
  bool overheatAlertsEnabled() const { return *overheatAlertsEnabled_; }
  double overheatThreshold() const { return *overheatThreshold_; }
  /// Oldest first.
  const std::vector<HistorySample>& history() const { return *history_; }
  /// The temperature channels of the last poll.
  const std::vector<SensorReading>& sensorReadings() const { return *sensorReadings_; }

  // Derived values.

  /// `lastError`, unless the conflict banner says the same.
  std::optional<std::string> visibleError() const;
  /// One value per history sample for every sensor key, NaN where the sensor had none.
  const SensorHistory& sensorHistory() const { return sensorHistory_; }
  const std::optional<std::string>& activeConflictMessage() const { return activeConflictMessage_; }
  /// The fans that the present session may drive.
  const std::set<int>& controllableFanIndices() const { return control_.controllableFanIndices; }
  const std::string& hardwareModelIdentifier() const { return hardwareModelIdentifier_; }
  bool hasHelperSession() const { return helper_->sessionID().has_value(); }
  /// The temperature that drives the fan `fan`.
  double zoneTemperature(int fan, double fallback) const;

  // Polling.

  /// Asks for one read now; requests made while one is out fold into one more.
  void poll();
  /// Starts the polling timer anew with the present interval, which is stored.
  void restartPolling();
  /// Seconds, limited to 1…5. Takes effect with `restartPolling`.
  void setPollingInterval(double seconds);

  // Fan control.

  /// Selects a preset and has it drive the fans. Ignored while busy. With `quietTransientRetry` a passing failure to
  /// start the session is not shown and tried again later.
  void activate(const FanPreset& preset, bool quietTransientRetry);
  /// Hands every fan back to the system. `reason` goes to the log. With `preservingSelection` the preset stays
  /// selected and is restored when conditions allow; without it Apple Default is selected. `completion` (may be
  /// empty) is called exactly once, on the main queue: at once when there is no session, else after the helper's
  /// answers.
  void resetToAutomatic(const std::string& reason, bool preservingSelection, bool resumePolling,
                        std::function<void()> completion);
  void setFanControlOwnership(FanControlOwnership ownership);
  /// Has the helper drive one fan once and hand it back, which must succeed before any preset may drive the fans.
  void runSupervisedFan0Test();

  // Helper, login item, end of the process.

  void installHelper();
  void uninstallHelper();
  void openLoginItemsSettings();
  void setLaunchAtLogin(bool enabled);
  /// Stops everything, hands the fans back, then calls `completion`, on the main queue. One-way.
  void prepareForTermination(std::function<void()> completion);

  // Overheat alerts.

  void setOverheatAlertsEnabled(bool enabled);
  /// °C, limited to 40…100.
  void setOverheatThreshold(double temperature);
  void sendTestNotification();

  // Preset library.

  void createCustomPreset();
  /// Replaces the preset with the same id or appends it.
  void savePreset(const FanPreset& preset);
  void duplicatePreset(const FanPreset& preset);
  void deletePreset(const FanPreset& preset);
  void exportCustomPresets();
  void importCustomPresets();

 private:
  /// Hands polls to the model past the poller, for tests and measurements.
  friend struct AppModelAccess;

  using ErrorCompletion = std::function<void(AppModel&, std::optional<Error>)>;
  struct HandBack {
    std::optional<Error> resetError;
    std::optional<Error> endError;
  };

  explicit AppModel(Platform& platform);

  // AppModelReplies.h

  /// A callback for any thread that runs `handler` on the main queue, with the model first, if it still lives.
  template <typename Handler>
  auto onMain(Handler handler);
  /// The same for control: nothing happens when the control generation is no longer `generation`.
  template <typename Handler>
  auto onMainWithin(std::uint64_t generation, Handler handler);
  /// The same for an answer to the start of a session. A session that is not wanted any more is ended at once.
  template <typename Handler>
  HelperClient::DictionaryCompletion onSessionStart(std::uint64_t generation, Handler handler);

  // AppModel.cpp
  void start(AppModelOptions options);
  void noteLateRead();
  bool isTelemetryStale() const { return consecutiveTelemetryFailures_ >= staleTelemetryFailures; }
  void finishPoll();
  void applySnapshot(std::vector<FanInfo> fans, const CPUCoreAverage& average, std::vector<SensorReading> readings);
  void publishAggregates(const CPUCoreAverage& average);
  void updateCriticalOverride(double temperature, Date now);
  void updateSustainedDie(const CPUCoreAverage& average, Date now);
  void updateZones(const CPUCoreAverage& average, Date now);
  void noteTelemetryRecovery();
  void controlFans();
  void handlePollError(const Error& error);
  void clearDerivedThermalState();
  void logFanDecision(int fan, std::int64_t target, std::string_view reason);
  void logDriverTransitionIfNeeded(int fan, std::int64_t target);
  Date now() const { return platform_.clock.now(); }
  /// For the filters, which look at differences only: goes on evenly when the wall clock is stepped. A clock set back
  /// an hour would otherwise hold the critical override, and every step down, for that hour.
  Date filterDate() const { return Date(platform_.clock.steadyNow().time_since_epoch()); }
  void showError(const Error& error) { lastError_ = error.localizedDescription(); }
  void clearErrorUnlessConflict(const char* logMessage);

  // AppModelActivation.cpp
  void activateAppleDefault();
  bool refuseActivation();
  void select(const FanPreset& preset);
  bool deferActivation();
  void beginActivation(const FanPreset& preset, bool quietTransientRetry);
  void continueActivation(const FanPreset& preset, bool quietTransientRetry, std::optional<Error> error);
  void enableActivePreset();
  void finishActivation(const FanPreset& preset, const std::optional<Error>& error);
  void enableFansSequentially(std::vector<int> indices, const FanPreset& preset, std::uint64_t generation,
                              const ErrorCompletion& completion);
  void enableFan(int index, const FanPreset& preset, std::uint64_t generation, const ErrorCompletion& completion);
  void setInitialTarget(int index, const FanPreset& preset, std::uint64_t generation,
                        const ErrorCompletion& completion);
  /// The first target of an activation and, of every preset but Smart Auto, the target of each poll.
  std::int64_t initialTarget(const FanInfo& fan, const FanPreset& preset);
  void restoreRememberedPresetIfReady();
  static bool isTransientBeginFailure(const Error& error);
  const FanInfo* publishedFan(int index) const;

  // AppModelHandBack.cpp
  void failSafe(const Error& error);
  void handleSessionLoss(const Error& error);
  void handBack(std::function<void(const HandBack&)> finished);
  void finishReset(std::uint64_t generation, bool preservingSelection, bool resumePolling, const HandBack& result);
  std::string conflictMessage(const std::string& name) const;
  void keepSelectionForRestore();
  void askForManualMode(int fan, const HelperClient::DictionaryCompletion& completion);
  void seeToOwedHandBack(bool fansWereRead);
  void postponeRestore(Seconds delay) { nextRestoreAttempt_ = platform_.clock.steadyNow() + delay; }
  void openControlGeneration();

  // AppModelControl.cpp
  /// Writes the targets of a curve or a fixed speed.
  void followPreset();
  void applySmartAuto();
  void applySmartAuto(const FanInfo& fan, std::optional<double> dieTemperature, Date date);
  void commandSmartAuto(const FanInfo& fan, std::int64_t commanded, std::int64_t next, bool dieFloorDriven);
  void noteSmartTier(int fan, double temperature);
  static HysteresisCurve newCurve(int fan, const FanPreset& preset);
  /// Evaluates the fan's curve, made anew when there is none.
  std::int64_t curveTarget(const FanInfo& fan, const FanPreset& preset);
  std::optional<std::int64_t> commandedTarget(int fan) const;
  bool isNearTarget(const FanInfo& fan, std::int64_t target) const;
  bool isControllingFans() const { return hasHelperSession() && !*isBusy_; }
  bool isUnderControl(const FanInfo& fan);
  bool hasUsableLimits(const FanInfo& fan);
  void noteMonitorOnlyFans();
  void takeFansThatReturned();
  void enqueueTargetWrite(int fan, std::int64_t target);
  void performTargetWrite(int fan, std::int64_t target, std::uint64_t generation);

  // AppModelSafety.cpp
  void observePowerLifecycle();
  void willSleep(std::function<void()> allowSleep);
  void didWake();
  void requestCompetingControllerRefresh();
  void runCompetingControllerRefresh();
  void startConflictMonitor();
  void applyCompetingController(const std::optional<std::string>& name);
  void noteCompetingController(const std::string& name);
  void noteCompetingControllerGone();
  /// Forgets the conflict message, wherever it is shown.
  void clearConflictMessage();

  // AppModelInstallation.cpp
  void refreshHelperState() { helperState_ = helper_->installState(); }

  // AppModelSupervisedTest.cpp
  void beginSupervisedTest(const PropertyList& status, std::uint64_t generation);
  void writeSupervisedTarget(int fan, std::int64_t target, std::uint64_t generation);
  void finishSupervisedTest(const std::optional<Error>& writeError, const PropertyList& resetReply,
                            const std::optional<Error>& resetError);
  void passSupervisedTest();
  void finishFailedTest(const Error& error);
  /// What a hand-back for `reason` means for a test that is running: it has failed.
  void interruptSupervisedTest(const std::string& reason);

  // AppModelHistory.cpp
  void recordHistory(const CPUCoreAverage& average, const std::vector<SensorReading>& readings);
  void recordSensors(const std::vector<SensorReading>& readings, std::size_t position);
  void checkOverheat(double temperature);
  void deliverNotification(const std::string& title, const std::string& body);
  void queueNotification(const std::string& title, const std::string& body);

  // AppModelLibrary.cpp
  bool persistCustomPresets(const char* errorPrefix);
  void followSettings();

  Platform& platform_;
  Logger logger_;
  std::shared_ptr<HelperClient> helper_;
  FanCurveManager curveManager_;
  /// As it was shown last.
  std::optional<std::string> settingsFailure_;
  PresetSelectionStore selectionStore_;
  FanControlOwnershipStore ownershipStore_;
  const std::string hardwareModelIdentifier_;

  ChangeSignal objectWillChange_;
  Published<std::vector<FanInfo>> fans_{objectWillChange_, {}};
  Published<std::optional<double>> cpuCoreAverage_{objectWillChange_, {}};
  Published<std::optional<double>> gpuCoreAverage_{objectWillChange_, {}};
  Published<std::optional<double>> cpuCoreMaximum_{objectWillChange_, {}};
  Published<std::optional<double>> efficiencyCoreMaximum_{objectWillChange_, {}};
  Published<std::optional<double>> performanceCoreMaximum_{objectWillChange_, {}};
  Published<std::optional<double>> gpuCoreMaximum_{objectWillChange_, {}};
  Published<std::optional<double>> cpuDieHotspotTemperature_{objectWillChange_, {}};
  Published<std::optional<double>> gpuDieHotspotTemperature_{objectWillChange_, {}};
  Published<std::optional<Date>> lastTemperatureSampleDate_{objectWillChange_, {}};
  Published<std::optional<double>> displayTemperature_{objectWillChange_, {}};
  Published<std::optional<double>> controlTemperature_{objectWillChange_, {}};
  Published<std::map<int, double>> fanControlTemperatures_{objectWillChange_, {}};
  Published<std::map<int, std::string>> fanControlDrivers_{objectWillChange_, {}};
  Published<std::optional<double>> sustainedDieTemperature_{objectWillChange_, {}};
  Published<bool> criticalThermalOverrideActive_{objectWillChange_, false};
  Published<bool> thermalControlSupported_{objectWillChange_, false};
  Published<HelperInstallState> helperState_;
  Published<std::optional<std::string>> competingController_{objectWillChange_, {}};
  Published<FanControlOwnership> fanControlOwnership_;
  Published<FanPreset> activePreset_;
  Published<std::vector<FanPreset>> customPresets_;
  Published<std::optional<std::string>> lastError_{objectWillChange_, {}};
  Published<bool> isBusy_{objectWillChange_, false};
  Published<bool> supervisedTestPassed_;
  Published<double> pollingInterval_;
  Published<bool> launchAtLogin_;
  Published<bool> overheatAlertsEnabled_;
  Published<double> overheatThreshold_;
  Published<std::vector<HistorySample>> history_{objectWillChange_, {}};
  Published<std::vector<SensorReading>> sensorReadings_{objectWillChange_, {}};

  SensorHistory sensorHistory_;
  /// The series of each reading of the last poll, by position; entries of `sensorHistory_` are never removed.
  std::vector<SensorHistory::value_type*> seriesOfReading_;
  std::optional<Instant> lastOverheatAlert_;

  /// To be activated again once every precondition holds.
  std::optional<FanPreset> presetPendingRestore_;
  Instant nextRestoreAttempt_ = restoreAtOnce;
  std::uint64_t controlGeneration_ = 0;
  ControlState control_;
  /// A fan was asked to be manual, and nothing has said since that all are automatic.
  bool handBackIsOwed_ = false;
  /// Until then it is left to the helper.
  Instant nextOwedHandBack_ = restoreAtOnce;
  SmartAutoState smartAuto_;
  FanTargetWriteCoalescer targetWriteCoalescer_;
  DerivedThermalState thermal_;
  /// Fans whose impossible limits have been logged.
  std::set<int> fansWithBadLimits_;
  /// Fans whose target could not be read in some poll since they were last seen under control.
  std::set<int> fansWithoutTarget_;
  /// Fans that the helper did not offer although their target could be read: no new session would change that.
  std::set<int> monitorOnlyFans_;
  bool supervisedTestRunning_ = false;
  bool observesPower_ = false;

  /// So many failed reads in a row make everything derived from telemetry worthless.
  static constexpr int staleTelemetryFailures = 2;
  int consecutiveTelemetryFailures_ = 0;
  bool pollInFlight_ = false;
  Instant pollBegan_{};
  bool pollRequested_ = false;
  PowerLifecycleState powerLifecycle_;
  bool isTerminating_ = false;
  std::optional<std::string> activeConflictMessage_;
  CoalescedRefreshState competingControllerRefresh_;

  std::unique_ptr<TelemetryPoller> telemetryPoller_;
  std::unique_ptr<Queue> competingControllerQueue_;
  std::unique_ptr<Timer> timer_;
  std::unique_ptr<Timer> conflictTimer_;
};

}  // namespace halcyra
