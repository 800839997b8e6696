#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "SMC/SMCKey.h"
#include "VirtualMac/Fault.h"
#include "VirtualMac/ThermalModel.h"
#include "VirtualMac/Workload.h"

namespace halcyra {

/// What a temperature sensor is, which decides how its value follows from the model.
enum class SensorKind {
  /// On a die: quick, noisy, with a stray sample now and then.
  die,
  /// The hottest spot of all processor or all graphics dies.
  processorHotspot,
  graphicsHotspot,
  /// Anywhere else: part of the way from the air to a place of the model.
  other,
};

/// One temperature sensor of the machine.
struct SensorTraits {
  SMCKey key;
  /// "flt " or "sp78".
  std::string_view type;
  SensorKind kind = SensorKind::other;
  ThermalNode node = ThermalNode::chassis;
  /// How much of the node's rise above the air the sensor sees.
  double share = 1;
  /// °C: what is always added, and how far the individual sensor may lie from that.
  double offset = 0;
  double spread = 0;
};

/// All temperature sensors of a Mac15,11 that read as degrees, in no particular order.
const std::vector<SensorTraits>& sensorTraits();

/// What the sensors say: samples of the model, four a second. The value of a sample depends on the seed, the key and
/// the sample's number alone.
class SensorBank {
 public:
  static constexpr double samplesPerSecond = 4.0;

  /// `faults` outlives the sensors: while it has a spike, dies and hotspots are at that.
  SensorBank(std::uint64_t seed, const FaultSet& faults);

  /// Takes sample number `number` of the model. Where `replay` has temperatures they take the place of the model's.
  void sample(std::uint64_t number, ThermalModel& model, const Workload& replay, double replayTime);
  /// Makes the model's dies as hot as the latest sample replays them, so that the firmware goes by that.
  void imposeReplay(ThermalModel& model) const;

  /// °C of one sensor (a position in `sensorTraits()`) in the latest sample.
  double temperature(std::size_t sensor) const;
  std::uint64_t sampleNumber() const { return sample_; }

 private:
  double simulated(std::size_t sensor) const;
  double dieBase(std::size_t sensor) const;
  double hottest(bool graphics) const;

  std::uint64_t seed_;
  const FaultSet& faults_;
  std::uint64_t sample_ = 0;
  double ambient_ = 0;
  ThermalModel::Temperatures nodes_{};
  /// By sensor: what the individual sensor adds.
  std::vector<double> offsets_;
  /// By sensor; empty while nothing is replayed.
  std::vector<std::optional<double>> replayed_;
  std::vector<std::size_t> processorDies_;
  std::vector<std::size_t> graphicsDies_;
};

}  // namespace halcyra
