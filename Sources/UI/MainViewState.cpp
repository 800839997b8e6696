#include "UI/MainViewState.h"

#include "fmt/format.h"

#include "UI/FanNames.h"

namespace halcyra {

namespace {

template <typename Value>
std::optional<Value> entry(const std::map<int, Value>& values, int key) {
  const auto found = values.find(key);
  if (found == values.end()) return std::nullopt;
  return found->second;
}

}  // namespace

FanCardState makeFanCardState(const FanInfo& fan, const std::optional<double>& temperature,
                              const std::optional<std::string>& driver) {
  FanCardState card{.index = fan.index,
                    .label = shortFanLabel(fan.index),
                    .speed = fmt::format("{} RPM", fan.actualRPM),
                    .target = fmt::format("Target {} • {}–{}", fan.targetRPM.value_or(0), fan.minRPM, fan.maxRPM),
                    .mode = fan.mode == FanMode::manual ? "Manual" : "Automatic",
                    .curveInput = std::nullopt,
                    .driver = std::nullopt,
                    .zone = std::nullopt,
                    .actualRPM = fan.actualRPM,
                    .minRPM = fan.minRPM,
                    .maxRPM = fan.maxRPM,
                    .targetRPM = fan.targetRPM};
  if (temperature) {
    card.curveInput = fmt::format("Curve input {:.1f} °C", *temperature);
    card.driver = driver;
    card.zone = TemperatureZone::colorFor(*temperature);
  }
  return card;
}

MainViewState makeMainViewState(const AppModel& model) {
  const FanPreset& active = model.activePreset();
  MainViewState state;
  state.title = active.name;
  if (active.subtitle()) state.subtitle = std::string(*active.subtitle());
  state.helper = std::string(rawValue(model.helperState()));
  state.helperIsApproved = model.helperState() == HelperInstallState::enabled;
  state.error = model.visibleError();
  state.hottest = temperatureText(model.displayTemperature(), "—");
  state.isCritical = model.criticalThermalOverrideActive();
  for (const FanInfo& fan : model.fans()) {
    state.fans.push_back(makeFanCardState(fan, entry(model.fanControlTemperatures(), fan.index),
                                          entry(model.fanControlDrivers(), fan.index)));
  }
  state.showsEditor = active.kind == PresetKind::custom;
  state.controllableFans.assign(model.controllableFanIndices().begin(), model.controllableFanIndices().end());
  return state;
}

const FanPreset& firstEditingPreset(const FanPreset& active) {
  return active.kind == PresetKind::custom ? active : FanPreset::cpuCoreDefault();
}

}  // namespace halcyra
