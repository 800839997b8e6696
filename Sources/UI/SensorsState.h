#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "App/ModelView.h"
#include "Helpers/SensorReader.h"
#include "UI/HistorySeries.h"
#include "UI/TemperatureGaugeState.h"

namespace halcyra {

/// The lowest and the highest value (°C) of every channel in this session, by key.
using SensorExtremes = std::map<std::string, std::pair<float, float>>;

/// Follows the session, at the cost of what was added since the last call.
class SensorExtremesFollower {
 public:
  const SensorExtremes& update(const ModelView& view);

 private:
  SensorExtremes extremes_;
  std::optional<Date> lastSeen_;
};

/// By key in groups, or everything in one list.
enum class SensorsOrder { key, hottestFirst, name };

/// What the list of temperature channels is made from. Refers to values that outlive it.
struct SensorsInput {
  const std::vector<SensorReading>& readings;
  /// Keeps the channels whose key contains it in any case; empty keeps all.
  std::string searchText = {};
  SensorsOrder order = SensorsOrder::key;
  SensorExtremes extremes = {};
};

/// What the list of temperature channels shows.
struct SensorsState {
  struct Row {
    std::string key;
    /// As the reading is called.
    std::string name;
    /// What is known of the channel: "Performance core 3"; empty for nothing.
    std::string label;
    /// "%.1f °C"
    std::string value;
    /// Of the session, "38–61°"; empty before there are any.
    std::string extremes;
    std::optional<ZoneColor> color;

    bool operator==(const Row&) const = default;
  };
  struct Group {
    /// "Tp… (12)"
    std::string title;
    std::vector<Row> rows;

    bool operator==(const Group&) const = default;
  };

  /// False before the first successful poll: a note stands in place of the list.
  bool hasReadings = false;
  std::vector<Group> groups;

  bool operator==(const SensorsState&) const = default;
};

SensorsState makeSensorsState(const SensorsInput& input);

}  // namespace halcyra
