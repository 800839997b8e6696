#include "Programs/VirtualMac/Machine.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "fmt/format.h"
#include "fmt/ranges.h"

#include "Platform/Linux/LinuxFiles.h"
#include "VirtualMac/TraceWorkload.h"

namespace halcyra {

namespace {

/// How often the host's load is measured. Also keeps the simulation from falling far behind when nobody asks.
constexpr Seconds tickPeriod{1.0};
constexpr const char* hostWorkloadName = "host";

VirtualMacConfiguration configuration(std::uint64_t seed) {
  VirtualMacConfiguration result;
  result.seed = seed;
  return result;
}

bool isTraceName(const std::string& name) {
  return name.find('/') != std::string::npos || name.ends_with(".csv");
}

std::unique_ptr<Workload> traceFrom(const std::string& path) {
  try {
    return TraceWorkload::parse(readFile(path));
  } catch (const FileError& error) {
    throw WorkloadError(error.what());
  } catch (const WorkloadError& error) {
    throw WorkloadError(fmt::format("The trace {} cannot be used: {}", path, error.what()));
  }
}

}  // namespace

void checkWorkloadName(const std::string& name) {
  const auto& names = workloadNames();
  if (name != hostWorkloadName && !isTraceName(name) && std::find(names.begin(), names.end(), name) == names.end()) {
    throw UnknownWorkload(fmt::format("There is no workload \"{}\"; there are {}, {}, and traces (FILE.csv)", name,
                                      hostWorkloadName, fmt::join(names, ", ")));
  }
}

Machine::Machine(Reactor& reactor, const std::string& workload, std::uint64_t seed)
    : reactor_(reactor),
      powerOn_(std::chrono::steady_clock::now()),
      seed_(seed),
      workloadName_(workload),
      mac_(configuration(seed), makeWorkloadNamed(workload)) {
  tick();
}

std::unique_ptr<Workload> Machine::makeWorkloadNamed(const std::string& name) {
  if (name == hostWorkloadName) {
    auto host = std::make_unique<HostWorkload>();
    host_ = host.get();
    return host;
  }
  checkWorkloadName(name);
  auto result = isTraceName(name) ? traceFrom(name) : makeWorkload(name, seed_);
  host_ = nullptr;
  return result;
}

void Machine::setWorkload(const std::string& workload) {
  HostWorkload* const before = host_;
  try {
    auto replacement = makeWorkloadNamed(workload);
    advance();
    mac_.setWorkload(std::move(replacement));
    workloadName_ = workload;
  } catch (...) {
    host_ = before;
    throw;
  }
}

void Machine::advance() {
  mac_.advance(std::chrono::steady_clock::now() - powerOn_);
}

VirtualSMCReply Machine::call(const SMCParamStruct& input, bool privileged) {
  advance();
  return mac_.call(input, privileged);
}

VirtualMacState Machine::state() {
  advance();
  return mac_.state();
}

void Machine::applyFault(const std::string& command) {
  advance();
  mac_.faults().apply(command);
}

void Machine::tick() {
  if (host_ != nullptr) {
    std::optional<ProcessorTimes> times;
    try {
      times = parseProcessorTimes(readFile("/proc/stat"));
    } catch (const FileError&) {
      // The load stays what it was.
    }
    if (times && times->total > lastTotal_ && times->busy >= lastBusy_) {
      host_->setHostLoad(static_cast<double>(times->busy - lastBusy_) / static_cast<double>(times->total - lastTotal_));
    }
    if (times) {
      lastBusy_ = times->busy;
      lastTotal_ = times->total;
    }
  }
  advance();
  reactor_.after(tickPeriod, [this] { tick(); });
}

std::optional<ProcessorTimes> parseProcessorTimes(const std::string& statText) {
  std::istringstream input(statText);
  std::string label;
  input >> label;
  if (label != "cpu") {
    return std::nullopt;
  }
  // user nice system idle iowait irq softirq steal; what follows is counted in these already.
  constexpr int fields = 8;
  constexpr int idleField = 3;
  constexpr int waitField = 4;
  ProcessorTimes times;
  for (int field = 0; field < fields; ++field) {
    std::uint64_t value = 0;
    if (!(input >> value)) {
      return std::nullopt;
    }
    times.total += value;
    if (field != idleField && field != waitField) {
      times.busy += value;
    }
  }
  return times;
}

}  // namespace halcyra
