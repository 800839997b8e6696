#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Helpers/SensorReader.h"
#include "UI/TemperatureGaugeState.h"

namespace halcyra {

struct ModelView;

/// What the list of temperature channels shows.
struct SensorsState {
  struct Row {
    std::string name;
    /// "%.1f °C"
    std::string value;
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

/// `searchText` keeps the channels whose key contains it in any case; empty keeps all.
SensorsState makeSensorsState(const std::vector<SensorReading>& readings, const std::string& searchText);
SensorsState makeSensorsState(const ModelView& view, const std::string& searchText);

}  // namespace halcyra
