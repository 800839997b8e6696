#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "Platform/Time.h"

/// The tables of Smart Auto. Pure functions; temperatures in °C, speeds in RPM. A temperature that is not a number
/// gives full speed.
namespace halcyra::SmartAutoCurve {

struct Point {
  double temperature;
  /// Position between the fan's minimum (0) and maximum (1) speed.
  double fraction;
};

using Table = std::array<Point, 5>;

/// Driven by the fan's zone temperature.
inline constexpr Table points{{{55, 0.00}, {60, 0.35}, {75, 0.65}, {85, 0.85}, {90, 1.00}}};
/// Driven by the sustained die temperature; can only raise the target.
inline constexpr Table dieFloorPoints{{{84, 0.00}, {88, 0.40}, {92, 0.62}, {96, 0.82}, {100, 1.00}}};

constexpr std::array<double, points.size()> temperatures(const Table& table) {
  std::array<double, points.size()> result{};
  for (std::size_t i = 0; i < table.size(); ++i) {
    result[i] = table[i].temperature;
  }
  return result;
}

inline constexpr std::array tiers = temperatures(points);

/// Rise of the sustained die temperature, °C per second, above which Smart Auto looks one tier ahead.
inline constexpr double boostRatePerSecond = 1.0;
/// How long a lower target must persist before the fan steps down.
inline constexpr Seconds stepDownDelay{30.0};
/// The largest single step down.
inline constexpr std::int64_t stepDownRPM = 500;

double fraction(double temperature);
/// Requires `minimum <= maximum`, as every speed below.
std::int64_t rpm(double temperature, std::int64_t minimum, std::int64_t maximum);
double dieFloorFraction(double sustainedDieTemperature);
std::int64_t dieFloorRPM(double sustainedDieTemperature, std::int64_t minimum, std::int64_t maximum);

/// How many tiers `temperature` has reached: 0…5.
int tier(double temperature);
/// The first tier above `temperature`, else the last tier.
double nextTierTemperature(double temperature);
double nextDieFloorTierTemperature(double temperature);

/// One sustained die temperature and when it was taken.
using Sample = std::pair<Instant, double>;

/// Whether the temperature rose faster than `boostRatePerSecond` over both of the last two intervals. Oldest first.
bool isBoosting(std::span<const Sample> samples);

}  // namespace halcyra::SmartAutoCurve
