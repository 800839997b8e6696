#include <algorithm>
#include <utility>

#include "Helpers/SensorReader.h"

namespace halcyra {

namespace {

constexpr double chassisLower = 15.0;
constexpr double chassisUpper = 85.0;
constexpr std::size_t minimumChassisSensors = 2;
constexpr double chassisBiasGain = 0.35;
/// °C either way.
constexpr double chassisBiasLimit = 2.5;

constexpr double efficiencyShare = 0.15;
/// How much of the other side's heat reaches a fan.
constexpr double otherSideShare = 0.2;

/// What is fixed about one side of the machine.
struct Side {
  int fanIndex;
  const char* name;
  const char* cpuDriver;
  const char* gpuDriver;
  std::span<const SMCKey> cpuBank;
  std::span<const SMCKey> gpuBank;
};

constexpr Side leftSide{0,
                        "Left",
                        "CPU core bank A",
                        "GPU cluster bank A",
                        SensorReader::m3PerformanceBankAKeys,
                        SensorReader::m3GPUClusterBankAKeys};
constexpr Side rightSide{1,
                         "Right",
                         "CPU core bank B",
                         "GPU cluster bank B",
                         SensorReader::m3PerformanceBankBKeys,
                         SensorReader::m3GPUClusterBankBKeys};

/// The die temperatures next to one fan, °C.
struct DieHeat {
  double cpu = 0;
  std::optional<double> gpu;
};

DieHeat dieHeat(const Side& side, const ThermalChannels& cpu, const ThermalChannels& gpu, double cpuAverage,
                std::optional<double> gpuAverage) {
  DieHeat heat{.cpu = meanOf(channelsAmong(cpu, side.cpuBank)).value_or(cpuAverage),
               .gpu = meanOf(channelsAmong(gpu, side.gpuBank))};
  if (const auto efficiency = meanOf(channelsAmong(cpu, SensorReader::m3EfficiencyCoreKeys))) {
    heat.cpu = (1.0 - efficiencyShare) * heat.cpu + efficiencyShare * *efficiency;
  }
  if (!heat.gpu) {
    heat.gpu = gpuAverage;
  }
  return heat;
}

double blend(double own, double other) {
  return (1.0 - otherSideShare) * own + otherSideShare * other;
}

std::vector<std::string> contributors(const Side& side, bool isGPUDriven, const ThermalChannels& chassis) {
  std::vector<std::string> names = sortedNames(chassis);
  const auto add = [&names](std::span<const SMCKey> keys) {
    for (const SMCKey key : keys) {
      names.push_back(stringFromKey(key));
    }
  };
  if (isGPUDriven) {
    add(side.gpuBank);
  } else {
    add(side.cpuBank);
    add(SensorReader::m3EfficiencyCoreKeys);
  }
  std::ranges::sort(names);
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}

std::optional<double> chassisTemperature(const ThermalChannels& chassis) {
  return chassis.size() >= minimumChassisSensors ? meanOf(chassis) : std::nullopt;
}

FanZoneReading zoneReading(const Side& side, const DieHeat& own, const DieHeat& other, const ThermalChannels& chassis,
                           double bias) {
  const double cpuPart = blend(own.cpu, other.cpu);
  double local = cpuPart;
  if (own.gpu) {
    local = std::max(local, blend(*own.gpu, other.gpu.value_or(*own.gpu)));
  }
  const bool isGPUDriven = local > cpuPart;
  return {
      .fanIndex = side.fanIndex,
      .zoneName = side.name,
      .temperature = local + bias,
      .driver = isGPUDriven ? side.gpuDriver : side.cpuDriver,
      .contributingKeys = contributors(side, isGPUDriven, chassisTemperature(chassis) ? chassis : ThermalChannels{}),
      .localComputeTemperature = local,
      .localChassisTemperature = chassisTemperature(chassis)};
}

}  // namespace

std::vector<FanZoneReading> SensorReader::buildFanZoneReadings(const ThermalChannels& cpu, const ThermalChannels& gpu,
                                                               double cpuAverage, std::optional<double> gpuAverage) {
  const DieHeat left = dieHeat(leftSide, cpu, gpu, cpuAverage, gpuAverage);
  const DieHeat right = dieHeat(rightSide, cpu, gpu, cpuAverage, gpuAverage);
  const ThermalChannels leftChassis = readChassis(m3LeftChassisKeys);
  const ThermalChannels rightChassis = readChassis(m3RightChassisKeys);
  double bias = 0;
  if (const auto a = chassisTemperature(leftChassis), b = chassisTemperature(rightChassis); a && b) {
    bias = std::clamp((*a - *b) * chassisBiasGain, -chassisBiasLimit, chassisBiasLimit);
  }
  return {zoneReading(leftSide, left, right, leftChassis, bias),
          zoneReading(rightSide, right, left, rightChassis, -bias)};
}

ThermalChannels SensorReader::readChassis(std::span<const SMCKey> keys) {
  ThermalChannels kept;
  for (const SMCKey key : keys) {
    if (!isKnown(key)) {
      continue;
    }
    if (const auto value = readPlausible(key, chassisLower, chassisUpper)) {
      kept.push_back({key, *value});
    }
  }
  return kept;
}

}  // namespace halcyra
