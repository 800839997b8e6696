#include "VirtualMac/SensorBank.h"

#include <algorithm>

#include "VirtualMac/Hash.h"

namespace halcyra {

namespace {

/// °C, standard deviations of the noise.
constexpr double dieNoise = 0.35;
constexpr double otherNoise = 0.08;

/// A stray sample: how rarely, and by how many °C it is too high.
constexpr double strayProbability = 1.0 / 2500.0;
constexpr double strayLeast = 3.0;
constexpr double strayMost = 8.0;

constexpr std::uint64_t individualStream = 1ULL << 40;
constexpr std::uint64_t noiseStream = 2ULL << 40;
constexpr std::uint64_t strayStream = 3ULL << 40;

bool isGraphics(ThermalNode node) {
  return node == ThermalNode::gpuA || node == ThermalNode::gpuB;
}

}  // namespace

SensorBank::SensorBank(std::uint64_t seed, const FaultSet& faults) : seed_(seed), faults_(faults) {
  const auto& sensors = sensorTraits();
  for (std::size_t index = 0; index < sensors.size(); ++index) {
    const SensorTraits& sensor = sensors[index];
    const double individual = 2 * unitOf(hashOf(seed_, individualStream | sensor.key.rawValue, 0)) - 1;
    offsets_.push_back(sensor.offset + sensor.spread * individual);
    if (sensor.kind == SensorKind::die) {
      (isGraphics(sensor.node) ? graphicsDies_ : processorDies_).push_back(index);
    }
  }
}

void SensorBank::sample(std::uint64_t number, ThermalModel& model, const Workload& replay, double replayTime) {
  sample_ = number;
  replayed_.clear();
  if (replay.replaysTemperatures()) {
    for (const SensorTraits& sensor : sensorTraits()) {
      replayed_.push_back(replay.replayedTemperature(sensor.key, replayTime));
    }
    imposeReplay(model);
  }
  ambient_ = model.ambient();
  nodes_ = model.temperatures();
}

void SensorBank::imposeReplay(ThermalModel& model) const {
  if (replayed_.empty()) {
    return;
  }
  std::array<double, dieNodeCount> sums{};
  std::array<int, dieNodeCount> counts{};
  const auto& sensors = sensorTraits();
  for (std::size_t index = 0; index < sensors.size(); ++index) {
    if (sensors[index].kind == SensorKind::die && replayed_[index]) {
      const auto node = static_cast<std::size_t>(sensors[index].node);
      sums[node] += *replayed_[index];
      ++counts[node];
    }
  }
  for (std::size_t node = 0; node < dieNodeCount; ++node) {
    if (counts[node] > 0) {
      model.setTemperature(static_cast<ThermalNode>(node), sums[node] / counts[node]);
    }
  }
}

double SensorBank::dieBase(std::size_t sensor) const {
  if (!replayed_.empty() && replayed_[sensor]) {
    return *replayed_[sensor];
  }
  return nodes_[static_cast<std::size_t>(sensorTraits()[sensor].node)] + offsets_[sensor];
}

double SensorBank::hottest(bool graphics) const {
  const auto& dies = graphics ? graphicsDies_ : processorDies_;
  double highest = dieBase(dies.front());
  for (const std::size_t sensor : dies) {
    highest = std::max(highest, dieBase(sensor));
  }
  return highest;
}

double SensorBank::simulated(std::size_t sensor) const {
  const SensorTraits& traits = sensorTraits()[sensor];
  const std::uint64_t key = traits.key.rawValue;
  const double noise = bellOf(hashOf(seed_, noiseStream | key, sample_));
  switch (traits.kind) {
    case SensorKind::die: {
      const double chance = unitOf(hashOf(seed_, strayStream | key, sample_));
      // The chance that made the sample stray also says how far: it is uniform below the probability.
      const double stray =
          chance < strayProbability ? strayLeast + (strayMost - strayLeast) * chance / strayProbability : 0.0;
      return dieBase(sensor) + dieNoise * noise + stray;
    }
    case SensorKind::processorHotspot:
      return hottest(false) + offsets_[sensor] + dieNoise * noise;
    case SensorKind::graphicsHotspot:
      return hottest(true) + offsets_[sensor] + dieNoise * noise;
    case SensorKind::other:
      break;
  }
  const double rise = nodes_[static_cast<std::size_t>(traits.node)] - ambient_;
  return ambient_ + traits.share * rise + offsets_[sensor] + otherNoise * noise;
}

double SensorBank::temperature(std::size_t sensor) const {
  const Fault* const spike = faults_.find(FaultKind::spike);
  if (spike != nullptr && sensorTraits()[sensor].kind != SensorKind::other) {
    return spike->number;
  }
  if (!replayed_.empty() && replayed_[sensor]) {
    return *replayed_[sensor];
  }
  return simulated(sensor);
}

}  // namespace halcyra
