#pragma once

#include <string>

#include "Platform/Time.h"

namespace halcyra {

/// A span in the two units that suit it, zero units dropped and fractions cut: "1h 5m" from an hour on, "1m 30s"
/// below; "0s" for less than a second, for a negative span and for one that is not a number.
std::string durationText(Seconds span);

}  // namespace halcyra
