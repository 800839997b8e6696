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

std::string tooltip(const ModelView& view) {
  return fmt::format(
      "Secondary raw values — CPU hotspot: {}, GPU hotspot: {}, P-core max: {}. Raw hotspots do not drive normal "
      "curves, but 105 °C triggers the critical safety override.",
      temperatureText(view.cpuDieHotspotTemperature, "unavailable"),
      temperatureText(view.gpuDieHotspotTemperature, "unavailable"),
      temperatureText(view.performanceCoreMaximum, "unavailable"));
}

/// The hotspots stand only where there is a reading; the metrics say themselves that there is none.
std::vector<std::string> rawHotspots(const ModelView& view) {
  std::vector<std::string> lines;
  if (view.cpuDieHotspotTemperature) {
    lines.push_back("CPU die hotspot (TCMz) " + degrees(*view.cpuDieHotspotTemperature));
  }
  if (view.gpuDieHotspotTemperature) {
    lines.push_back("GPU die hotspot (TRDX) " + degrees(*view.gpuDieHotspotTemperature));
  }
  return lines;
}

std::vector<std::string> rawMetrics(const ModelView& view) {
  return {metric("CPU avg", view.cpuCoreAverage), metric("P-core max", view.performanceCoreMaximum),
          metric("E-core max", view.efficiencyCoreMaximum), metric("GPU max", view.gpuCoreMaximum)};
}

std::string curveInput(const ModelView& view, int fan) {
  const auto temperature = view.fanControlTemperatures.find(fan);
  if (temperature == view.fanControlTemperatures.end()) return {};
  const std::string text = "Curve input " + degrees(temperature->second);
  const auto driver = view.fanControlDrivers.find(fan);
  return driver == view.fanControlDrivers.end() ? text : text + " · " + driver->second;
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

bool isEnabled(const ModelView& view, const FanPreset& preset) {
  if (view.isBusy || view.fans.empty()) return false;
  return preset.kind == PresetKind::system || (view.thermalControlSupported && view.supervisedTestPassed &&
                                               view.fanControlOwnership != FanControlOwnership::anotherApp);
}

std::vector<MenuBarState::PresetRow> presetRows(const ModelView& view) {
  std::vector<MenuBarState::PresetRow> rows;
  bool previousIsLocked = false;
  for (FanPreset& preset : FanPreset::menuOrder(view.customPresets)) {
    MenuBarState::PresetRow row;
    row.isActive = preset.id == view.activePreset.id;
    row.isEnabled = isEnabled(view, preset);
    row.canDelete = !preset.isLocked();
    row.startsGroup = previousIsLocked && !preset.isLocked();
    row.helpText = helpText(preset);
    previousIsLocked = preset.isLocked();
    row.preset = std::move(preset);
    rows.push_back(std::move(row));
  }
  return rows;
}

std::optional<std::string> monitoringNote(const ModelView& view) {
  if (view.fans.empty()) return "No controllable fans detected on this Mac — sensor monitoring only.";
  if (!view.thermalControlSupported) {
    return "Monitoring only — fan control is currently hardware-verified on Mac15,11.";
  }
  return std::nullopt;
}

std::optional<MenuBarState::Conflict> conflict(const ModelView& view) {
  if (!view.competingController || view.fanControlOwnership != FanControlOwnership::aerovane ||
      view.activePreset.kind == PresetKind::system) {
    return std::nullopt;
  }
  const std::string& name = *view.competingController;
  return MenuBarState::Conflict{
      name + " helper conflict",
      fmt::format("Remove its background helper using {}'s uninstaller. Aerovane will stay on "
                  "Apple Default and retry your saved preset automatically.",
                  name)};
}

void addSetup(MenuBarState& state, const ModelView& view) {
  const bool helperEnabled = view.helperState == HelperInstallState::enabled;
  state.showsHelperSetup = !helperEnabled;
  state.canSetUpHelper = !view.isBusy;
  state.showsSupervisedTestCaption = !view.supervisedTestPassed;
  state.showsSupervisedTest = state.showsSupervisedTestCaption && !view.fans.empty();
  state.canRunSupervisedTest = helperEnabled && !view.isBusy && view.thermalControlSupported &&
                               view.fanControlOwnership != FanControlOwnership::anotherApp;
}

}  // namespace

MenuBarState makeMenuBarState(const ModelView& view) {
  MenuBarState state;
  state.rawThermalTooltip = tooltip(view);
  for (const auto& [fan, temperature] : view.fanControlTemperatures) {
    state.zones.push_back({zoneLabel(fan), temperature, degrees(temperature)});
  }
  state.rawHotspots = rawHotspots(view);
  state.rawMetrics = rawMetrics(view);
  state.criticalOverride = view.criticalThermalOverrideActive;
  for (const FanInfo& fan : view.fans) {
    state.fans.push_back({fanLabel(fan.index), fmt::format("{} RPM", fan.actualRPM),
                          fan.mode == FanMode::manual ? "Manual" : "Auto", curveInput(view, fan.index)});
  }
  state.monitoringNote = monitoringNote(view);
  state.anotherAppOwnsFans = view.fanControlOwnership == FanControlOwnership::anotherApp;
  state.presets = presetRows(view);
  state.hottest = view.displayTemperature;
  state.hottestText = temperatureText(state.hottest, "—");
  state.samplingInterval = view.pollingInterval;
  addSetup(state, view);
  state.conflict = conflict(view);
  state.error = view.visibleError;
  return state;
}

}  // namespace halcyra
