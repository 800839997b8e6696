#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "App/ModelView.h"
#include "UI/TemperatureGaugeState.h"

namespace halcyra {

/// One fan's card on the dashboard.
struct FanCardState {
  int index = 0;
  std::string label;
  std::string speed;
  std::string target;
  std::string mode;
  std::optional<std::string> curveInput;
  /// Never without `curveInput`.
  std::optional<std::string> driver;
  std::optional<ZoneColor> zone;
  /// RPM, for the rail.
  std::int64_t actualRPM = 0;
  std::int64_t minRPM = 0;
  std::int64_t maxRPM = 0;
  std::optional<std::int64_t> targetRPM;

  bool operator==(const FanCardState&) const = default;
};

/// The dashboard's detail pane, apart from what its charts, gauge and tables show by themselves.
struct MainViewState {
  std::string title;
  std::optional<std::string> subtitle;
  std::string helper;
  bool helperIsApproved = false;
  std::optional<std::string> error;
  std::string hottest;
  bool isCritical = false;
  std::vector<FanCardState> fans;
  bool showsEditor = false;
  /// Ascending.
  std::vector<int> controllableFans;

  bool operator==(const MainViewState&) const = default;
};

struct MainViewText {
  static constexpr std::string_view hottest = "Hottest live sensor";
  static constexpr std::string_view critical = "Critical raw-die override active — all controlled fans are at maximum";
  static constexpr std::string_view rawThermals = "Raw die and hotspot details";
};

MainViewState makeMainViewState(const ModelView& view);

/// `temperature` feeds the fan's curve, `driver` is the reason of its last decision.
FanCardState makeFanCardState(const FanInfo& fan, const std::optional<double>& temperature,
                              const std::optional<std::string>& driver);

/// What the editor starts with while `active` is the selected preset.
const FanPreset& firstEditingPreset(const FanPreset& active);

}  // namespace halcyra
