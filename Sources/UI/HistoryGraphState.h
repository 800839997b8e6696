#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "App/HistorySample.h"
#include "UI/Downsampling.h"
#include "UI/HistorySeries.h"

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

  std::vector<HistoryPoint> zone;
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
  HistoryGraphState update(const std::vector<HistorySample>& samples);

 private:
  HistoryGrowth growth_;
  HistorySeries zone_{maximumPointCount};
  std::size_t samplesSeen_ = 0;
  std::vector<HistorySeries> fans_;
};

HistoryGraphState makeHistoryGraphState(const std::vector<HistorySample>& samples);

}  // namespace halcyra
