#include "VirtualMac/VirtualMac.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "nlohmann/json.hpp"

#include "Platform/Precondition.h"
#include "VirtualMac/Firmware.h"
#include "VirtualMac/SensorBank.h"
#include "VirtualMac/ThermalModel.h"

namespace halcyra {

namespace {

/// Seconds; steps are counted from power-on, so that how often the machine is asked does not move them.
constexpr double stepSeconds = 0.05;
constexpr std::uint64_t stepsPerSample = 5;
static_assert(stepSeconds * stepsPerSample * SensorBank::samplesPerSecond == 1.0);

/// Keeps a time that is a multiple of the step, but for rounding, on the right side of it.
constexpr double roundingSlack = 1e-9;

constexpr double idleFlow = Firmware::minimumSpeeds[0] / Firmware::maximumSpeeds[0];

/// Digits that nobody can use only make the text long.
double rounded(double value) {
  return std::round(value * 1000.0) / 1000.0;
}

}  // namespace

class VirtualMac::Machine {
 public:
  Machine(VirtualMacConfiguration given, std::unique_ptr<Workload> initial)
      : configuration(std::move(given)),
        sensors(configuration.seed, faults),
        thermals(configuration.ambientTemperature, idleFlow),
        firmware(configuration.seed, faults, sensors, thermals) {
    setWorkload(std::move(initial));
    sensors.sample(0, thermals, *workload, 0);
    faults.setObserver([this](Fault& fault) { complete(fault); });
  }

  void setWorkload(std::unique_ptr<Workload> next) {
    precondition(next != nullptr, "a simulated machine needs a workload");
    workload = std::move(next);
    workloadStart = stepTime();
  }

  void advance(double to) {
    if (!(to > now)) {
      return;
    }
    const auto wanted = static_cast<std::uint64_t>(to / stepSeconds + roundingSlack);
    while (steps < wanted) {
      step();
    }
    now = to;
    refresh(now);
  }

  /// What changes between steps: writes that fall due, and the end of a spike.
  void refresh(double time) {
    firmware.settle(time);
    const Fault* const spike = faults.find(FaultKind::spike);
    if (spike != nullptr && time >= spike->until) {
      faults.remove(FaultKind::spike);
    }
  }

  VirtualMacState state() const;

  VirtualMacConfiguration configuration;
  FaultSet faults;
  SensorBank sensors;
  ThermalModel thermals;
  Firmware firmware;
  std::unique_ptr<Workload> workload;
  double now = 0;

 private:
  double stepTime() const { return static_cast<double>(steps) * stepSeconds; }

  void step() {
    ++steps;
    const double time = stepTime();
    refresh(time);
    const Fault* const ambient = faults.find(FaultKind::ambient);
    thermals.setAmbient(ambient != nullptr ? ambient->number : configuration.ambientTemperature);

    const Fault* const spike = faults.find(FaultKind::spike);
    const double hottest = spike != nullptr ? std::max(thermals.hottestDie(), spike->number) : thermals.hottestDie();
    auto& [left, right] = firmware.fans();
    left.step(stepSeconds, hottest);
    right.step(stepSeconds, hottest);
    thermals.step(stepSeconds, workload->load(time - workloadStart), left.actual() / left.maximum(),
                  right.actual() / right.maximum());
    sensors.imposeReplay(thermals);
    if (steps % stepsPerSample == 0) {
      sensors.sample(steps / stepsPerSample, thermals, *workload, time - workloadStart);
    }
  }

  void complete(Fault& fault) {
    switch (fault.kind) {
      case FaultKind::freeze:
        fault.frozen = firmware.bytesOf(*KeyTable::shared().find(fault.key));
        break;
      case FaultKind::spike:
        fault.until = now + fault.seconds;
        break;
      case FaultKind::setMode:
        firmware.fans()[static_cast<std::size_t>(fault.fan)].forceMode(fault.mode, fault.target);
        break;
      default:
        break;
    }
  }

  std::uint64_t steps = 0;
  double workloadStart = 0;
};

VirtualMacState VirtualMac::Machine::state() const {
  VirtualMacState result;
  result.time = now;
  result.calls = firmware.calls();
  result.writes = firmware.writes();
  for (const VirtualFan& fan : firmware.fans()) {
    result.fans.push_back({fan.index(), fan.mode(), fan.target(), fan.actual(), fan.minimum(), fan.maximum()});
  }
  for (const KeyEntry& entry : KeyTable::shared().entries()) {
    if (entry.source == KeySource::temperature) {
      result.temperatures.emplace_back(stringFromKey(entry.key), sensors.temperature(entry.index));
    }
  }
  return result;
}

nlohmann::ordered_json VirtualMacState::json() const {
  nlohmann::ordered_json root;
  root["time"] = rounded(time);
  root["calls"] = calls;
  root["writes"] = writes;
  root["fans"] = nlohmann::ordered_json::array();
  for (const VirtualFanState& fan : fans) {
    root["fans"].push_back({{"index", fan.index},
                            {"mode", fan.mode},
                            {"target", rounded(fan.target)},
                            {"actual", rounded(fan.actual)},
                            {"minimum", rounded(fan.minimum)},
                            {"maximum", rounded(fan.maximum)}});
  }
  root["temperatures"] = nlohmann::ordered_json::object();
  for (const auto& [key, celsius] : temperatures) {
    root["temperatures"][key] = rounded(celsius);
  }
  return root;
}

VirtualMac::VirtualMac(VirtualMacConfiguration configuration, std::unique_ptr<Workload> workload)
    : machine_(std::make_unique<Machine>(std::move(configuration), std::move(workload))) {}

VirtualMac::~VirtualMac() = default;

void VirtualMac::advance(Seconds sincePowerOn) {
  machine_->advance(sincePowerOn.count());
}

VirtualSMCReply VirtualMac::call(const SMCParamStruct& input, bool privileged) {
  machine_->refresh(machine_->now);
  return machine_->firmware.call(input, privileged);
}

VirtualMacState VirtualMac::state() const {
  machine_->refresh(machine_->now);
  return machine_->state();
}

const std::string& VirtualMac::hardwareModel() const {
  return machine_->configuration.hardwareModel;
}

void VirtualMac::setWorkload(std::unique_ptr<Workload> workload) {
  machine_->setWorkload(std::move(workload));
}

FaultSet& VirtualMac::faults() {
  return machine_->faults;
}

void VirtualMac::setWriteObserver(std::function<void(const std::string& key, double value)> observer) {
  machine_->firmware.setWriteObserver(std::move(observer));
}

}  // namespace halcyra
