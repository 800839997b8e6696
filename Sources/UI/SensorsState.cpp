#include "UI/SensorsState.h"

#include <QString>
#include <algorithm>

#include "fmt/format.h"

#include "App/ModelView.h"

namespace halcyra {

namespace {

/// What channels are grouped by: the first two characters of the key's name.
std::string prefixOf(const SensorReading& reading) {
  return QString::fromStdString(reading.keyName).left(2).toStdString();
}

}  // namespace

SensorsState makeSensorsState(const std::vector<SensorReading>& readings, const std::string& searchText) {
  const QString search = QString::fromStdString(searchText);
  std::vector<const SensorReading*> kept;
  for (const SensorReading& reading : readings) {
    if (search.isEmpty() || QString::fromStdString(reading.keyName).contains(search, Qt::CaseInsensitive)) {
      kept.push_back(&reading);
    }
  }
  std::ranges::stable_sort(kept, {},
                           [](const SensorReading* reading) -> const std::string& { return reading->keyName; });

  SensorsState state;
  state.hasReadings = !readings.empty();
  for (auto first = kept.begin(); first != kept.end();) {
    const std::string prefix = prefixOf(**first);
    const auto last =
        std::find_if(first, kept.end(), [&](const SensorReading* reading) { return prefixOf(*reading) != prefix; });
    SensorsState::Group group{fmt::format("{}… ({})", prefix, last - first), {}};
    for (; first != last; ++first) {
      group.rows.push_back(
          {(*first)->displayName, temperatureText((*first)->value, {}), TemperatureZone::colorFor((*first)->value)});
    }
    state.groups.push_back(std::move(group));
  }
  return state;
}

SensorsState makeSensorsState(const ModelView& view, const std::string& searchText) {
  return makeSensorsState(*view.sensorReadings, searchText);
}

}  // namespace halcyra
