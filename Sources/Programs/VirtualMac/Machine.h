#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Programs/VirtualMac/Reactor.h"
#include "VirtualMac/VirtualMac.h"
#include "VirtualMac/Workload.h"

namespace halcyra {

class UnknownWorkload : public WorkloadError {
 public:
  using WorkloadError::WorkloadError;
};

/// Throws `UnknownWorkload` unless it is "host", a name that `makeWorkload` takes, or that of a trace's file.
void checkWorkloadName(const std::string& name);

/// The simulated machine in real time: power-on is construction. Loop thread only.
class Machine {
 public:
  /// `workload`: "host", a name that `makeWorkload` takes, or the path of a trace. Throws `WorkloadError`.
  Machine(Reactor& reactor, const std::string& workload, std::uint64_t seed);

  VirtualSMCReply call(const SMCParamStruct& input, bool privileged);
  VirtualMacState state();
  const std::string& hardwareModel() const { return mac_.hardwareModel(); }

  /// Throws `WorkloadError` and changes nothing when there is no such workload.
  void setWorkload(const std::string& workload);
  const std::string& workload() const { return workloadName_; }

  /// Throws `FaultError`.
  void applyFault(const std::string& command);
  const FaultSet& faults() { return mac_.faults(); }

 private:
  std::unique_ptr<Workload> makeWorkloadNamed(const std::string& name);
  void advance();
  void tick();

  Reactor& reactor_;
  const std::chrono::steady_clock::time_point powerOn_;
  const std::uint64_t seed_;
  std::string workloadName_;
  /// Belongs to the machine; null while it does other work than the host's.
  HostWorkload* host_ = nullptr;
  std::uint64_t lastBusy_ = 0;
  std::uint64_t lastTotal_ = 0;
  VirtualMac mac_;
};

/// Busy and total processor time since the start, from the text of `/proc/stat`; nothing when it is not of that form.
struct ProcessorTimes {
  std::uint64_t busy = 0;
  std::uint64_t total = 0;
};
std::optional<ProcessorTimes> parseProcessorTimes(const std::string& statText);

}  // namespace halcyra
