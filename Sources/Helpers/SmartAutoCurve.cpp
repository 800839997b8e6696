#include "Helpers/SmartAutoCurve.h"

#include <algorithm>

#include "Helpers/FanCurve.h"
#include "Platform/Precondition.h"

namespace halcyra::SmartAutoCurve {

namespace {

constexpr double fullSpeed = 1.0;

double lookUp(const Table& table, double temperature) {
  if (temperature <= table.front().temperature) {
    return 0.0;
  }
  if (temperature >= table.back().temperature) {
    return fullSpeed;
  }
  for (std::size_t i = 1; i < table.size(); ++i) {
    const Point& from = table[i - 1];
    const Point& to = table[i];
    if (temperature <= to.temperature) {
      const double width = to.temperature - from.temperature;
      return width > 0.0 ? from.fraction + (temperature - from.temperature) / width * (to.fraction - from.fraction)
                         : to.fraction;
    }
  }
  return fullSpeed;
}

std::int64_t speed(double fraction, std::int64_t minimum, std::int64_t maximum) {
  precondition(minimum <= maximum, "Smart Auto needs a minimum speed that is not above the maximum");
  const auto from = static_cast<double>(minimum);
  return std::clamp(FanCurve::rounded(fraction * (static_cast<double>(maximum) - from) + from), minimum, maximum);
}

double nextTemperature(const Table& table, double temperature) {
  const auto next =
      std::find_if(table.begin(), table.end(), [&](const Point& point) { return point.temperature > temperature; });
  return next == table.end() ? table.back().temperature : next->temperature;
}

}  // namespace

double fraction(double temperature) {
  return lookUp(points, temperature);
}

std::int64_t rpm(double temperature, std::int64_t minimum, std::int64_t maximum) {
  return speed(fraction(temperature), minimum, maximum);
}

double dieFloorFraction(double sustainedDieTemperature) {
  return lookUp(dieFloorPoints, sustainedDieTemperature);
}

std::int64_t dieFloorRPM(double sustainedDieTemperature, std::int64_t minimum, std::int64_t maximum) {
  return speed(dieFloorFraction(sustainedDieTemperature), minimum, maximum);
}

int tier(double temperature) {
  return static_cast<int>(std::count_if(tiers.begin(), tiers.end(), [&](double tier) { return tier <= temperature; }));
}

double nextTierTemperature(double temperature) {
  return nextTemperature(points, temperature);
}

double nextDieFloorTierTemperature(double temperature) {
  return nextTemperature(dieFloorPoints, temperature);
}

bool isBoosting(std::span<const Sample> samples) {
  constexpr std::size_t needed = 3;
  if (samples.size() < needed) {
    return false;
  }
  const auto recent = samples.last(needed);
  for (std::size_t i = 1; i < needed; ++i) {
    const Seconds elapsed = recent[i].first - recent[i - 1].first;
    if (!(elapsed > Seconds::zero())) {
      return false;
    }
    const double rate = (recent[i].second - recent[i - 1].second) / elapsed.count();
    if (!(rate > boostRatePerSecond)) {
      return false;
    }
  }
  return true;
}

}  // namespace halcyra::SmartAutoCurve
