#include "Helpers/ThermalDisplaySmoother.h"

#include <cmath>

namespace halcyra {

AsymmetricSmoother::AsymmetricSmoother(const Parameters& parameters)
    : value_(parameters.initialValue),
      risingAlpha_(parameters.risingAlpha),
      fallingAlpha_(parameters.fallingAlpha),
      deadband_(parameters.deadband) {}

double AsymmetricSmoother::update(double sample) {
  if (!std::isfinite(sample)) {
    return value_.value_or(sample);
  }
  if (!value_) {
    value_ = sample;
    return sample;
  }
  const double gap = sample - *value_;
  if (std::fabs(gap) > deadband_) {
    *value_ += gap * (gap > 0 ? risingAlpha_ : fallingAlpha_);
  }
  return *value_;
}

}  // namespace halcyra
