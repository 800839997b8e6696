#include "Helpers/TemperatureDisplayPipeline.h"

#include <cmath>

namespace halcyra {

std::optional<double> TemperatureDisplayPipeline::update(double sample) {
  if (!std::isfinite(sample)) {
    return value_;
  }
  const std::optional<double> median = spikeFilter_.update(sample);
  if (median) {
    value_ = smoother_.update(*median);
  } else if (!value_) {
    value_ = smoother_.update(sample);
  }
  return value_;
}

void TemperatureDisplayPipeline::reset() {
  value_.reset();
  spikeFilter_.reset();
  smoother_.reset();
}

}  // namespace halcyra
