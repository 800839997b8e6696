#include "Helpers/SustainedDieHeatFilter.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace halcyra {

SustainedDieHeatFilter::SustainedDieHeatFilter(const Parameters& parameters)
    : risingAlpha_(parameters.risingAlpha),
      fallingAlpha_(parameters.fallingAlpha),
      missTolerance_(parameters.missTolerance) {}

std::optional<double> SustainedDieHeatFilter::update(double sample) {
  if (!std::isfinite(sample)) {
    return value_;
  }
  consecutiveMisses_ = 0;
  recentSamples_.push_back(sample);
  if (recentSamples_.size() > windowSize) {
    recentSamples_.erase(recentSamples_.begin());
  }
  if (recentSamples_.size() < windowSize) {
    return std::nullopt;
  }
  std::array<double, windowSize> sorted{};
  std::ranges::copy(recentSamples_, sorted.begin());
  std::ranges::sort(sorted);
  const double median = sorted[windowSize / 2];
  if (value_) {
    *value_ += (median - *value_) * (*value_ < median ? risingAlpha_ : fallingAlpha_);
  } else {
    value_ = median;
  }
  return value_;
}

std::optional<double> SustainedDieHeatFilter::noteMissingSample() {
  ++consecutiveMisses_;
  if (consecutiveMisses_ >= missTolerance_) {
    reset();
  }
  return value_;
}

void SustainedDieHeatFilter::reset() {
  value_.reset();
  recentSamples_.clear();
  consecutiveMisses_ = 0;
}

}  // namespace halcyra
