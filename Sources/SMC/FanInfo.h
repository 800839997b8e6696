#pragma once

#include <cstdint>
#include <optional>

namespace halcyra {

enum class FanMode : int {
  /// The firmware controls the fan.
  automatic = 0,
  /// The fan follows its target key.
  manual = 1,
};

/// 0 and 1 only.
constexpr std::optional<FanMode> fanModeFromRaw(std::int64_t raw) {
  if (raw == 0) return FanMode::automatic;
  if (raw == 1) return FanMode::manual;
  return std::nullopt;
}

/// 1 is manual, everything else automatic.
constexpr FanMode fanModeFromSafeRaw(std::int64_t raw) {
  return raw == 1 ? FanMode::manual : FanMode::automatic;
}

/// Whether a mode key reading `raw` counts as automatic for the purpose of a reset: 0, and 3.
constexpr bool isSystemManagedFanMode(std::uint8_t raw) {
  return raw == 0 || raw == 3;
}

/// One fan's reading. `1 <= minRPM <= maxRPM`.
struct FanInfo {
  /// 0…9.
  int index = 0;
  std::int64_t actualRPM = 0;
  std::int64_t minRPM = 0;
  std::int64_t maxRPM = 0;
  FanMode mode = FanMode::automatic;
  /// Absent when the target key could not be read.
  std::optional<std::int64_t> targetRPM = std::nullopt;

  bool operator==(const FanInfo&) const = default;
};

}  // namespace halcyra
