#include "Helpers/CriticalThermalOverride.h"

#include <cmath>

namespace halcyra {

bool CriticalThermalOverride::update(double temperature, Instant now) {
  if (!std::isfinite(temperature)) {
    return isActive_;
  }
  if (temperature >= engageTemperature) {
    isActive_ = true;
    releaseSince_.reset();
  } else if (isActive_ && temperature >= releaseTemperature) {
    releaseSince_.reset();
  } else if (isActive_ && !releaseSince_) {
    releaseSince_ = now;
  } else if (isActive_ && now - *releaseSince_ >= releaseHold) {
    reset();
  }
  return isActive_;
}

void CriticalThermalOverride::reset() {
  isActive_ = false;
  releaseSince_.reset();
}

}  // namespace halcyra
