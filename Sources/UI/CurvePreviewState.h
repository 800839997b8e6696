#pragma once

#include <functional>
#include <string>
#include <vector>

namespace halcyra {

/// A text under the preview's canvas.
struct CurvePreviewLabel {
  std::string text;
  /// Left edge, in the canvas's coordinates.
  double left = 0;
  int row = 0;
};

/// The horizontal place of a temperature (°C) on a canvas of `width`, whose axis runs from 20 to 100 °C.
double curvePreviewX(double temperature, double width);

/// The texts under the canvas, each centred on its temperature where there is room. `measure` gives a text's width.
std::vector<CurvePreviewLabel> layOutCurveLabels(double low, double high, double width,
                                                 const std::function<double(const std::string&)>& measure);

/// What the preview says to assistive technology.
std::string curveDescription(double low, double high);

}  // namespace halcyra
