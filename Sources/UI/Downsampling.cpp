#include "UI/Downsampling.h"

#include <utility>

namespace halcyra {

void HistoryExtremes::add(const HistoryPoint& point) {
  if (point.value < lowest.value) lowest = point;
  if (point.value > highest.value) highest = point;
}

void HistoryExtremes::appendTo(std::vector<HistoryPoint>& points) const {
  if (lowest.date == highest.date) {
    points.push_back(lowest);
    return;
  }
  const bool lowestFirst = lowest.date < highest.date;
  points.push_back(lowestFirst ? lowest : highest);
  points.push_back(lowestFirst ? highest : lowest);
}

std::size_t downsamplingBucketSize(std::size_t count, std::int64_t maximumCount) {
  if (maximumCount < 4 || count <= static_cast<std::size_t>(maximumCount)) return 1;
  const auto buckets = static_cast<std::size_t>(maximumCount / 2);
  return (count + buckets - 1) / buckets;
}

std::vector<HistoryPoint> peakPreservingDownsample(std::vector<HistoryPoint> points, std::int64_t maximumCount) {
  const std::size_t bucketSize = downsamplingBucketSize(points.size(), maximumCount);
  if (bucketSize == 1) return points;
  std::vector<HistoryPoint> result;
  result.reserve(static_cast<std::size_t>(maximumCount) + 2);
  for (std::size_t start = 0; start < points.size(); start += bucketSize) {
    HistoryExtremes extremes(points[start]);
    for (std::size_t i = start + 1; i < points.size() && i < start + bucketSize; ++i) extremes.add(points[i]);
    extremes.appendTo(result);
  }
  return result;
}

}  // namespace halcyra
