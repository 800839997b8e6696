#include "VirtualMac/ThermalModel.h"

#include <algorithm>
#include <cmath>

namespace halcyra {

namespace {

/// One die: what it burns, how it is joined to the sinks, and its heat capacity.
struct DieConstants {
  double idleWatts;
  double fullWatts;
  double toLeftSink;
  double toRightSink;
  double capacity;
};

constexpr std::array<DieConstants, dieNodeCount> dies{{
    {1.8, 21.5, 0.90, 0.10, 2.4},  // cpuA
    {1.8, 21.5, 0.10, 0.90, 2.4},  // cpuB
    {0.8, 5.0, 0.25, 0.25, 1.2},   // efficiency
    {0.8, 15.0, 0.80, 0.10, 2.2},  // gpuA
    {0.8, 15.0, 0.10, 0.80, 2.2},  // gpuB
}};

constexpr double sinkCapacity = 24.0;
constexpr double chassisCapacity = 300.0;
constexpr double sinkToSink = 0.10;
constexpr double sinkToChassis = 0.06;
constexpr double chassisToAmbient = 1.1;
/// Display, storage, memory and the rest, which heat the chassis, and the regulators, which heat a sink.
constexpr double chassisWatts = 7.0;
constexpr double regulatorWatts = 2.5;
/// A sink's conductance to the air: still, and what a fan at its highest speed adds.
constexpr double stillSink = 0.02;
constexpr double blownSink = 0.80;

/// The chip slows itself down above this, to a floor.
constexpr double throttleStart = 106.0;
constexpr double throttleSpan = 10.0;
constexpr double throttleFloor = 0.3;

double dieWatts(const DieConstants& die, double level, double temperature) {
  const double throttle = std::clamp(1.0 - (temperature - throttleStart) / throttleSpan, throttleFloor, 1.0);
  return die.idleWatts + (die.fullWatts - die.idleWatts) * level * throttle;
}

double sinkToAir(double flow) {
  // Flow to the power of 3/4: turbulent, with air that warms on its way.
  const double root = std::sqrt(std::clamp(flow, 0.0, 1.0));
  return stillSink + blownSink * root * std::sqrt(root);
}

}  // namespace

ThermalModel::ThermalModel(double ambient, double idleFlow) : ambient_(ambient) {
  temperatures_.fill(ambient + 20.0);
  setTemperature(ThermalNode::chassis, ambient + 7.0);
  constexpr int settlingSteps = 4000;
  for (int count = 0; count < settlingSteps; ++count) {
    step(0.5, WorkloadLevels{}, idleFlow, idleFlow);
  }
}

void ThermalModel::step(double seconds, const WorkloadLevels& levels, double leftFlow, double rightFlow) {
  const std::array<double, dieNodeCount> load{levels.cpuA, levels.cpuB, levels.efficiency, levels.gpuA, levels.gpuB};
  const double left = temperature(ThermalNode::sinkLeft);
  const double right = temperature(ThermalNode::sinkRight);
  const double chassis = temperature(ThermalNode::chassis);

  const double across = sinkToSink * (left - right);
  double intoLeft =
      regulatorWatts - across - sinkToAir(leftFlow) * (left - ambient_) - sinkToChassis * (left - chassis);
  double intoRight =
      regulatorWatts + across - sinkToAir(rightFlow) * (right - ambient_) - sinkToChassis * (right - chassis);
  const double intoChassis =
      chassisWatts + sinkToChassis * (left + right - 2 * chassis) - chassisToAmbient * (chassis - ambient_);

  diePower_ = 0;
  for (std::size_t index = 0; index < dieNodeCount; ++index) {
    const DieConstants& die = dies[index];
    double& own = temperatures_[index];
    const double watts = dieWatts(die, std::clamp(load[index], 0.0, 1.0), own);
    const double toLeft = die.toLeftSink * (own - left);
    const double toRight = die.toRightSink * (own - right);
    intoLeft += toLeft;
    intoRight += toRight;
    diePower_ += watts;
    own += seconds * (watts - toLeft - toRight) / die.capacity;
  }
  setTemperature(ThermalNode::sinkLeft, left + seconds * intoLeft / sinkCapacity);
  setTemperature(ThermalNode::sinkRight, right + seconds * intoRight / sinkCapacity);
  setTemperature(ThermalNode::chassis, chassis + seconds * intoChassis / chassisCapacity);
}

double ThermalModel::hottestDie() const {
  return *std::max_element(temperatures_.begin(), temperatures_.begin() + dieNodeCount);
}

double ThermalModel::systemPower() const {
  return diePower_ + chassisWatts + 2 * regulatorWatts;
}

}  // namespace halcyra
