#include "Helpers/ThermalControlCompatibility.h"

#include <algorithm>

namespace halcyra::ThermalControlCompatibility {

bool allowsControl(std::string_view modelIdentifier, bool hasValidatedFanZoneTopology) {
  return hasValidatedFanZoneTopology &&
         std::ranges::find(verifiedModelIdentifiers, modelIdentifier) != verifiedModelIdentifiers.end();
}

}  // namespace halcyra::ThermalControlCompatibility
