#pragma once

#include <cstdint>
#include <optional>

/// What Smart Auto asks of one fan. Pure functions; temperatures in °C, speeds in RPM, `minimum <= maximum`.
namespace halcyra::SmartAutoDecision {

/// A fan whose target reads back at least this far from the commanded one is commanded again.
inline constexpr std::int64_t readbackToleranceRPM = 50;

std::int64_t targetRPM(double zoneTemperature, std::optional<double> sustainedDieTemperature,
                       bool criticalOverrideActive, std::int64_t minimum, std::int64_t maximum);

/// Whether the die-heat floor, not the zone, decides the speed.
bool floorDrivesDecision(double zoneTemperature, std::optional<double> sustainedDieTemperature, std::int64_t minimum,
                         std::int64_t maximum);

/// The temperature to look the die-heat floor up with: while boosting, the next tier's.
std::optional<double> effectiveSustainedDieTemperature(std::optional<double> temperature, bool boosting);

bool needsReassertion(std::int64_t commanded, std::optional<std::int64_t> readback);

}  // namespace halcyra::SmartAutoDecision
