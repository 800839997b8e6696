#include "Helpers/SensorReader.h"

#include <cmath>
#include <iterator>
#include <utility>

#include "fmt/format.h"

#include "SMC/AskTwice.h"

namespace halcyra {

namespace {

struct Range {
  /// °C, inclusive.
  double lower;
  double upper;

  bool contains(double value) const { return std::isfinite(value) && value >= lower && value <= upper; }
};

constexpr Range listedRange{-40.0, 125.0};
constexpr Range dieRange{20.0, 115.0};

constexpr std::size_t minimumCPUChannels = 4;
constexpr std::size_t minimumGPUChannels = 2;
constexpr std::size_t minimumGPUCandidates = 4;

bool contains(std::span<const SMCKey> keys, SMCKey key) {
  return std::ranges::find(keys, key) != keys.end();
}

bool isTemperatureKey(const SMCKeyInfo& info) {
  if (!info.keyName.starts_with('T')) {
    return false;
  }
  const std::string type = trimmedTypeName(info.dataType);
  return (type == "flt" && info.dataSize == 4) || (type == "sp78" && info.dataSize == 2);
}

std::size_t requiredChannels(std::size_t candidates, std::size_t minimum) {
  return std::max(candidates * 3 / 4, minimum);
}

std::vector<SMCKeyInfo> validCandidates(const std::vector<SMCKeyInfo>& candidates, const ThermalChannels& valid) {
  std::vector<SMCKeyInfo> kept;
  std::ranges::copy_if(candidates, std::back_inserter(kept), [&valid](const SMCKeyInfo& info) {
    return std::ranges::find(valid, info.key, &ThermalChannel::key) != valid.end();
  });
  return kept;
}

}  // namespace

std::vector<SMCKeyInfo> SensorReader::discoverTemperatureSensors() {
  const std::uint32_t count = smc_.getKeyCount();
  if (count > maximumKeyCount) {
    throw SMCError::keyCountMismatch();
  }
  std::vector<SMCKeyInfo> found;
  bool isComplete = true;
  for (std::uint32_t index = 0; index < count; ++index) {
    // One unreadable position must not hide the other sensors.
    auto info = askTwice(isComplete, [&] { return smc_.getKeyInfo(smc_.getKeyFromIndex(index)); });
    if (info && isTemperatureKey(*info)) {
      found.push_back(*std::move(info));
    }
  }
  // A key that never answers must not be looked for again at every read.
  isDiscoveryOver_ = isComplete || found == knownSensors_;
  knownSensors_ = std::move(found);
  return knownSensors_;
}

std::vector<SensorReading> SensorReader::readAllTemperatures() {
  discoverIfNeeded();
  std::vector<SensorReading> readings;
  readings.reserve(knownSensors_.size());
  for (const SMCKeyInfo& info : knownSensors_) {
    if (const auto value = readPlausible(info.key, listedRange.lower, listedRange.upper)) {
      readings.push_back({.keyName = info.keyName, .displayName = info.keyName, .value = *value});
    }
  }
  return readings;
}

SensorReading SensorReader::readTemperature(SMCKey key, const std::string& name) {
  const double value = smc_.readTemperature(key);
  if (!listedRange.contains(value)) {
    throw SMCError::readFailed(name + " returned an implausible temperature");
  }
  return {.keyName = stringFromKey(key), .displayName = name, .value = value};
}

CPUCoreAverage SensorReader::readCPUCoreAverage() {
  discoverIfNeeded();
  const bool hasTopology = hasValidatedTopology();
  const ThermalChannels cpu = readCPUChannels(hasTopology);
  const std::optional<double> cpuHotspot = readValidatedOptionalHotspot(cpuHotspotKey);
  const std::optional<double> gpuHotspot = readValidatedOptionalHotspot(gpuHotspotKey);
  const ThermalChannels gpu = readGPUChannels();

  constexpr auto performanceKeys = std::span(m3CPUCoreKeys).subspan<m3EfficiencyCoreKeys.size()>();
  const ThermalChannels efficiency = channelsAmong(cpu, m3EfficiencyCoreKeys);
  const ThermalChannels performance = channelsAmong(cpu, performanceKeys);
  const double cpuAverage = meanOf(cpu).value();
  const std::optional<double> gpuAverage = meanOf(gpu);
  return {.temperature = cpuAverage,
          .contributingKeys = sortedNames(cpu),
          .cpuMaximumTemperature = maximumOf(cpu).value(),
          .efficiencyAverageTemperature = meanOf(efficiency),
          .efficiencyMaximumTemperature = maximumOf(efficiency),
          .performanceAverageTemperature = meanOf(performance),
          .performanceMaximumTemperature = maximumOf(performance),
          .hotspotTemperature = cpuHotspot,
          .gpuAverageTemperature = gpuAverage,
          .gpuMaximumTemperature = maximumOf(gpu),
          .gpuContributingKeys = sortedNames(gpu),
          .gpuHotspotTemperature = gpuHotspot,
          .fanZoneReadings =
              hasTopology ? buildFanZoneReadings(cpu, gpu, cpuAverage, gpuAverage) : std::vector<FanZoneReading>{},
          .hasValidatedFanZoneTopology = hasTopology};
}

void SensorReader::discoverIfNeeded() {
  if (knownSensors_.empty() || !isDiscoveryOver_) {
    discoverTemperatureSensors();
  }
}

bool SensorReader::isKnown(SMCKey key) const {
  return std::ranges::find(knownSensors_, key, &SMCKeyInfo::key) != knownSensors_.end();
}

std::vector<SMCKeyInfo> SensorReader::knownAmong(std::span<const SMCKey> keys) const {
  std::vector<SMCKeyInfo> found;
  std::ranges::copy_if(knownSensors_, std::back_inserter(found),
                       [keys](const SMCKeyInfo& info) { return contains(keys, info.key); });
  return found;
}

bool SensorReader::hasValidatedTopology() const {
  const auto known = [this](std::span<const SMCKey> keys) {
    return std::ranges::count_if(keys, [this](SMCKey key) { return isKnown(key); });
  };
  return known(m3EfficiencyCoreKeys) >= 3 && known(m3PerformanceBankAKeys) >= 4 && known(m3PerformanceBankBKeys) >= 4;
}

std::vector<SMCKeyInfo> SensorReader::cpuCandidates(bool hasTopology) const {
  if (hasTopology) {
    return knownAmong(m3CPUCoreKeys);
  }
  std::vector<SMCKeyInfo> found;
  std::ranges::copy_if(knownSensors_, std::back_inserter(found), [](const SMCKeyInfo& info) {
    return info.keyName.starts_with("Tp") || info.keyName.starts_with("Te");
  });
  return found;
}

std::optional<double> SensorReader::readPlausible(SMCKey key, double lower, double upper) {
  try {
    const double value = smc_.readTemperature(key);
    return Range{lower, upper}.contains(value) ? std::optional(value) : std::nullopt;
  } catch (const SMCError&) {
    return std::nullopt;
  }
}

ThermalChannels SensorReader::readDieChannels(const std::vector<SMCKeyInfo>& candidates) {
  ThermalChannels valid;
  valid.reserve(candidates.size());
  for (const SMCKeyInfo& info : candidates) {
    if (const auto value = readPlausible(info.key, dieRange.lower, dieRange.upper)) {
      valid.push_back({info.key, *value});
    }
  }
  return valid;
}

ThermalChannels SensorReader::readCPUChannels(bool hasTopology) {
  const std::vector<SMCKeyInfo> candidates = cpuContributors_ ? *cpuContributors_ : cpuCandidates(hasTopology);
  ThermalChannels valid = readDieChannels(candidates);
  if (valid.size() < requiredChannels(candidates.size(), minimumCPUChannels)) {
    throw SMCError::readFailed(fmt::format("CPU Core Average has only {} valid channels", valid.size()));
  }
  if (!cpuContributors_ && isDiscoveryOver_) {
    cpuContributors_ = validCandidates(candidates, valid);
  }
  return valid;
}

ThermalChannels SensorReader::readGPUChannels() {
  const std::vector<SMCKeyInfo> candidates = gpuContributors_ ? *gpuContributors_ : knownAmong(m3GPUClusterKeys);
  if (!gpuContributors_ && candidates.size() < minimumGPUCandidates) {
    return {};
  }
  ThermalChannels valid = readDieChannels(candidates);
  if (valid.size() < requiredChannels(candidates.size(), minimumGPUChannels)) {
    throw SMCError::readFailed(fmt::format("GPU cluster average has only {} valid channels", valid.size()));
  }
  if (!gpuContributors_ && isDiscoveryOver_) {
    gpuContributors_ = validCandidates(candidates, valid);
  }
  return valid;
}

std::optional<double> SensorReader::readValidatedOptionalHotspot(SMCKey key) {
  return isKnown(key) ? readPlausible(key, dieRange.lower, dieRange.upper) : std::nullopt;
}

}  // namespace halcyra
