#pragma once

#include <utility>
#include <vector>

#include "App/AppModel.h"

namespace halcyra {

/// The model's way in past its poller.
struct AppModelAccess {
  static void apply(AppModel& model, TelemetrySnapshot snapshot) {
    model.applySnapshot(std::move(snapshot.fans), snapshot.average, std::move(snapshot.readings));
  }
  static void setFans(AppModel& model, std::vector<FanInfo> fans) { model.fans_ = std::move(fans); }
  static void recordHistory(AppModel& model, const CPUCoreAverage& average,
                            const std::vector<SensorReading>& readings) {
    model.recordHistory(average, readings);
  }
};

}  // namespace halcyra
