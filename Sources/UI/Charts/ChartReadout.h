#pragma once

#include <optional>
#include <vector>

#include "UI/Downsampling.h"

namespace halcyra {

/// The points of a chart's lines, each in time order; not null.
using PointLists = std::vector<const std::vector<HistoryPoint>*>;

/// The point closest in time, the earlier one of two; none of no points.
std::optional<HistoryPoint> nearestPoint(const std::vector<HistoryPoint>& points, Date date);

/// The date of the point closest in time among all lines; none without a point.
std::optional<Date> nearestDate(const PointLists& lists, Date date);

/// The closest later date at which any line has a point, with a `direction` below zero the closest earlier one; `date`
/// where there is none.
Date neighbourDate(const PointLists& lists, Date date, int direction);

}  // namespace halcyra
