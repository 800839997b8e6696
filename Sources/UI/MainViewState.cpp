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

MainViewState makeMainViewState(const ModelView& view) {
  const FanPreset& active = view.activePreset;
  MainViewState state;
  state.title = active.name;
  if (active.subtitle()) state.subtitle = std::string(*active.subtitle());
  state.helper = std::string(rawValue(view.helperState));
  state.helperIsApproved = view.helperState == HelperInstallState::enabled;
  state.error = view.visibleError;
  state.hottest = temperatureText(view.displayTemperature, "—");
  state.isCritical = view.criticalThermalOverrideActive;
  for (const FanInfo& fan : view.fans) {
    state.fans.push_back(
        makeFanCardState(fan, entry(view.fanControlTemperatures, fan.index), entry(view.fanControlDrivers, fan.index)));
  }
  state.showsEditor = active.kind == PresetKind::custom;
  state.controllableFans.assign(view.controllableFanIndices.begin(), view.controllableFanIndices.end());
  return state;
}

const FanPreset& firstEditingPreset(const FanPreset& active) {
  return active.kind == PresetKind::custom ? active : FanPreset::cpuCoreDefault();
}

}  // namespace halcyra
