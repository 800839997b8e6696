#include "Platform/Time.h"

#include <algorithm>
#include <cmath>
#include <ctime>

#include "fmt/chrono.h"

namespace halcyra {

std::string iso8601String(Date date) {
  constexpr double lastSecondOf9999 = 253402300799.0;
  double seconds = date.time_since_epoch().count();
  seconds = std::isnan(seconds) ? 0.0 : std::clamp(std::floor(seconds), 0.0, lastSecondOf9999);
  return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(static_cast<std::time_t>(seconds)));
}

}  // namespace halcyra
