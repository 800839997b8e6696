#include "UI/DurationText.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "fmt/format.h"

namespace halcyra {

namespace {

/// Beyond what any session lasts, and safely within 64 bits.
constexpr double longestSpan = 1.0e12;

}  // namespace

std::string durationText(Seconds span) {
  const double seconds = std::isnan(span.count()) ? 0.0 : std::clamp(span.count(), 0.0, longestSpan);
  const auto whole = static_cast<std::int64_t>(seconds);
  const bool hasHours = whole >= 3600;
  const std::int64_t major = hasHours ? whole / 3600 : whole / 60;
  const std::int64_t minor = hasHours ? whole % 3600 / 60 : whole % 60;
  const char majorUnit = hasHours ? 'h' : 'm';
  const char minorUnit = hasHours ? 'm' : 's';
  if (major == 0) return fmt::format("{}{}", minor, minorUnit);
  if (minor == 0) return fmt::format("{}{}", major, majorUnit);
  return fmt::format("{}{} {}{}", major, majorUnit, minor, minorUnit);
}

}  // namespace halcyra
