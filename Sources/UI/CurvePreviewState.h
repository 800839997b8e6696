#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace halcyra {

/// The two points of a curve.
enum class EditorBound { low, high };

/// What a fan's zone reports, and what the fan can do.
struct CurveReading {
  int fan = 0;
  /// °C; absent while there is no trustworthy value.
  std::optional<double> temperature;
  /// RPM.
  std::int64_t minRPM = 0;
  std::int64_t maxRPM = 0;

  bool operator==(const CurveReading&) const = default;
};

/// Where a fan stands on a curve at the moment.
struct CurveMark {
  int fan = 0;
  /// °C.
  double temperature = 0;
  /// Of the way from the least to the greatest speed, 0…1.
  double speed = 0;
  /// "Left Fan: 61.3 °C asks for 3120 RPM"
  std::string text;

  bool operator==(const CurveMark&) const = default;
};

/// A text under the preview's canvas.
struct CurvePreviewLabel {
  std::string text;
  /// Left edge, in the canvas's coordinates.
  double left = 0;
  int row = 0;
};

/// The horizontal place of a temperature (°C) on a canvas of `width`, whose axis runs from 20 to 100 °C.
double curvePreviewX(double temperature, double width);

/// The whole temperature (°C) at a place on that canvas, and at the ends of the axis beyond it.
double curvePreviewTemperature(double x, double width);

/// Where a point of the curve comes to rest that is moved to `temperature` (°C): on the axis, and a degree away from
/// the other point, past which it does not go. A curve that is upside down can be put right.
double movedCurvePoint(EditorBound bound, double temperature, double low, double high);

/// A mark for each fan with a temperature on the curve from `low` to `high` (°C), the hysteresis left out of account.
std::vector<CurveMark> makeCurveMarks(const std::vector<CurveReading>& readings, double low, double high);

/// The texts under the canvas, each centred on its temperature where there is room. `measure` gives a text's width.
std::vector<CurvePreviewLabel> layOutCurveLabels(double low, double high, double width,
                                                 const std::function<double(const std::string&)>& measure);

/// What the preview says to assistive technology.
std::string curveDescription(double low, double high);

}  // namespace halcyra
