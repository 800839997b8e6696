#include "VirtualMac/TraceWorkload.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "VirtualMac/TraceParser.h"

namespace halcyra {

namespace {

double between(double first, double second, double fraction) {
  return first + (second - first) * fraction;
}

}  // namespace

std::unique_ptr<TraceWorkload> TraceWorkload::parse(std::string_view text) {
  auto trace = std::make_unique<TraceWorkload>();
  TraceParser(*trace).parse(text);
  return trace;
}

TraceWorkload::Position TraceWorkload::locate(double time) const {
  if (time < times_[lastRow_]) {
    lastRow_ = 0;
  }
  while (lastRow_ + 1 < times_.size() && times_[lastRow_ + 1] <= time) {
    ++lastRow_;
  }
  if (lastRow_ + 1 == times_.size() || time <= times_[lastRow_]) {
    return {lastRow_, 0};
  }
  return {lastRow_, (time - times_[lastRow_]) / (times_[lastRow_ + 1] - times_[lastRow_])};
}

WorkloadLevels TraceWorkload::load(double time) {
  const auto [row, fraction] = locate(time);
  const WorkloadLevels& first = levels_[row];
  if (fraction == 0) {
    return first;
  }
  const WorkloadLevels& second = levels_[row + 1];
  return {between(first.cpuA, second.cpuA, fraction), between(first.cpuB, second.cpuB, fraction),
          between(first.efficiency, second.efficiency, fraction), between(first.gpuA, second.gpuA, fraction),
          between(first.gpuB, second.gpuB, fraction)};
}

std::optional<double> TraceWorkload::replayedTemperature(SMCKey key, double time) const {
  const auto found = std::lower_bound(keys_.begin(), keys_.end(), key);
  if (found == keys_.end() || *found != key) {
    return std::nullopt;
  }
  const auto column = static_cast<std::size_t>(found - keys_.begin());
  const auto [row, fraction] = locate(time);
  const double first = temperatures_[row * keys_.size() + column];
  if (std::isnan(first)) {
    return std::nullopt;
  }
  return fraction == 0 ? first : between(first, temperatures_[(row + 1) * keys_.size() + column], fraction);
}

}  // namespace halcyra
