#include "UI/CurvePreviewState.h"

#include <algorithm>
#include <cmath>

#include "fmt/format.h"

#include "Helpers/FanCurve.h"
#include "UI/FanNames.h"

namespace halcyra {

namespace {

constexpr double axisStart = 20;
constexpr double axisEnd = 100;
constexpr double leastGap = 8;
/// Below this width the two moving texts stand in a row of their own.
constexpr double widthForOneRow = 300;

std::string whole(double value) {
  return fmt::format("{:.0f}", std::trunc(value));
}

struct Placed {
  CurvePreviewLabel label;
  double width = 0;
};

Placed place(std::string text, double temperature, double width,
             const std::function<double(const std::string&)>& measure) {
  const double textWidth = measure(text);
  const double left = curvePreviewX(temperature, width) - textWidth / 2;
  return {{std::move(text), std::clamp(left, 0.0, std::max(0.0, width - textWidth)), 0}, textWidth};
}

/// Parts two neighbours that would touch, within `first` and `last`.
void pushApart(Placed& left, Placed& right, double first, double last) {
  const double overlap = left.label.left + left.width + leastGap - right.label.left;
  if (overlap > 0) {
    left.label.left -= overlap / 2;
    right.label.left += overlap / 2;
  }
  left.label.left = std::max(left.label.left, first);
  right.label.left = std::max(right.label.left, left.label.left + left.width + leastGap);
  right.label.left = std::min(right.label.left, last - right.width);
  left.label.left = std::max(std::min(left.label.left, right.label.left - leastGap - left.width), first);
}

}  // namespace

double curvePreviewX(double temperature, double width) {
  return width * std::clamp((temperature - axisStart) / (axisEnd - axisStart), 0.0, 1.0);
}

double curvePreviewTemperature(double x, double width) {
  if (!(width > 0)) return axisStart;
  return std::round(std::clamp(axisStart + x / width * (axisEnd - axisStart), axisStart, axisEnd));
}

double movedCurvePoint(EditorBound bound, double temperature, double low, double high) {
  constexpr double leastRamp = 1;
  if (bound == EditorBound::low) {
    return std::clamp(temperature, axisStart, std::max(axisStart, std::min(axisEnd, high) - leastRamp));
  }
  return std::clamp(temperature, std::min(axisEnd, std::max(axisStart, low) + leastRamp), axisEnd);
}

std::vector<CurveMark> makeCurveMarks(const std::vector<CurveReading>& readings, double low, double high) {
  // Fine enough for the place of a mark.
  constexpr std::int64_t steps = 10'000;
  std::vector<CurveMark> marks;
  for (const CurveReading& reading : readings) {
    if (!reading.temperature) continue;
    const double temperature = *reading.temperature;
    const std::int64_t rpm = FanCurve::ramp(temperature, low, high, reading.minRPM, reading.maxRPM);
    const std::int64_t part = FanCurve::ramp(temperature, low, high, 0, steps);
    marks.push_back({reading.fan, temperature, static_cast<double>(part) / static_cast<double>(steps),
                     fmt::format("{}: {:.1f} °C asks for {} RPM", shortFanLabel(reading.fan), temperature, rpm)});
  }
  return marks;
}

std::vector<CurvePreviewLabel> layOutCurveLabels(double low, double high, double width,
                                                 const std::function<double(const std::string&)>& measure) {
  const Placed start = place("20 °C", axisStart, width, measure);
  const Placed end = place("100 °C", axisEnd, width, measure);
  Placed ramp = place("ramp start " + whole(low) + " °C", low, width, measure);
  Placed full = place("full " + whole(high) + " °C", high, width, measure);
  const double moving = ramp.width + full.width + leastGap;
  const bool fitsOneRow = width >= widthForOneRow && start.width + end.width + moving + 2 * leastGap <= width;
  const double first = fitsOneRow ? start.width + leastGap : 0;
  const double last = fitsOneRow ? width - end.width - leastGap : width;
  if (low <= high) {
    pushApart(ramp, full, first, last);
  } else {
    pushApart(full, ramp, first, last);
  }
  ramp.label.row = full.label.row = fitsOneRow ? 0 : 1;
  return {start.label, ramp.label, full.label, end.label};
}

std::string curveDescription(double low, double high) {
  return fmt::format("Fan speed rises linearly from minimum at {} degrees to maximum at {} degrees", whole(low),
                     whole(high));
}

}  // namespace halcyra
