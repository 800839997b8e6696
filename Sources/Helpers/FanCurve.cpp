#include "Helpers/FanCurve.h"

#include <cmath>
#include <limits>

namespace halcyra {

std::int64_t FanCurve::rpm(double temperature) const {
  return ramp(temperature, minTemp, maxTemp, minRPM, maxRPM);
}

std::int64_t FanCurve::ramp(double temperature, double low, double high, std::int64_t bottom, std::int64_t top) {
  // Covers bounds that are not finite, and a width that overflows.
  if (!std::isfinite(high - low)) {
    return top;
  }
  if (temperature <= low) {
    return bottom;
  }
  // Nothing lies between the bounds of an empty or inverted range, and NaN lies between no bounds.
  if (temperature < high) {
    const auto from = static_cast<double>(bottom);
    const auto to = static_cast<double>(top);
    return rounded((temperature - low) / (high - low) * (to - from) + from);
  }
  return top;
}

std::int64_t FanCurve::rounded(double value) {
  // 2^63: the first value above what 64 bits hold; its negative is the lowest that they hold.
  constexpr double limit = 9223372036854775808.0;
  if (value >= limit) return std::numeric_limits<std::int64_t>::max();
  if (value < -limit) return std::numeric_limits<std::int64_t>::min();
  return std::llround(value);
}

}  // namespace halcyra
