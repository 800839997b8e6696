#pragma once

#include <array>
#include <string_view>

namespace halcyra {

/// Whether this machine's sensors and fans have been validated for control; everything else is only monitored.
namespace ThermalControlCompatibility {

inline constexpr std::array<std::string_view, 1> verifiedModelIdentifiers{"Mac15,11"};

bool allowsControl(std::string_view modelIdentifier, bool hasValidatedFanZoneTopology);

}  // namespace ThermalControlCompatibility

}  // namespace halcyra
