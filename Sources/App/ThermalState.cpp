#include "App/ThermalState.h"

#include <algorithm>
#include <utility>

#include "fmt/format.h"

namespace halcyra {

namespace {

constexpr std::size_t sustainedDieSampleCount = 3;

constexpr FanZoneThermalFilter::Parameters zoneFilterParameters{.initialValue = std::nullopt,
                                                                .risingAlpha = 0.45,
                                                                .fallingAlpha = 0.18,
                                                                .deadband = 0.35,
                                                                .coolingThreshold = 1.0,
                                                                .coolingHold = Seconds{8.0}};

}  // namespace

void ThermalState::apply(const CPUCoreAverage& average, Instant now) {
  ThermalReadings readings;
  readings.cpuCoreAverage = average.temperature;
  readings.gpuCoreAverage = average.gpuAverageTemperature;
  readings.cpuCoreMaximum = average.cpuMaximumTemperature;
  readings.efficiencyCoreMaximum = average.efficiencyMaximumTemperature;
  readings.performanceCoreMaximum = average.performanceMaximumTemperature;
  readings.gpuCoreMaximum = average.gpuMaximumTemperature;
  readings.cpuDieHotspot = average.hotspotTemperature;
  readings.gpuDieHotspot = average.gpuHotspotTemperature;
  const double hottest = average.thermalDisplayTemperature();
  displayPipeline_.update(hottest);
  readings.display = displayPipeline_.value();
  updateCriticalOverride(hottest, now, readings);
  updateSustainedDie(average, now, readings);
  updateZones(average, now, readings);
  readings_ = std::move(readings);
}

void ThermalState::updateCriticalOverride(double temperature, Instant now, ThermalReadings& readings) {
  const bool wasActive = readings_->criticalOverrideActive;
  readings.criticalOverrideActive = criticalOverride_.update(temperature, now);
  if (readings.criticalOverrideActive && !wasActive) {
    logger_.error(fmt::format(
        "critical raw-die override engaged at {:f}°C; all manually controlled fans will run at maximum", temperature));
  } else if (!readings.criticalOverrideActive && wasActive) {
    logger_.log("critical raw-die override cleared after sustained cooling");
  }
}

void ThermalState::updateSustainedDie(const CPUCoreAverage& average, Instant now, ThermalReadings& readings) {
  // An absent hotspot compares below every present one.
  const std::optional<double> hottest = std::max(average.hotspotTemperature, average.gpuHotspotTemperature);
  readings.sustainedDie = hottest ? sustainedDieFilter_.update(*hottest) : sustainedDieFilter_.noteMissingSample();
  if (!readings.sustainedDie) {
    sustainedDieSamples_.clear();
    return;
  }
  sustainedDieSamples_.emplace_back(now, *readings.sustainedDie);
  if (sustainedDieSamples_.size() > sustainedDieSampleCount) {
    sustainedDieSamples_.erase(sustainedDieSamples_.begin());
  }
}

void ThermalState::updateZones(const CPUCoreAverage& average, Instant now, ThermalReadings& readings) {
  zoneReadings_.clear();
  for (const FanZoneReading& reading : average.fanZoneReadings) {
    // Of two readings for one fan the first is kept.
    if (!zoneReadings_.emplace(reading.fanIndex, reading).second) {
      continue;
    }
    auto& filter = zoneFilters_.try_emplace(reading.fanIndex, zoneFilterParameters).first->second;
    const double temperature = filter.update(reading.temperature, now);
    readings.zones[reading.fanIndex] = temperature;
    readings.zoneDrivers[reading.fanIndex] = reading.driver;
    readings.control = std::max(readings.control, std::optional(temperature));
  }
  if (!readings.control) {
    readings.control = std::max(std::optional(average.temperature), average.gpuAverageTemperature);
  }
}

void ThermalState::clear() {
  zoneFilters_.clear();
  zoneReadings_.clear();
  sustainedDieFilter_.reset();
  sustainedDieSamples_.clear();
  criticalOverride_.reset();
  displayPipeline_.reset();
  ThermalReadings readings = *readings_;
  readings.zones.clear();
  readings.zoneDrivers.clear();
  readings.sustainedDie.reset();
  readings.criticalOverrideActive = false;
  readings.display.reset();
  readings_ = std::move(readings);
}

void ThermalState::clearControlTemperature() {
  if (readings_->control) {
    readings_.mutate([](ThermalReadings& readings) { readings.control.reset(); });
  }
}

void ThermalState::setZoneDriver(int fan, const std::string& driver) {
  const auto found = readings_->zoneDrivers.find(fan);
  if (found == readings_->zoneDrivers.end() || found->second != driver) {
    readings_.mutate([&](ThermalReadings& readings) { readings.zoneDrivers[fan] = driver; });
  }
}

const FanZoneReading* ThermalState::zoneReading(int fan) const {
  const auto found = zoneReadings_.find(fan);
  return found == zoneReadings_.end() ? nullptr : &found->second;
}

double ThermalState::zoneTemperature(int fan, double fallback) const {
  const auto zone = readings_->zones.find(fan);
  return zone != readings_->zones.end() ? zone->second : readings_->control.value_or(fallback);
}

}  // namespace halcyra
