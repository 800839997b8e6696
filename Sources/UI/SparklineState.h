#pragma once

#include <cstddef>
#include <vector>

#include "App/HistorySample.h"

namespace halcyra {

/// A place in a drawing, y downwards.
struct SparklinePoint {
  double x = 0;
  double y = 0;

  bool operator==(const SparklinePoint&) const = default;
};

inline constexpr std::size_t maximumSparklineSamples = 300;

/// The trend of the newest control temperatures as a line over `width` × `height`, scaled to its own range. Empty
/// with fewer than two samples and for a flat trend.
std::vector<SparklinePoint> sparklinePoints(const std::vector<HistorySample>& samples, double width, double height);

}  // namespace halcyra
