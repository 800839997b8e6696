#include "App/ModelView.h"

#include "App/AppModel.h"

namespace halcyra {

ModelView AppModel::view() const {
  ModelView view;
  view.fans = fans();
  view.cpuCoreAverage = cpuCoreAverage();
  view.gpuCoreAverage = gpuCoreAverage();
  view.cpuCoreMaximum = cpuCoreMaximum();
  view.efficiencyCoreMaximum = efficiencyCoreMaximum();
  view.performanceCoreMaximum = performanceCoreMaximum();
  view.gpuCoreMaximum = gpuCoreMaximum();
  view.cpuDieHotspotTemperature = cpuDieHotspotTemperature();
  view.gpuDieHotspotTemperature = gpuDieHotspotTemperature();
  view.lastTemperatureSampleDate = lastTemperatureSampleDate();
  view.displayTemperature = displayTemperature();
  view.controlTemperature = controlTemperature();
  view.fanControlTemperatures = fanControlTemperatures();
  view.fanControlDrivers = fanControlDrivers();
  view.sustainedDieTemperature = sustainedDieTemperature();
  view.criticalThermalOverrideActive = criticalThermalOverrideActive();
  view.thermalControlSupported = thermalControlSupported();
  view.helperState = helperState();
  view.competingController = competingController();
  view.fanControlOwnership = fanControlOwnership();
  view.activePreset = activePreset();
  view.customPresets = customPresets();
  view.visibleError = visibleError();
  view.activeConflictMessage = activeConflictMessage();
  view.controlStatus = controlStatus();
  view.isBusy = isBusy();
  view.hasHelperSession = hasHelperSession();
  view.supervisedTestRunning = supervisedTestRunning_;
  view.supervisedTestPassed = supervisedTestPassed();
  view.controllableFanIndices = controllableFanIndices();
  view.hardwareModelIdentifier = hardwareModelIdentifier();
  view.pollingInterval = pollingInterval();
  view.launchAtLogin = launchAtLogin();
  view.overheatAlertsEnabled = overheatAlertsEnabled();
  view.overheatThreshold = overheatThreshold();
  view.history = &history();
  view.sensorHistory = &sensorHistory();
  view.sensorReadings = &sensorReadings();
  return view;
}

}  // namespace halcyra
