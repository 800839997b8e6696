#pragma once

#include <optional>

namespace halcyra {

/// Follows a temperature at one rate upwards and another downwards, and not at all within a dead band.
class AsymmetricSmoother {
 public:
  struct Parameters {
    /// °C.
    std::optional<double> initialValue = std::nullopt;
    /// Share of the gap that one sample closes, 0…1.
    double risingAlpha = 1;
    double fallingAlpha = 1;
    /// °C; a gap up to this size, inclusive, changes nothing.
    double deadband = 0;
  };

  explicit AsymmetricSmoother(const Parameters& parameters);

  /// °C; nothing before the first finite sample.
  std::optional<double> value() const { return value_; }

  /// Takes one sample in °C and returns the value. A sample that is not finite changes nothing; with no value yet it
  /// is returned as it is.
  double update(double sample);
  /// Forgets the value.
  void reset() { value_.reset(); }

 private:
  std::optional<double> value_;
  double risingAlpha_;
  double fallingAlpha_;
  double deadband_;
};

/// Steadies the temperature that is shown.
class ThermalDisplaySmoother : public AsymmetricSmoother {
 public:
  using AsymmetricSmoother::AsymmetricSmoother;
};

/// Steadies a temperature that drives fans; a type of its own so that the two cannot be mixed up.
class ThermalControlFilter : public AsymmetricSmoother {
 public:
  using AsymmetricSmoother::AsymmetricSmoother;
};

}  // namespace halcyra
