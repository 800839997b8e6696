#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "Platform/Time.h"

namespace halcyra {

/// The values of a chart's grid lines, ascending and evenly spaced; the first and the last bound the axis.
using ChartTicks = std::vector<double>;

/// Rounds `low`…`high` outward to multiples of the smallest of `steps` (ascending) that needs at most `maximumCount`
/// intervals, or of the largest one, however many that takes. Never empty: at least one interval.
ChartTicks valueTicks(double low, double high, const std::vector<double>& steps, int maximumCount);

/// Full steps of local time within `first`…`last`, at most `maximumCount`. `utcOffset` is that of the local time.
std::vector<Date> timeTicks(Date first, Date last, Seconds utcOffset, int maximumCount);

/// Whether the labels of a chart of this span need seconds.
bool timeTicksNeedSeconds(Seconds span, int maximumCount);

/// The middle of the device pixel at `position`, where a line of one pixel is sharp.
inline double sharpPosition(double position) {
  return std::floor(position) + 0.5;
}

}  // namespace halcyra
