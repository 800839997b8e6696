#include "UI/SensorsState.h"

#include <QString>
#include <algorithm>
#include <cmath>
#include <functional>
#include <tuple>

#include "fmt/format.h"

#include "UI/SensorsNames.h"

namespace halcyra {

namespace {

/// What channels are grouped by: the first two characters of the key's name.
std::string prefixOf(const std::string& key) {
  return QString::fromStdString(key).left(2).toStdString();
}

struct SensorsEntry {
  const SensorReading* reading;
  SensorsState::Row row;
};

std::vector<SensorsEntry> makeEntries(const SensorsInput& input) {
  std::vector<std::string> keys;
  keys.reserve(input.readings.size());
  for (const SensorReading& reading : input.readings) keys.push_back(reading.keyName);
  std::ranges::sort(keys);
  const std::map<std::string, std::string> names = sensorNames(keys);
  const QString search = QString::fromStdString(input.searchText);
  std::vector<SensorsEntry> entries;
  for (const SensorReading& reading : input.readings) {
    const std::string& key = reading.keyName;
    if (!search.isEmpty() && !QString::fromStdString(key).contains(search, Qt::CaseInsensitive)) continue;
    SensorsState::Row row{.key = key,
                          .name = reading.displayName,
                          .label = {},
                          .value = temperatureText(reading.value, {}),
                          .extremes = {},
                          .color = TemperatureZone::colorFor(reading.value)};
    if (const auto name = names.find(key); name != names.end()) row.label = name->second;
    if (const auto found = input.extremes.find(key); found != input.extremes.end()) {
      row.extremes = fmt::format("{:.0f}–{:.0f}°", found->second.first, found->second.second);
    }
    entries.push_back({&reading, std::move(row)});
  }
  std::ranges::stable_sort(entries, {}, [](const SensorsEntry& entry) -> const std::string& { return entry.row.key; });
  return entries;
}

/// Numbers count as numbers: "GPU 2" comes before "GPU 10". Channels without a name come last.
bool comesBefore(const SensorsEntry& a, const SensorsEntry& b) {
  const auto split = [](const std::string& label) {
    const std::size_t end = label.find_last_not_of("0123456789") + 1;
    return std::tuple(label.empty(), label.substr(0, end), label.size() - end, label.substr(end));
  };
  return split(a.row.label) < split(b.row.label);
}

}  // namespace

const SensorExtremes& SensorExtremesFollower::update(const ModelView& view) {
  const std::vector<HistorySample>& samples = *view.history;
  std::size_t first = samples.size();
  while (first > 0 && samples[first - 1].date != lastSeen_) --first;
  for (const auto& [key, series] : *view.sensorHistory) {
    for (std::size_t index = first; index < series.size(); ++index) {
      const float value = series[index];
      if (!std::isfinite(value)) continue;
      auto& [low, high] = extremes_.try_emplace(key, value, value).first->second;
      low = std::min(low, value);
      high = std::max(high, value);
    }
  }
  if (!samples.empty()) lastSeen_ = samples.back().date;
  return extremes_;
}

SensorsState makeSensorsState(const SensorsInput& input) {
  SensorsState state;
  state.hasReadings = !input.readings.empty();
  std::vector<SensorsEntry> entries = makeEntries(input);
  if (input.order == SensorsOrder::hottestFirst) {
    std::ranges::stable_sort(entries, std::greater(), [](const SensorsEntry& entry) { return entry.reading->value; });
  } else if (input.order == SensorsOrder::name) {
    std::ranges::stable_sort(entries, comesBefore);
  }
  std::string prefix;
  for (SensorsEntry& entry : entries) {
    const std::string own = input.order == SensorsOrder::key ? prefixOf(entry.row.key) : std::string();
    if (state.groups.empty() || own != prefix) {
      prefix = own;
      state.groups.push_back({});
    }
    state.groups.back().rows.push_back(std::move(entry.row));
  }
  for (SensorsState::Group& group : state.groups) {
    const std::string title =
        input.order == SensorsOrder::key ? prefixOf(group.rows.front().key) + "…" : std::string("All channels");
    group.title = fmt::format("{} ({})", title, group.rows.size());
  }
  return state;
}

}  // namespace halcyra
