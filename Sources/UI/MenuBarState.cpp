#include "UI/MenuBarState.h"

#include <map>
#include <utility>

#include "fmt/format.h"

#include "UI/FanNames.h"
#include "UI/FirstRunState.h"
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
  if (temperature == view.fanControlTemperatures.end()) return "Curve input —";
  const std::string text = "Curve input " + degrees(temperature->second);
  const auto driver = view.fanControlDrivers.find(fan);
  return driver == view.fanControlDrivers.end() ? text : text + " · " + driver->second;
}

std::string kindHelp(const FanPreset& preset) {
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

/// Apple Default can be chosen at any time where there are fans: it also ends what is under way.
bool isEnabled(const ModelView& view, const FanPreset& preset) {
  if (view.fans.empty()) return false;
  return preset.kind == PresetKind::system ||
         (!view.isBusy && view.thermalControlSupported && view.supervisedTestPassed &&
          view.fanControlOwnership != FanControlOwnership::anotherApp);
}

std::string helpText(const ModelView& view, const FanPreset& preset, bool enabled) {
  const std::string help = kindHelp(preset);
  const auto obstacle = enabled ? std::nullopt : presetObstacle(view);
  return obstacle ? help + " — " + *obstacle : help;
}

/// One row per fan and per known zone, whether or not there is a temperature just now.
std::vector<MenuBarState::ZoneRow> zoneRows(const ModelView& view) {
  std::map<int, std::optional<double>> zones;
  for (const FanInfo& fan : view.fans) zones[fan.index];
  for (const auto& [fan, temperature] : view.fanControlTemperatures) zones[fan] = temperature;
  std::vector<MenuBarState::ZoneRow> rows;
  rows.reserve(zones.size());
  for (const auto& [fan, temperature] : zones) {
    rows.push_back({zoneLabel(fan), temperature, temperatureText(temperature, "—")});
  }
  return rows;
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
    row.helpText = helpText(view, preset, row.isEnabled);
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

}  // namespace

MenuBarState makeMenuBarState(const ModelView& view) {
  MenuBarState state;
  state.rawThermalTooltip = tooltip(view);
  state.zones = zoneRows(view);
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
  // Not while busy: what passes by itself needs no note.
  if (!view.isBusy) state.presetNote = presetObstacle(view).value_or("");
  state.status = view.controlStatus;
  return state;
}

}  // namespace halcyra
