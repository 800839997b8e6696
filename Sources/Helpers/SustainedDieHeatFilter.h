#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace halcyra {

/// Follows the median of the last three samples and forgets it when samples go missing.
class SustainedDieHeatFilter {
 public:
  /// Samples that the median is taken of.
  static constexpr std::size_t windowSize = 3;

  struct Parameters {
    /// Share of the gap that one sample closes, 0…1.
    double risingAlpha = 1;
    double fallingAlpha = 1;
    /// So many missing samples in a row clear the filter.
    int missTolerance = 1;
  };

  explicit SustainedDieHeatFilter(const Parameters& parameters);

  /// °C; nothing before three finite samples.
  std::optional<double> value() const { return value_; }
  /// At most three, oldest first, °C.
  const std::vector<double>& recentSamples() const { return recentSamples_; }
  int consecutiveMisses() const { return consecutiveMisses_; }

  /// Takes one sample in °C and returns the value; nothing while fewer than three samples are held. A sample that is
  /// not finite changes nothing.
  std::optional<double> update(double sample);
  /// Takes note of a poll without a die value and returns what is left of the value.
  std::optional<double> noteMissingSample();
  void reset();

 private:
  std::optional<double> value_;
  std::vector<double> recentSamples_;
  int consecutiveMisses_ = 0;
  double risingAlpha_;
  double fallingAlpha_;
  int missTolerance_;
};

}  // namespace halcyra
