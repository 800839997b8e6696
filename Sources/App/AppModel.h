#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "App/Control/FanControl.h"
#include "App/Machine.h"
#include "App/ModelView.h"
#include "App/OverheatAlert.h"
#include "App/PresetLibrary.h"
#include "App/Published.h"
#include "App/Replies.h"
#include "App/SessionHistory.h"
#include "App/StandingErrors.h"
#include "App/Telemetry.h"
#include "App/ThermalState.h"
#include "Client/HelperClient.h"
#include "Platform/Platform.h"

namespace halcyra {

struct AppModelOptions {
  /// The process only refreshes the helper's registration: the model neither opens the SMC nor polls.
  bool refreshHelperRegistration = false;
  /// Takes the place of the remembered preset.
  std::optional<FanPreset> preset = std::nullopt;
};

/// The one observable model of the application: it owns the parts, publishes what they hold, and takes the user's
/// commands. Main queue only, destruction included. Held by `std::shared_ptr`; timers and replies hold it weakly.
/// Commands report failure through `lastError()`.
class AppModel : public std::enable_shared_from_this<AppModel> {
 public:
  using Subscription = ChangeSignal::Subscription;
  using SensorHistory = SessionHistory::SensorSeries;

  /// Seconds.
  static constexpr double minimumPollingInterval = 1.0;
  static constexpr double maximumPollingInterval = 5.0;
  static constexpr double defaultPollingInterval = 2.0;
  static constexpr double minimumOverheatThreshold = OverheatAlert::minimumThreshold;
  static constexpr double maximumOverheatThreshold = OverheatAlert::maximumThreshold;

  /// Loads the settings and starts polling. `platform` outlives the model.
  static std::shared_ptr<AppModel> make(Platform& platform, const AppModelOptions& options = {});
  ~AppModel();
  AppModel(const AppModel&) = delete;
  AppModel& operator=(const AppModel&) = delete;

  /// `willChange` is called before every change of a published value, several times within one poll: to be answered
  /// with a refresh in a later turn of the main queue.
  [[nodiscard]] Subscription observe(std::function<void()> willChange) {
    return objectWillChange_.observe(std::move(willChange));
  }
  /// Everything that the windows show, as it is now.
  ModelView view() const;

  // Published values. Temperatures in °C; absent where there is no trustworthy value.

  /// Those of the last poll that reported any.
  const std::vector<FanInfo>& fans() const { return *machine_.fans; }
  /// The temperatures that the readings have been turned into.
  const ThermalReadings& thermal() const { return thermal_.readings(); }
  const std::optional<double>& cpuCoreAverage() const { return thermal().cpuCoreAverage; }
  const std::optional<double>& gpuCoreAverage() const { return thermal().gpuCoreAverage; }
  const std::optional<double>& cpuCoreMaximum() const { return thermal().cpuCoreMaximum; }
  const std::optional<double>& efficiencyCoreMaximum() const { return thermal().efficiencyCoreMaximum; }
  const std::optional<double>& performanceCoreMaximum() const { return thermal().performanceCoreMaximum; }
  const std::optional<double>& gpuCoreMaximum() const { return thermal().gpuCoreMaximum; }
  const std::optional<double>& cpuDieHotspotTemperature() const { return thermal().cpuDieHotspot; }
  const std::optional<double>& gpuDieHotspotTemperature() const { return thermal().gpuDieHotspot; }
  /// When the last poll was applied.
  const std::optional<Date>& lastTemperatureSampleDate() const { return *machine_.lastSampleDate; }
  const std::optional<double>& displayTemperature() const { return thermal().display; }
  const std::optional<double>& controlTemperature() const { return thermal().control; }
  const std::map<int, double>& fanControlTemperatures() const { return thermal().zones; }
  const std::map<int, std::string>& fanControlDrivers() const { return thermal().zoneDrivers; }
  const std::optional<double>& sustainedDieTemperature() const { return thermal().sustainedDie; }
  bool criticalThermalOverrideActive() const { return thermal().criticalOverrideActive; }
  /// Whether this machine's sensors and fans are validated for control.
  bool thermalControlSupported() const { return *machine_.thermalControlSupported; }
  HelperInstallState helperState() const { return *machine_.helperState; }
  /// The name of a fan utility of another vendor that is running.
  const std::optional<std::string>& competingController() const { return control_.competitor(); }
  FanControlOwnership fanControlOwnership() const { return control_.ownership(); }
  /// The selected preset, whether or not it is driving the fans at the moment.
  const FanPreset& activePreset() const { return control_.activePreset(); }
  const std::vector<FanPreset>& customPresets() const { return library_.presets(); }
  const std::optional<std::string>& lastError() const { return errors_.last(); }
  /// Fan control is being taken, tested or handed back.
  bool isBusy() const { return control_.isBusy(); }
  /// What drives the fans now, and what is missing when the selected preset does not.
  ControlStatus controlStatus() const { return control_.status(); }
  bool supervisedTestPassed() const { return control_.supervisedTest().hasPassed(); }
  bool supervisedTestRunning() const { return control_.supervisedTest().isRunning(); }
  /// Seconds.
  double pollingInterval() const { return *pollingInterval_; }
  bool launchAtLogin() const { return *launchAtLogin_; }
  bool overheatAlertsEnabled() const { return alert_.isEnabled(); }
  double overheatThreshold() const { return alert_.threshold(); }
  /// Oldest first.
  const std::vector<HistorySample>& history() const { return history_.samples(); }
  /// The temperature channels of the last poll.
  const std::vector<SensorReading>& sensorReadings() const { return *machine_.sensorReadings; }

  // Derived values.

  /// `lastError`, unless the conflict banner says the same.
  std::optional<std::string> visibleError() const;
  /// One value per history sample for every sensor key, NaN where the sensor had none.
  const SensorHistory& sensorHistory() const { return history_.sensorSeries(); }
  const std::optional<std::string>& activeConflictMessage() const { return control_.conflictMessage(); }
  /// The fans that the present session may drive.
  const std::set<int>& controllableFanIndices() const { return control_.session().controllableFans(); }
  const std::string& hardwareModelIdentifier() const { return machine_.modelIdentifier; }
  bool hasHelperSession() const { return control_.session().hasSession(); }
  /// The temperature that drives the fan `fan`.
  double zoneTemperature(int fan, double fallback) const { return thermal_.zoneTemperature(fan, fallback); }
  /// Which fans may still be under manual control, and why; none when they are known to be automatic.
  std::optional<std::string> handBackFailure() const { return control_.handBackFailure(); }

  // Polling.

  /// Asks for one read now; requests made while one is out fold into one more.
  void poll() { telemetry_.poll(); }
  /// Starts the polling timer anew with the present interval, which is stored.
  void restartPolling();
  /// Seconds, limited to 1…5. Takes effect with `restartPolling`.
  void setPollingInterval(double seconds);

  // Fan control.

  /// Selects a preset and has it drive the fans as soon as everything that it needs is there. Ignored while busy, but
  /// for Apple Default, which interrupts whatever is under way.
  /// With `quietTransientRetry` a passing failure to start is not shown and tried again later.
  void activate(const FanPreset& preset, bool quietTransientRetry = false) {
    control_.activate(preset, quietTransientRetry);
  }
  /// Hands every fan back to the system. `completion` (may be empty) is called exactly once, on the main queue: at once
  /// when there is no session, else after the helper's answers.
  void resetToAutomatic(const HandBackRequest& request, std::function<void()> completion = {}) {
    control_.handBack(request, std::move(completion));
  }
  void setFanControlOwnership(FanControlOwnership ownership) { control_.setOwnership(ownership); }
  /// Has the helper drive one fan once and hand it back, which must succeed before any preset may drive the fans.
  void runSupervisedFan0Test() { control_.runSupervisedTest(); }
  /// Takes the newest error off the screen.
  void dismissError() { errors_.dismiss(); }

  // Helper, login item, end of the process.

  void installHelper();
  void uninstallHelper();
  void openLoginItemsSettings();
  void setLaunchAtLogin(bool enabled);
  /// Stops everything and hands the fans back; then calls `completion`, on the main queue, at the latest after
  /// `HandBack::patience`: `handBackFailure` says then what could not be confirmed. `notice` (may be empty) is called
  /// when it takes long enough for a person to wonder. One-way.
  void prepareForTermination(std::function<void()> completion, std::function<void()> notice = {});

  // Overheat alerts.

  void setOverheatAlertsEnabled(bool enabled) { alert_.setEnabled(enabled); }
  /// °C, limited to 40…100.
  void setOverheatThreshold(double temperature) { alert_.setThreshold(temperature); }
  void sendTestNotification() { alert_.sendTestNotification(); }

  // Preset library.

  void createCustomPreset();
  /// Replaces the preset with the same id or appends it.
  void savePreset(const FanPreset& preset);
  void duplicatePreset(const FanPreset& preset);
  void deletePreset(const FanPreset& preset);
  void exportCustomPresets() { library_.exportPresets(); }
  void importCustomPresets() { library_.importPresets(); }

 private:
  /// Hands polls to the model past the poller, for tests and measurements.
  friend struct AppModelAccess;

  explicit AppModel(Platform& platform);

  void start(const AppModelOptions& options);
  void polling();
  void received(TelemetrySnapshot snapshot);
  void telemetryFailed(const Error& error, bool isStale);
  void observePower();
  void refreshHelperState() { machine_.helperState = helper_->installState(); }

  Platform& platform_;
  Logger logger_;
  ChangeSignal objectWillChange_;
  Replies replies_;
  StandingErrors errors_;
  std::shared_ptr<HelperClient> helper_;
  Machine machine_;
  ThermalState thermal_;
  SessionHistory history_;
  OverheatAlert alert_;
  PresetLibrary library_;
  Telemetry telemetry_;
  FanControl control_;
  Published<double> pollingInterval_;
  Published<bool> launchAtLogin_;
  bool observesPower_ = false;
};

}  // namespace halcyra
