#include "UI/MenuBarState.h"

#include <utility>

#include "fmt/format.h"

#include "UI/FanNames.h"
#include "UI/TemperatureGaugeState.h"

namespace halcyra {

namespace {

std::string degrees(double temperature) {
  return temperatureText(temperature, {});
}

std::string metric(const char* label, const std::optional<double>& value) {
  return value ? fmt::format("{} {:.1f}°", label, *value) : fmt::format("{} —", label);
}

std::string tooltip(const AppModel& model) {
  return fmt::format(
      "Secondary raw values — CPU hotspot: {}, GPU hotspot: {}, P-core max: {}. Raw hotspots do not drive normal "
      "curves, but 105 °C triggers the critical safety override.",
      temperatureText(model.cpuDieHotspotTemperature(), "unavailable"),
      temperatureText(model.gpuDieHotspotTemperature(), "unavailable"),
      temperatureText(model.performanceCoreMaximum(), "unavailable"));
}

/// The hotspots stand only where there is a reading; the metrics say themselves that there is none.
std::vector<std::string> rawHotspots(const AppModel& model) {
  std::vector<std::string> lines;
  if (model.cpuDieHotspotTemperature()) {
    lines.push_back("CPU die hotspot (TCMz) " + degrees(*model.cpuDieHotspotTemperature()));
  }
  if (model.gpuDieHotspotTemperature()) {
    lines.push_back("GPU die hotspot (TRDX) " + degrees(*model.gpuDieHotspotTemperature()));
  }
  return lines;
}

std::vector<std::string> rawMetrics(const AppModel& model) {
  return {metric("CPU avg", model.cpuCoreAverage()), metric("P-core max", model.performanceCoreMaximum()),
          metric("E-core max", model.efficiencyCoreMaximum()), metric("GPU max", model.gpuCoreMaximum())};
}

std::string curveInput(const AppModel& model, int fan) {
  const auto temperature = model.fanControlTemperatures().find(fan);
  if (temperature == model.fanControlTemperatures().end()) return {};
  const std::string text = "Curve input " + degrees(temperature->second);
  const auto driver = model.fanControlDrivers().find(fan);
  return driver == model.fanControlDrivers().end() ? text : text + " · " + driver->second;
}

std::string helpText(const FanPreset& preset) {
  switch (preset.kind) {
    case PresetKind::system:
      return "Stock macOS control";
    case PresetKind::automatic:
      return "Hottest live sensor";
    case PresetKind::fullBlast:
      return "Maximum RPM";
    case PresetKind::custom:
      break;
  }
  return preset.name;
}

bool isEnabled(const AppModel& model, const FanPreset& preset) {
  if (model.isBusy() || model.fans().empty()) return false;
  return preset.kind == PresetKind::system || (model.thermalControlSupported() && model.supervisedTestPassed() &&
                                               model.fanControlOwnership() != FanControlOwnership::anotherApp);
}

std::vector<MenuBarState::PresetRow> presetRows(const AppModel& model) {
  std::vector<MenuBarState::PresetRow> rows;
  bool previousIsLocked = false;
  for (FanPreset& preset : FanPreset::menuOrder(model.customPresets())) {
    MenuBarState::PresetRow row;
    row.isActive = preset.id == model.activePreset().id;
    row.isEnabled = isEnabled(model, preset);
    row.canDelete = !preset.isLocked();
    row.startsGroup = previousIsLocked && !preset.isLocked();
    row.helpText = helpText(preset);
    previousIsLocked = preset.isLocked();
    row.preset = std::move(preset);
    rows.push_back(std::move(row));
  }
  return rows;
}

std::optional<std::string> monitoringNote(const AppModel& model) {
  if (model.fans().empty()) return "No controllable fans detected on this Mac — sensor monitoring only.";
  if (!model.thermalControlSupported()) {
    return "Monitoring only — fan control is currently hardware-verified on Mac15,11.";
  }
  return std::nullopt;
}

std::optional<MenuBarState::Conflict> conflict(const AppModel& model) {
  if (!model.competingController() || model.fanControlOwnership() != FanControlOwnership::aerovane ||
      model.activePreset().kind == PresetKind::system) {
    return std::nullopt;
  }
  const std::string& name = *model.competingController();
  return MenuBarState::Conflict{
      name + " helper conflict",
      fmt::format("Remove its background helper using {}'s uninstaller. Aerovane will stay on "
                  "Apple Default and retry your saved preset automatically.",
                  name)};
}

void addSetup(MenuBarState& state, const AppModel& model) {
  const bool helperEnabled = model.helperState() == HelperInstallState::enabled;
  state.showsHelperSetup = !helperEnabled;
  state.canSetUpHelper = !model.isBusy();
  state.showsSupervisedTestCaption = !model.supervisedTestPassed();
  state.showsSupervisedTest = state.showsSupervisedTestCaption && !model.fans().empty();
  state.canRunSupervisedTest = helperEnabled && !model.isBusy() && model.thermalControlSupported() &&
                               model.fanControlOwnership() != FanControlOwnership::anotherApp;
}

}  // namespace

MenuBarState makeMenuBarState(const AppModel& model) {
  MenuBarState state;
  state.rawThermalTooltip = tooltip(model);
  for (const auto& [fan, temperature] : model.fanControlTemperatures()) {
    state.zones.push_back({zoneLabel(fan), temperature, degrees(temperature)});
  }
  state.rawHotspots = rawHotspots(model);
  state.rawMetrics = rawMetrics(model);
  state.criticalOverride = model.criticalThermalOverrideActive();
  for (const FanInfo& fan : model.fans()) {
    state.fans.push_back({fanLabel(fan.index), fmt::format("{} RPM", fan.actualRPM),
                          fan.mode == FanMode::manual ? "Manual" : "Auto", curveInput(model, fan.index)});
  }
  state.monitoringNote = monitoringNote(model);
  state.anotherAppOwnsFans = model.fanControlOwnership() == FanControlOwnership::anotherApp;
  state.presets = presetRows(model);
  state.hottest = model.displayTemperature();
  state.hottestText = temperatureText(state.hottest, "—");
  state.samplingInterval = model.pollingInterval();
  addSetup(state, model);
  state.conflict = conflict(model);
  state.error = model.visibleError();
  return state;
}

}  // namespace halcyra
