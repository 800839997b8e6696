#pragma once

#include <chrono>
#include <string>

namespace halcyra {

/// A span of time in seconds, as every interface of the program takes it.
using Seconds = std::chrono::duration<double>;

/// Wall-clock time: what the user sees. May jump when the clock is set.
using Date = std::chrono::time_point<std::chrono::system_clock, Seconds>;

/// Steady time, for deadlines, intervals and the thermal filters. Never jumps: a clock set back an hour would otherwise
/// hold the critical override, and every step down, for that hour. The zero point means nothing.
using Instant = std::chrono::time_point<std::chrono::steady_clock, Seconds>;

/// UTC to the second, "2025-03-01T12:34:56Z". Dates outside the years 1970…9999 are limited to that range.
std::string iso8601String(Date date);

}  // namespace halcyra
