#pragma once

#include <utility>
#include <vector>

#include "App/AppModel.h"

namespace halcyra {

/// The model's way in past its poller.
struct AppModelAccess {
  static void apply(AppModel& model, TelemetrySnapshot snapshot) { model.received(std::move(snapshot)); }
  static void setFans(AppModel& model, std::vector<FanInfo> fans) { model.machine_.fans = std::move(fans); }
  static void recordHistory(AppModel& model, const CPUCoreAverage& average,
                            const std::vector<SensorReading>& readings) {
    model.history_.record(model.fans(), average, model.thermal(), readings, Date{});
  }
};

}  // namespace halcyra
