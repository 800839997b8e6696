#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VirtualMac/Workload.h"

namespace halcyra {

/// A workload, or a recording, from comma-separated values.
///
/// The first line names the columns; each further line is one moment. Blank lines and lines that start with "#" are
/// skipped. Between lines values run straight; after the last line the last one holds.
///
///   time                                seconds, ascending; the first line is the start whatever its time
///   cpuA cpuB efficiency gpuA gpuB      load 0…1
///   cpu                                 load of all processor cores (instead of cpuA, cpuB, efficiency)
///   gpu                                 load of both graphics banks (instead of gpuA, gpuB)
///   T???                                a temperature key: °C -40…125, replayed in place of the simulated heat
///   F?Ac, fan?                          a recorded fan: any number or empty; the simulated fans stay live
///
/// `time` and at least one load or temperature column are required. An empty temperature cell is a reading that was
/// missed and takes the value before it.
class TraceWorkload : public Workload {
 public:
  /// Throws `WorkloadError` naming the line.
  static std::unique_ptr<TraceWorkload> parse(std::string_view text);

  WorkloadLevels load(double time) override;
  std::optional<double> replayedTemperature(SMCKey key, double time) const override;
  bool replaysTemperatures() const override { return !keys_.empty(); }

  /// Seconds from the first line to the last.
  double duration() const { return times_.back(); }

 private:
  friend class TraceParser;

  struct Position {
    std::size_t row = 0;
    double fraction = 0;
  };
  /// The row at or before `time`, and how far it is to the next.
  Position locate(double time) const;

  std::vector<double> times_;
  std::vector<WorkloadLevels> levels_;
  /// Sorted; column c of row r is `temperatures_[r * keys_.size() + c]`, not a number before a key's first reading.
  std::vector<SMCKey> keys_;
  std::vector<double> temperatures_;
  /// Where the last look-up ended; times mostly ascend.
  mutable std::size_t lastRow_ = 0;
};

}  // namespace halcyra
