#pragma once

#include <chrono>
#include <string>

namespace halcyra {

/// A span of time in seconds, as every interface of the program takes it.
using Seconds = std::chrono::duration<double>;

/// Wall-clock time: what the user sees and what the thermal filters are given. May jump when the clock is set.
using Date = std::chrono::time_point<std::chrono::system_clock, Seconds>;

/// Steady time: what deadlines that guard safety are measured on. Never jumps; the zero point means nothing.
using Instant = std::chrono::time_point<std::chrono::steady_clock, Seconds>;

/// Earlier and later than every date that a clock can give.
inline constexpr Date distantPast{Seconds{-1.0e15}};
inline constexpr Date distantFuture{Seconds{1.0e15}};

/// UTC to the second, "2025-03-01T12:34:56Z". Dates outside the years 1970…9999 are limited to that range.
std::string iso8601String(Date date);

}  // namespace halcyra
