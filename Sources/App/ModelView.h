#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "App/Control/ControlStatus.h"
#include "App/HistorySample.h"
#include "Client/HelperInstallState.h"
#include "Helpers/FanControlOwnership.h"
#include "Helpers/FanPreset.h"
#include "Helpers/SensorReader.h"
#include "Platform/Time.h"
#include "SMC/FanInfo.h"

namespace halcyra {

/// Everything that the windows show of the application model, at one moment: what a view's state is made from. A plain
/// value, cheap to make; the members are named after the model's and mean the same. Temperatures in °C.
struct ModelView {
  using SensorHistory = std::map<std::string, std::vector<float>>;

  std::vector<FanInfo> fans;
  std::optional<double> cpuCoreAverage;
  std::optional<double> gpuCoreAverage;
  std::optional<double> cpuCoreMaximum;
  std::optional<double> efficiencyCoreMaximum;
  std::optional<double> performanceCoreMaximum;
  std::optional<double> gpuCoreMaximum;
  std::optional<double> cpuDieHotspotTemperature;
  std::optional<double> gpuDieHotspotTemperature;
  std::optional<Date> lastTemperatureSampleDate;
  std::optional<double> displayTemperature;
  std::optional<double> controlTemperature;
  /// By fan index.
  std::map<int, double> fanControlTemperatures;
  std::map<int, std::string> fanControlDrivers;
  std::optional<double> sustainedDieTemperature;
  bool criticalThermalOverrideActive = false;
  bool thermalControlSupported = false;

  HelperInstallState helperState = HelperInstallState::notRegistered;
  std::optional<std::string> competingController;
  FanControlOwnership fanControlOwnership = FanControlOwnership::aerovane;
  FanPreset activePreset = FanPreset::systemDefault();
  std::vector<FanPreset> customPresets;
  std::optional<std::string> visibleError;
  std::optional<std::string> activeConflictMessage;
  ControlStatus controlStatus;
  bool isBusy = false;
  bool hasHelperSession = false;
  bool supervisedTestRunning = false;
  bool supervisedTestPassed = false;
  std::set<int> controllableFanIndices;
  std::string hardwareModelIdentifier;

  /// Seconds.
  double pollingInterval = 0;
  bool launchAtLogin = false;
  bool overheatAlertsEnabled = false;
  double overheatThreshold = 0;

  // What grows with the session, or with the number of sensors, stays with the model: never null, and valid until the
  // model's next change.

  /// Oldest first.
  const std::vector<HistorySample>* history = &noHistory();
  const SensorHistory* sensorHistory = &noSensorHistory();
  const std::vector<SensorReading>* sensorReadings = &noReadings();

 private:
  static const std::vector<HistorySample>& noHistory() {
    static const std::vector<HistorySample> none;
    return none;
  }
  static const SensorHistory& noSensorHistory() {
    static const SensorHistory none;
    return none;
  }
  static const std::vector<SensorReading>& noReadings() {
    static const std::vector<SensorReading> none;
    return none;
  }
};

}  // namespace halcyra
