#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "App/HistorySample.h"
#include "UI/Downsampling.h"
#include "UI/HistorySeries.h"
#include "UI/HistoryViewState.h"

namespace halcyra {

/// What the dashboard's pair of charts shows.
struct HistoryGraphState {
  struct FanSeries {
    /// The position in the samples' speeds; tells the line's colour.
    int index = 0;
    std::string label;
    std::vector<HistoryPoint> points;

    bool operator==(const FanSeries&) const = default;
  };

  /// What can be laid over.
  std::vector<SensorOption> options;
  std::vector<HistoryPoint> zone;
  /// Laid over the zone.
  std::vector<HistoryOverlay> overlays;
  std::vector<FanSeries> fans;

  bool operator==(const HistoryGraphState&) const = default;
};

/// Makes the states from one refresh to the next, at the cost of what was added to the history since.
class HistoryGraph {
 public:
  /// Bounds what one line of a chart costs, however long the session.
  static constexpr std::int64_t maximumPointCount = 300;

  /// "Left", "Right", "Fan 3", …
  static std::string label(int index);
  HistoryGraphState update(const HistoryData& history, const HistoryChoice& choice = {});

 private:
  HistoryGrowth growth_;
  RangedSeries zone_{maximumPointCount};
  HistoryOverlays overlays_{maximumPointCount};
  std::size_t samplesSeen_ = 0;
  std::vector<RangedSeries> fans_;
};

}  // namespace halcyra
