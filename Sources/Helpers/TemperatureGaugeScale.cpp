#include "Helpers/TemperatureGaugeScale.h"

#include <algorithm>
#include <cmath>

namespace halcyra::TemperatureGaugeScale {

double fraction(double temperature) {
  if (std::isnan(temperature)) {
    return 0.0;
  }
  return std::clamp((temperature - lowerBound) / (upperBound - lowerBound), 0.0, 1.0);
}

}  // namespace halcyra::TemperatureGaugeScale
