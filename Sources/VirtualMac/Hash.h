#pragma once

#include <cstdint>

namespace halcyra {

/// A counter-based random number: the same arguments always give the same 64 bits, so that nothing depends on the
/// order in which numbers are drawn.
constexpr std::uint64_t hashOf(std::uint64_t seed, std::uint64_t stream, std::uint64_t counter) {
  std::uint64_t value = seed * 0x9E3779B97F4A7C15ULL ^ stream * 0xD1B54A32D192ED03ULL ^ counter * 0x8CB92BA72F3D8DD7ULL;
  for (int round = 0; round < 2; ++round) {
    value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9ULL;
    value = (value ^ value >> 27) * 0x94D049BB133111EBULL;
    value ^= value >> 31;
  }
  return value;
}

/// 0 (inclusive) … 1 (exclusive).
constexpr double unitOf(std::uint64_t hash) {
  return static_cast<double>(hash >> 11) * 0x1.0p-53;
}

/// Bell-shaped around 0 with a standard deviation of 1, never beyond 3.5.
constexpr double bellOf(std::uint64_t hash) {
  double sum = 0;
  for (int part = 0; part < 4; ++part) {
    sum += static_cast<double>(hash >> (16 * part) & 0xFFFF) / 65535.0 - 0.5;
  }
  return sum * 1.7320508075688772;
}

}  // namespace halcyra
