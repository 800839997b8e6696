#include "Helpers/HysteresisCurve.h"

#include <algorithm>

#include "Helpers/FanCurve.h"
#include "Platform/Precondition.h"

namespace halcyra {

HysteresisCurve::HysteresisCurve(double lowTemperature, double highTemperature, double hysteresis)
    : lowTemperature_(lowTemperature),
      highTemperature_(highTemperature),
      hysteresis_(hysteresis >= 0.0 ? hysteresis : 0.0) {}

std::int64_t HysteresisCurve::target(double temperature, std::int64_t minimum, std::int64_t maximum) {
  precondition(minimum <= maximum, "HysteresisCurve::target needs a minimum that is not above the maximum");
  // The anchor stays in place while the speed is held, so that a slow fall adds up until it leaves the band.
  const bool holds =
      lastTemperature_ && lastRPM_ && temperature < *lastTemperature_ && *lastTemperature_ - temperature < hysteresis_;
  if (holds) {
    return std::clamp(*lastRPM_, minimum, maximum);
  }
  const std::int64_t result =
      std::clamp(FanCurve::ramp(temperature, lowTemperature_, highTemperature_, minimum, maximum), minimum, maximum);
  lastTemperature_ = temperature;
  lastRPM_ = result;
  return result;
}

}  // namespace halcyra
