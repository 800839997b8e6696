#pragma once

namespace halcyra::TemperatureGaugeScale {

/// °C at which a gauge is empty and full.
inline constexpr double lowerBound = 30.0;
inline constexpr double upperBound = 105.0;

/// How full a gauge is at `temperature` °C, 0…1; empty for a temperature that is not a number.
double fraction(double temperature);

}  // namespace halcyra::TemperatureGaugeScale
