#pragma once

#include <algorithm>
#include <cmath>
#include <string_view>

#include "Platform/UserDefaults.h"

namespace halcyra {

/// The number stored under `key`, limited to `low`…`high`; `fallback` when there is none. A stored 0 counts as none.
inline double storedNumber(const UserDefaults& defaults, std::string_view key, double fallback, double low,
                           double high) {
  const double stored = defaults.number(key).value_or(0.0);
  return stored == 0.0 || !std::isfinite(stored) ? fallback : std::clamp(stored, low, high);
}

}  // namespace halcyra
