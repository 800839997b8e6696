#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "Platform/Time.h"

namespace halcyra {

/// One point of a chart.
struct HistoryPoint {
  Date date;
  /// °C or RPM.
  double value = 0;

  bool operator==(const HistoryPoint&) const = default;
};

/// The lowest and the highest point of consecutive points; the earlier one where values are equal.
struct HistoryExtremes {
  HistoryPoint lowest;
  HistoryPoint highest;

  explicit HistoryExtremes(const HistoryPoint& point) : lowest(point), highest(point) {}
  void add(const HistoryPoint& point);
  /// Appends both in time order, or only the lowest when both are of the same moment.
  void appendTo(std::vector<HistoryPoint>& points) const;
};

/// The points per bucket that thin `count` points to about `maximumCount`; 1 where nothing is to be thinned.
std::size_t downsamplingBucketSize(std::size_t count, std::int64_t maximumCount);

/// At most about `maximumCount` points that keep the extremes of every stretch, in time order. Unchanged when there
/// are no more than that many, or when `maximumCount` is below 4.
std::vector<HistoryPoint> peakPreservingDownsample(std::vector<HistoryPoint> points, std::int64_t maximumCount);

}  // namespace halcyra
