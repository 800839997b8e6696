#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "App/HistorySample.h"
#include "App/Published.h"
#include "App/ThermalState.h"
#include "Helpers/CPUCoreAverage.h"
#include "Helpers/SensorReader.h"
#include "SMC/FanInfo.h"

namespace halcyra {

/// What the charts draw: one sample for each applied poll, and one series for each sensor beside them. Lives as long as
/// the program. Main queue only.
class SessionHistory {
 public:
  /// One value for each sample, NaN where the sensor had none, by sensor key.
  using SensorSeries = std::map<std::string, std::vector<float>>;

  /// Twelve hours at the default interval.
  static constexpr std::int64_t sampleLimit = 21600;
  static constexpr std::int64_t trimBatchSize = 600;

  explicit SessionHistory(const ChangeSignal& signal) : samples_(signal, {}) {}

  /// Records nothing while no fan is known. `now` is when the poll was applied.
  void record(const std::vector<FanInfo>& fans, const CPUCoreAverage& average, const ThermalReadings& thermal,
              const std::vector<SensorReading>& readings, Date now);

  /// Oldest first.
  const std::vector<HistorySample>& samples() const { return *samples_; }
  const SensorSeries& sensorSeries() const { return sensorSeries_; }

 private:
  void recordSensors(const std::vector<SensorReading>& readings, std::size_t position);

  Published<std::vector<HistorySample>> samples_;
  SensorSeries sensorSeries_;
  /// The series of each reading of the last poll, by position; entries of `sensorSeries_` are never removed.
  std::vector<SensorSeries::value_type*> seriesOfReading_;
};

}  // namespace halcyra
