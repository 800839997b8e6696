#pragma once

#include <array>
#include <cstddef>

#include "VirtualMac/Workload.h"

namespace halcyra {

/// The places whose temperature the model knows.
enum class ThermalNode : std::size_t { cpuA, cpuB, efficiency, gpuA, gpuB, sinkLeft, sinkRight, chassis };
inline constexpr std::size_t thermalNodeCount = 8;
/// The first five are dies.
inline constexpr std::size_t dieNodeCount = 5;

/// The machine's heat: dies on two heat sinks in a chassis, each a heat capacity (J/K), joined by conductances (W/K).
/// The left fan cools the left sink, which carries the A banks; the right one the right sink with the B banks.
class ThermalModel {
 public:
  using Temperatures = std::array<double, thermalNodeCount>;

  /// Starts in the balance of an idle machine with its fans at `idleFlow` of their highest speed.
  ThermalModel(double ambient, double idleFlow);

  /// Lets `seconds` pass; stable up to 0.5 s. Flows are fan speeds as a share of the highest, 0…1.
  void step(double seconds, const WorkloadLevels& levels, double leftFlow, double rightFlow);

  void setAmbient(double ambient) { ambient_ = ambient; }
  double ambient() const { return ambient_; }

  /// °C by node.
  const Temperatures& temperatures() const { return temperatures_; }
  double temperature(ThermalNode node) const { return temperatures_[static_cast<std::size_t>(node)]; }
  /// Replaces the physics' own result, for replays.
  void setTemperature(ThermalNode node, double celsius) { temperatures_[static_cast<std::size_t>(node)] = celsius; }
  double hottestDie() const;

  /// Watts of all dies in the last step, and of the whole machine.
  double diePower() const { return diePower_; }
  double systemPower() const;

 private:
  Temperatures temperatures_{};
  double ambient_;
  double diePower_ = 0;
};

}  // namespace halcyra
