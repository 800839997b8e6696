#pragma once

#include <optional>

#include "Helpers/SustainedDieHeatFilter.h"
#include "Helpers/ThermalDisplaySmoother.h"

namespace halcyra {

/// The temperature that is shown: one-sample spikes are dropped, rises are followed faster than falls.
class TemperatureDisplayPipeline {
 public:
  /// °C; nothing before the first finite sample.
  std::optional<double> value() const { return value_; }
  /// Three samples have been seen.
  bool isEstablished() const { return spikeFilter_.value().has_value(); }

  /// Takes one sample in °C and returns the displayed value. A sample that is not finite changes nothing.
  std::optional<double> update(double sample);
  void reset();

 private:
  std::optional<double> value_;
  SustainedDieHeatFilter spikeFilter_{{.risingAlpha = 1.0, .fallingAlpha = 1.0, .missTolerance = 2}};
  ThermalDisplaySmoother smoother_{{.risingAlpha = 0.65, .fallingAlpha = 0.2, .deadband = 0.25}};
};

}  // namespace halcyra
