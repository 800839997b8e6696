#include "UI/SparklineState.h"

#include <algorithm>
#include <span>

namespace halcyra {

std::vector<SparklinePoint> sparklinePoints(const std::vector<HistorySample>& samples, double width, double height) {
  const std::size_t count = std::min(samples.size(), maximumSparklineSamples);
  if (count < 2) return {};
  const auto newest = std::span(samples).last(count);
  const auto [lowest, highest] = std::ranges::minmax_element(newest, {}, &HistorySample::controlTemp);
  const double low = lowest->controlTemp;
  const double range = highest->controlTemp - low;
  if (!(range > 0)) return {};
  std::vector<SparklinePoint> points;
  points.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    points.push_back({width * static_cast<double>(i) / static_cast<double>(count - 1),
                      height * (1 - (newest[i].controlTemp - low) / range)});
  }
  return points;
}

}  // namespace halcyra
