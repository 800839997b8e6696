#include "App/SessionHistory.h"

#include <algorithm>
#include <limits>

#include "Helpers/HistoryRetention.h"

namespace halcyra {

namespace {

/// The most that a series ever holds: room made once, so that no later poll has to move it.
constexpr auto seriesCapacity = static_cast<std::size_t>(SessionHistory::sampleLimit + 1);

}  // namespace

void SessionHistory::record(const std::vector<FanInfo>& fans, const CPUCoreAverage& average,
                            const ThermalReadings& thermal, const std::vector<SensorReading>& readings, Date now) {
  if (fans.empty()) {
    return;
  }
  HistorySample sample{.date = now,
                       .cpuTemp = thermal.display.value_or(average.thermalDisplayTemperature()),
                       .cpuCoreAverage = average.temperature,
                       .gpuCoreAverage = average.gpuAverageTemperature,
                       .controlTemp = thermal.control.value_or(average.controlTemperature()),
                       .rpms = {}};
  std::vector<FanInfo> ordered = fans;
  std::sort(ordered.begin(), ordered.end(), [](const FanInfo& a, const FanInfo& b) { return a.index < b.index; });
  for (const FanInfo& fan : ordered) {
    sample.rpms.push_back(fan.actualRPM);
  }
  const std::size_t position = samples_->size();
  samples_.mutate([&](std::vector<HistorySample>& samples) {
    if (samples.empty()) {
      samples.reserve(seriesCapacity);
    }
    samples.push_back(sample);
    recordSensors(readings, position);
    HistoryRetention::trim(samples, sensorSeries_, sampleLimit, trimBatchSize);
  });
}

void SessionHistory::recordSensors(const std::vector<SensorReading>& readings, std::size_t position) {
  constexpr float noValue = std::numeric_limits<float>::quiet_NaN();
  for (auto& [key, series] : sensorSeries_) {
    series.push_back(noValue);
  }
  seriesOfReading_.resize(readings.size(), nullptr);
  for (std::size_t index = 0; index < readings.size(); ++index) {
    const SensorReading& reading = readings[index];
    auto*& slot = seriesOfReading_[index];
    if (slot == nullptr || slot->first != reading.keyName) {
      slot = &*sensorSeries_.try_emplace(reading.keyName).first;
    }
    std::vector<float>& series = slot->second;
    if (series.size() <= position) {
      series.reserve(seriesCapacity);
      series.resize(position + 1, noValue);
    }
    series[position] = static_cast<float>(reading.value);
  }
}

}  // namespace halcyra
