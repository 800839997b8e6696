#include "UI/Charts/ChartAxis.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace halcyra {

namespace {

constexpr double minute = 60;
constexpr double hour = 3600;
constexpr double day = 24 * hour;

/// The round distances of a time axis, seconds. The largest one is doubled for as long as it takes.
constexpr std::array<double, 19> timeSteps{
    1,           2,           5,    10,       15,       30,       minute,   2 * minute, 5 * minute, 10 * minute,
    15 * minute, 30 * minute, hour, 2 * hour, 3 * hour, 4 * hour, 6 * hour, 12 * hour,  day};

double timeStep(double span, int maximumCount) {
  for (const double step : timeSteps) {
    if (span / step <= maximumCount) return step;
  }
  double step = timeSteps.back();
  while (span / step > maximumCount) step *= 2;
  return step;
}

}  // namespace

ChartTicks valueTicks(double low, double high, const std::vector<double>& steps, int maximumCount) {
  const auto intervalsOf = [&](double step) { return std::ceil(high / step) - std::floor(low / step); };
  double step = steps.back();
  for (const double candidate : steps) {
    if (intervalsOf(candidate) <= maximumCount) {
      step = candidate;
      break;
    }
  }
  const double first = std::floor(low / step) * step;
  const int intervals = std::max(1, static_cast<int>(intervalsOf(step)));
  ChartTicks ticks;
  for (int i = 0; i <= intervals; ++i) ticks.push_back(first + i * step);
  return ticks;
}

std::vector<Date> timeTicks(Date first, Date last, Seconds utcOffset, int maximumCount) {
  std::vector<Date> ticks;
  const double span = (last - first).count();
  if (!(span > 0) || maximumCount < 1) return ticks;
  const double step = timeStep(span, maximumCount);
  const double begin = first.time_since_epoch().count() + utcOffset.count();
  const double firstTick = std::ceil(begin / step) * step;
  for (int index = 0; index < maximumCount && firstTick + index * step <= begin + span; ++index) {
    ticks.push_back(Date(Seconds(firstTick + index * step) - utcOffset));
  }
  return ticks;
}

bool timeTicksNeedSeconds(Seconds span, int maximumCount) {
  return timeStep(span.count(), maximumCount) < minute;
}

}  // namespace halcyra
