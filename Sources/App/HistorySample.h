#pragma once

#include <optional>

#include "App/FanSpeeds.h"
#include "Platform/Time.h"

namespace halcyra {

/// What one applied poll leaves in the history. Temperatures in °C.
struct HistorySample {
  /// When the poll was applied.
  Date date;
  /// The displayed temperature, or the raw one while there is none.
  double cpuTemp = 0;
  double cpuCoreAverage = 0;
  /// Absent on a machine that reports none.
  std::optional<double> gpuCoreAverage;
  double controlTemp = 0;
  /// The actual speed of every fan, by fan index.
  FanSpeeds rpms;

  bool operator==(const HistorySample&) const = default;
};

}  // namespace halcyra
