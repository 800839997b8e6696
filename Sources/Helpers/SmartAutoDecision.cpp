#include "Helpers/SmartAutoDecision.h"

#include <algorithm>

#include "Helpers/SmartAutoCurve.h"
#include "Platform/Precondition.h"

namespace halcyra::SmartAutoDecision {

std::int64_t targetRPM(double zoneTemperature, std::optional<double> sustainedDieTemperature,
                       bool criticalOverrideActive, std::int64_t minimum, std::int64_t maximum) {
  precondition(minimum <= maximum, "Smart Auto needs a minimum speed that is not above the maximum");
  if (criticalOverrideActive) {
    return maximum;
  }
  const std::int64_t zoneSpeed = SmartAutoCurve::rpm(zoneTemperature, minimum, maximum);
  if (!sustainedDieTemperature) {
    return zoneSpeed;
  }
  return std::max(zoneSpeed, SmartAutoCurve::dieFloorRPM(*sustainedDieTemperature, minimum, maximum));
}

bool floorDrivesDecision(double zoneTemperature, std::optional<double> sustainedDieTemperature, std::int64_t minimum,
                         std::int64_t maximum) {
  return sustainedDieTemperature && SmartAutoCurve::rpm(zoneTemperature, minimum, maximum) <
                                        SmartAutoCurve::dieFloorRPM(*sustainedDieTemperature, minimum, maximum);
}

std::optional<double> effectiveSustainedDieTemperature(std::optional<double> temperature, bool boosting) {
  return temperature && boosting ? SmartAutoCurve::nextDieFloorTierTemperature(*temperature) : temperature;
}

bool needsReassertion(std::int64_t commanded, std::optional<std::int64_t> readback) {
  return readback && (*readback >= commanded ? *readback - commanded : commanded - *readback) >= readbackToleranceRPM;
}

}  // namespace halcyra::SmartAutoDecision
