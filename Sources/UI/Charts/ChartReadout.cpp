#include "UI/Charts/ChartReadout.h"

#include <algorithm>

namespace halcyra {

std::optional<HistoryPoint> nearestPoint(const std::vector<HistoryPoint>& points, Date date) {
  if (points.empty()) return std::nullopt;
  const auto next = std::ranges::lower_bound(points, date, {}, &HistoryPoint::date);
  if (next == points.begin()) return points.front();
  if (next == points.end()) return points.back();
  const auto previous = std::prev(next);
  return next->date - date < date - previous->date ? *next : *previous;
}

std::optional<Date> nearestDate(const PointLists& lists, Date date) {
  std::optional<Date> nearest;
  for (const auto* const points : lists) {
    const auto point = nearestPoint(*points, date);
    if (!point) continue;
    const auto distance = [date](Date other) { return other < date ? date - other : other - date; };
    if (!nearest || distance(point->date) < distance(*nearest)) nearest = point->date;
  }
  return nearest;
}

Date neighbourDate(const PointLists& lists, Date date, int direction) {
  std::optional<Date> found;
  for (const auto* const points : lists) {
    if (direction > 0) {
      const auto next = std::ranges::upper_bound(*points, date, {}, &HistoryPoint::date);
      if (next != points->end()) found = found ? std::min(*found, next->date) : next->date;
    } else {
      const auto next = std::ranges::lower_bound(*points, date, {}, &HistoryPoint::date);
      if (next != points->begin()) found = found ? std::max(*found, std::prev(next)->date) : std::prev(next)->date;
    }
  }
  return found.value_or(date);
}

}  // namespace halcyra
