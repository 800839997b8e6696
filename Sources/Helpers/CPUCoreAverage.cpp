#include "Helpers/CPUCoreAverage.h"

#include <algorithm>

namespace halcyra {

double CPUCoreAverage::thermalDisplayTemperature() const {
  double hottest = cpuMaximumTemperature;
  for (const std::optional<double>& other : {gpuMaximumTemperature, hotspotTemperature, gpuHotspotTemperature}) {
    hottest = std::max(hottest, other.value_or(hottest));
  }
  return hottest;
}

double CPUCoreAverage::controlTemperature() const {
  if (fanZoneReadings.empty()) {
    return std::max(temperature, gpuAverageTemperature.value_or(temperature));
  }
  return std::ranges::max_element(fanZoneReadings, {}, &FanZoneReading::temperature)->temperature;
}

}  // namespace halcyra
