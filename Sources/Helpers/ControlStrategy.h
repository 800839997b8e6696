#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace halcyra {

/// How a custom preset determines a fan's speed.
enum class ControlStrategy {
  /// By the curve, from the fan's zone temperature.
  cpuCoreAverage,
  /// A fixed speed.
  constantRPM,
};

inline constexpr std::array allControlStrategies{ControlStrategy::cpuCoreAverage, ControlStrategy::constantRPM};

/// The stored form.
std::string_view rawValue(ControlStrategy strategy);
/// From the stored form; nothing for any other text.
std::optional<ControlStrategy> controlStrategyFromRaw(std::string_view raw);

}  // namespace halcyra
