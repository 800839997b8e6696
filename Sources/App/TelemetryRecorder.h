#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Helpers/SensorReader.h"
#include "Platform/Time.h"
#include "SMC/FanInfo.h"

namespace halcyra {

/// Turns polls into comma-separated values that the simulated machine replays as a workload: "time" in seconds since
/// the first line, every temperature in °C under its key, the speed of fan n in RPM under "FnAc". A value that a poll
/// did not have is an empty cell.
class TelemetryRecorder {
 public:
  /// What one poll adds to the file, complete with line feeds; the first also brings the names of the columns, which
  /// stay: all its sensors and fans and, with `validatedModel`, the sensors that every such machine has. `time` grows
  /// from poll to poll; `date` is noted once, as the start.
  std::string add(Instant time, Date date, const std::vector<SensorReading>& readings, const std::vector<FanInfo>& fans,
                  bool validatedModel);

 private:
  std::string begin(Instant time, Date date, const std::vector<SensorReading>& readings,
                    const std::vector<FanInfo>& fans, bool validatedModel);
  /// A remark for every sensor that came too late for a column.
  std::string remarks(const std::vector<SensorReading>& readings);

  std::optional<Instant> start_;
  /// Sorted.
  std::vector<std::string> sensors_;
  /// Indices, ascending.
  std::vector<int> fans_;
  std::vector<std::string> leftOut_;
};

}  // namespace halcyra
