#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "App/ModelView.h"
#include "UI/Downsampling.h"
#include "UI/HistorySeries.h"

namespace halcyra {

/// What the charts are drawn from. Refers to values that outlive it.
struct HistoryData {
  const std::vector<HistorySample>& samples;
  const ModelView::SensorHistory& sensorSeries;
  const std::vector<SensorReading>& readings;
  const std::vector<FanInfo>& fans;

  static HistoryData of(const ModelView& view);
};

/// One entry of the picker.
struct SensorOption {
  std::string id;
  std::string name;
  /// The first of the single sensors.
  bool startsGroup = false;

  bool operator==(const SensorOption&) const = default;
};

/// A sensor that is laid over a chart.
struct HistoryOverlay {
  std::string id;
  std::string name;
  std::vector<HistoryPoint> points;

  bool operator==(const HistoryOverlay&) const = default;
};

/// Follows what is offered to the charts of the session, and what is laid over them.
class HistoryOverlays {
 public:
  /// At most that many points a line.
  explicit HistoryOverlays(std::int64_t maximumCount) : maximumCount_(maximumCount) {}

  /// Everything that can be shown, aggregates first.
  std::vector<SensorOption> options(const HistoryData& history);
  /// The lines of `choice` without `own`, which the chart shows anyway.
  std::vector<HistoryOverlay> update(const HistoryData& history, const HistoryChoice& choice, const std::string& own);

 private:
  std::int64_t maximumCount_;
  HistoryGrowth growth_;
  HistoryGrowth optionsGrowth_;
  std::size_t samplesSeen_ = 0;
  bool hasGPUAverage_ = false;
  std::map<std::string, RangedSeries> lines_;
};

/// The points of the sensor `id`, which may be an aggregate's identifier: one for every sample that has a value. Refers
/// to what `history` refers to.
HistorySeries::PointAt pointsOf(const HistoryData& history, const std::string& id);

/// What the expanded session chart shows.
struct ExpandedSensorHistoryState {
  struct FanRow {
    std::string name;
    /// "2040 RPM"
    std::string speed;
    /// " · peak 3862"
    std::string peak;

    bool operator==(const FanRow&) const = default;
  };

  std::vector<SensorOption> options;
  /// Absent when no option has the selected identifier.
  std::optional<std::size_t> selectedOption;
  std::string description;
  /// Otherwise the chart gives way to a note that history is being collected.
  bool hasChart = false;
  std::vector<HistoryPoint> points;
  /// The selected sensor's name.
  std::string name;
  std::vector<HistoryOverlay> overlays;
  std::optional<double> peak;
  std::string peakText;
  std::string chartAccessibleName;
  /// Low, average, peak: "%.1f" each, or absent.
  std::array<std::optional<std::string>, 3> figures;
  std::vector<FanRow> fans;

  bool operator==(const ExpandedSensorHistoryState&) const = default;
};

/// Makes the states of one expanded chart from one refresh to the next, at the cost of what was added to the history
/// since. Gives at every time what `makeExpandedSensorHistoryState` gives.
class ExpandedSensorHistory {
 public:
  static constexpr const char* fanControlSignalID = "__fan_control_signal";
  static constexpr const char* cpuCoreAverageID = "__cpu_core_average";
  static constexpr const char* gpuAverageID = "__gpu_average";
  static constexpr std::int64_t maximumPointCount = 500;

  /// `selectedSensorID` is a pseudo-sensor's identifier or a sensor key. Figures and description are those of the
  /// chosen range.
  ExpandedSensorHistoryState update(const HistoryData& history, const std::string& selectedSensorID,
                                    const HistoryChoice& choice = {});

 private:
  const HistorySeries& follow(const HistoryData& history, const std::string& selectedSensorID, HistoryRange range);
  std::vector<ExpandedSensorHistoryState::FanRow> fanRows(const std::vector<FanInfo>& fans) const;

  HistoryGrowth growth_;
  std::string selectedSensorID_;
  RangedSeries series_{maximumPointCount};
  HistoryOverlays overlays_{maximumPointCount};
  std::size_t samplesSeen_ = 0;
  /// RPM, by position in the samples' speeds.
  std::vector<std::int64_t> peakSpeeds_;
};

ExpandedSensorHistoryState makeExpandedSensorHistoryState(const ModelView& view, const std::string& selectedSensorID);

}  // namespace halcyra
