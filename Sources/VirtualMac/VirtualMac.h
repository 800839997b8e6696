#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "nlohmann/json_fwd.hpp"

#include "Platform/Time.h"
#include "SMC/SMCParamStruct.h"
#include "VirtualMac/Fault.h"
#include "VirtualMac/Workload.h"

namespace halcyra {

struct VirtualMacConfiguration {
  std::uint64_t seed = 1;
  std::string hardwareModel = "Mac15,11";
  /// °C of the air around the machine.
  double ambientTemperature = 24.0;
};

/// One fan as the firmware knows it.
struct VirtualFanState {
  int index = 0;
  /// 0 automatic, 1 manual.
  int mode = 0;
  double target = 0;
  double actual = 0;
  double minimum = 0;
  double maximum = 0;
};

/// The true state of the firmware, whatever faults make of it on the way to a reader.
struct VirtualMacState {
  /// Seconds since power-on.
  double time = 0;
  std::vector<VirtualFanState> fans;
  /// Key to °C.
  std::vector<std::pair<std::string, double>> temperatures;
  /// SMC calls answered, and accepted writes among them.
  std::uint64_t calls = 0;
  std::uint64_t writes = 0;

  /// An object: `time`, `calls`, `writes`, `fans`, `temperatures`.
  nlohmann::ordered_json json() const;
};

/// How one SMC call ended: the record, or the status of a call that did not go through.
struct VirtualSMCReply {
  std::int32_t status = 0;
  SMCParamStruct output;
  /// How long the answer takes, for faults that slow calls down; the caller waits.
  Seconds delay{0.0};
};

/// A simulated Mac: SMC firmware, fans and heat, driven by a workload. Deterministic: the same seed, workload, calls
/// and times give the same answers to the bit. Time is what the owner says it is and only goes forward; the machine
/// advances in fixed steps, so that how often it is asked does not matter. Not safe for concurrent use.
class VirtualMac {
 public:
  VirtualMac(VirtualMacConfiguration configuration, std::unique_ptr<Workload> workload);
  ~VirtualMac();

  /// Lets time pass up to `sincePowerOn`; earlier times change nothing.
  void advance(Seconds sincePowerOn);

  /// One call of the user client at the time advanced to. Without privilege writes are refused.
  VirtualSMCReply call(const SMCParamStruct& input, bool privileged);

  VirtualMacState state() const;
  const std::string& hardwareModel() const;

  void setWorkload(std::unique_ptr<Workload> workload);
  FaultSet& faults();

  /// Called for every accepted write, at the moment the firmware accepts it.
  void setWriteObserver(std::function<void(const std::string& key, double value)> observer);

 private:
  class Machine;
  std::unique_ptr<Machine> machine_;
};

}  // namespace halcyra
