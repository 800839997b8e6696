#include "UI/HistoryViewState.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "fmt/format.h"

#include "UI/DurationText.h"
#include "UI/FanNames.h"

namespace halcyra {

namespace {

constexpr const char* unknownSelectionName = "Warmest Fan Zone";

std::optional<HistoryPoint> sensorPoint(const HistoryData& history, const std::vector<float>& series,
                                        std::size_t index) {
  if (index >= series.size() || !std::isfinite(series[index])) return std::nullopt;
  return HistoryPoint{history.samples[index].date, static_cast<double>(series[index])};
}

std::string optionName(const std::string& key) {
  return key == "TCMz" ? "CPU Die Hotspot (TCMz)" : key;
}

std::string historyDescription(const std::string& name, const HistorySeries& series) {
  if (series.count() == 0) return name + " · waiting for samples";
  return fmt::format("{} · {} samples · {}", name, series.count(),
                     durationText(series.last()->date - series.first()->date));
}

std::optional<std::string> figureText(const std::optional<double>& value) {
  return value ? std::optional(fmt::format("{:.1f}", *value)) : std::nullopt;
}

/// The name under which `options` offer a sensor.
const std::string& nameIn(const std::vector<SensorOption>& options, const std::string& id) {
  const auto found = std::ranges::find(options, id, &SensorOption::id);
  return found != options.end() ? found->name : id;
}

}  // namespace

HistorySeries::PointAt pointsOf(const HistoryData& history, const std::string& id) {
  const std::vector<HistorySample>& samples = history.samples;
  if (id == ExpandedSensorHistory::fanControlSignalID) {
    return [&samples](std::size_t index) { return HistoryPoint{samples[index].date, samples[index].controlTemp}; };
  }
  if (id == ExpandedSensorHistory::cpuCoreAverageID) {
    return [&samples](std::size_t index) { return HistoryPoint{samples[index].date, samples[index].cpuCoreAverage}; };
  }
  if (id == ExpandedSensorHistory::gpuAverageID) {
    return [&samples](std::size_t index) {
      const HistorySample& sample = samples[index];
      return sample.gpuCoreAverage ? std::optional(HistoryPoint{sample.date, *sample.gpuCoreAverage}) : std::nullopt;
    };
  }
  const auto found = history.sensorSeries.find(id);
  if (found == history.sensorSeries.end()) {
    return [](std::size_t) { return std::optional<HistoryPoint>(); };
  }
  return [history, &series = found->second](std::size_t index) { return sensorPoint(history, series, index); };
}

HistoryData HistoryData::of(const ModelView& view) {
  return {*view.history, *view.sensorHistory, *view.sensorReadings, view.fans};
}

ExpandedSensorHistoryState ExpandedSensorHistory::update(const HistoryData& history,
                                                         const std::string& selectedSensorID,
                                                         const HistoryChoice& choice) {
  const HistorySeries& series = follow(history, selectedSensorID, choice.range);
  ExpandedSensorHistoryState state;
  state.options = overlays_.options(history);
  const auto selected = std::ranges::find(state.options, selectedSensorID, &SensorOption::id);
  state.name = unknownSelectionName;
  if (selected != state.options.end()) {
    state.selectedOption = static_cast<std::size_t>(selected - state.options.begin());
    state.name = selected->name;
  }
  state.description = historyDescription(state.name, series);
  state.points = series.downsampled();
  state.overlays = overlays_.update(history, choice, selectedSensorID);
  state.hasChart = state.points.size() >= 2;
  state.peak = series.peak();
  if (state.peak) state.peakText = fmt::format("Peak {:.1f}°", *state.peak);
  state.chartAccessibleName = state.name + " full session chart";
  state.figures = {figureText(series.low()), figureText(series.average()), figureText(series.peak())};
  state.fans = fanRows(history.fans);
  return state;
}

const HistorySeries& ExpandedSensorHistory::follow(const HistoryData& history, const std::string& selectedSensorID,
                                                   HistoryRange range) {
  const bool onlyAppended = growth_.onlyAppended(history.samples);
  if (!onlyAppended) {
    samplesSeen_ = 0;
    peakSpeeds_.clear();
  }
  if (!onlyAppended || selectedSensorID != selectedSensorID_) {
    selectedSensorID_ = selectedSensorID;
    series_.reset();
  }
  for (; samplesSeen_ < history.samples.size(); ++samplesSeen_) {
    const HistorySample& sample = history.samples[samplesSeen_];
    for (std::size_t fan = 0; fan < sample.rpms.size(); ++fan) {
      if (fan == peakSpeeds_.size()) peakSpeeds_.push_back(sample.rpms[fan]);
      peakSpeeds_[fan] = std::max(peakSpeeds_[fan], sample.rpms[fan]);
    }
  }
  return series_.update(firstSampleOf(range, history.samples), history.samples.size(),
                        pointsOf(history, selectedSensorID));
}

std::vector<HistoryOverlay> HistoryOverlays::update(const HistoryData& history, const HistoryChoice& choice,
                                                    const std::string& own) {
  if (!growth_.onlyAppended(history.samples)) lines_.clear();
  std::erase_if(lines_, [&](const auto& line) {
    return std::ranges::find(choice.overlays, line.first) == choice.overlays.end();
  });
  if (choice.overlays.empty()) return {};
  const std::vector<SensorOption> offered = options(history);
  const std::size_t first = firstSampleOf(choice.range, history.samples);
  std::vector<HistoryOverlay> overlays;
  for (const std::string& id : choice.overlays) {
    if (id == own) continue;
    RangedSeries& line = lines_.try_emplace(id, maximumCount_).first->second;
    overlays.push_back(
        {id, nameIn(offered, id), line.update(first, history.samples.size(), pointsOf(history, id)).downsampled()});
  }
  return overlays;
}

std::vector<SensorOption> HistoryOverlays::options(const HistoryData& history) {
  if (!optionsGrowth_.onlyAppended(history.samples)) {
    samplesSeen_ = 0;
    hasGPUAverage_ = false;
  }
  for (; samplesSeen_ < history.samples.size(); ++samplesSeen_) {
    hasGPUAverage_ = hasGPUAverage_ || history.samples[samplesSeen_].gpuCoreAverage.has_value();
  }
  std::vector<SensorOption> options{{ExpandedSensorHistory::fanControlSignalID, "Warmest Fan Zone (curve input)"},
                                    {ExpandedSensorHistory::cpuCoreAverageID, "CPU Core Average"}};
  if (hasGPUAverage_) options.push_back({ExpandedSensorHistory::gpuAverageID, "GPU Cluster Average"});
  std::vector<std::string> keys;
  keys.reserve(history.sensorSeries.size() + history.readings.size());
  for (const auto& [key, series] : history.sensorSeries) keys.push_back(key);
  for (const SensorReading& reading : history.readings) keys.push_back(reading.keyName);
  std::ranges::sort(keys);
  keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
  const std::size_t aggregates = options.size();
  for (const std::string& key : keys) options.push_back({key, optionName(key), options.size() == aggregates});
  return options;
}

std::vector<ExpandedSensorHistoryState::FanRow> ExpandedSensorHistory::fanRows(const std::vector<FanInfo>& fans) const {
  std::vector<FanInfo> byIndex = fans;
  std::ranges::sort(byIndex, {}, &FanInfo::index);
  std::vector<ExpandedSensorHistoryState::FanRow> rows;
  for (std::size_t position = 0; position < byIndex.size(); ++position) {
    const FanInfo& fan = byIndex[position];
    const std::int64_t peak = position < peakSpeeds_.size() ? peakSpeeds_[position] : fan.actualRPM;
    rows.push_back({fanLabel(fan.index), fmt::format("{} RPM", fan.actualRPM), fmt::format(" · peak {}", peak)});
  }
  return rows;
}

ExpandedSensorHistoryState makeExpandedSensorHistoryState(const ModelView& view, const std::string& selectedSensorID) {
  return ExpandedSensorHistory().update(HistoryData::of(view), selectedSensorID);
}

}  // namespace halcyra
