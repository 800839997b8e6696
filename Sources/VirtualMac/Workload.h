#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Error.h"
#include "SMC/SMCKey.h"

namespace halcyra {

/// How busy each part of the chip is, 0 (idle) … 1 (full load).
struct WorkloadLevels {
  double cpuA = 0;
  double cpuB = 0;
  double efficiency = 0;
  double gpuA = 0;
  double gpuB = 0;

  bool operator==(const WorkloadLevels&) const = default;
};

/// A workload's name, or a trace, that cannot be used. The text says what is wrong and where.
class WorkloadError : public LocalizedError {
 public:
  using LocalizedError::LocalizedError;
  std::string_view domain() const override { return "Halcyra.WorkloadError"; }
};

/// What the simulated machine is busy with.
class Workload {
 public:
  virtual ~Workload() = default;

  /// The levels at `time` seconds after the machine was given this work; asked for in ascending times, many times a
  /// second. Levels outside 0…1 are limited to it by the machine.
  virtual WorkloadLevels load(double time) = 0;

  /// The °C that a recording dictates for a temperature key at `time`; nothing when the machine's own physics is to
  /// decide.
  virtual std::optional<double> replayedTemperature(SMCKey key, double time) const;
  /// Whether `replayedTemperature` ever gives a value.
  virtual bool replaysTemperatures() const { return false; }
};

/// The load of the machine that runs the simulation, as somebody else measures it.
class HostWorkload : public Workload {
 public:
  /// `load` is the share of all processors that is busy, 0…1; it holds until the next call. Values outside are
  /// limited, one that is not finite changes nothing.
  void setHostLoad(double load);
  WorkloadLevels load(double time) override;

 private:
  double hostLoad_ = 0;
};

/// The names that `makeWorkload` takes: "idle", "bursts", "sustained", "critical".
///
/// "sustained" keeps every processor core busy, with the little graphics work that goes with it: under the firmware's
/// own curve the dies near 100 °C. "critical" adds full graphics load: the dies pass 105 °C under that curve.
const std::vector<std::string>& workloadNames();

/// Throws `WorkloadError` for a name that is not among `workloadNames()`. `seed` varies "bursts".
std::unique_ptr<Workload> makeWorkload(std::string_view name, std::uint64_t seed = 1);

}  // namespace halcyra
