#include "Helpers/FanZoneThermalFilter.h"

#include <cmath>

namespace halcyra {

FanZoneThermalFilter::FanZoneThermalFilter(const Parameters& parameters)
    : value_(parameters.initialValue),
      risingAlpha_(parameters.risingAlpha),
      fallingAlpha_(parameters.fallingAlpha),
      deadband_(parameters.deadband),
      coolingThreshold_(parameters.coolingThreshold),
      coolingHold_(parameters.coolingHold) {}

double FanZoneThermalFilter::update(double sample, Instant now) {
  if (!std::isfinite(sample)) {
    return value_.value_or(sample);
  }
  if (!value_) {
    value_ = sample;
    coolingSince_.reset();
    return sample;
  }
  const double gap = sample - *value_;
  if (gap >= -deadband_) {
    coolingSince_.reset();
    if (gap > deadband_) {
      *value_ += gap * risingAlpha_;
    }
  } else if (coolingSince_) {
    // The wait stays over until the temperature comes back, so that later falls are followed at once.
    if (now - *coolingSince_ >= coolingHold_) {
      *value_ += gap * fallingAlpha_;
    }
  } else if (-gap >= coolingThreshold_) {
    coolingSince_ = now;
  }
  return *value_;
}

void FanZoneThermalFilter::reset() {
  value_.reset();
  coolingSince_.reset();
}

}  // namespace halcyra
