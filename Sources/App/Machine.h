#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "App/Published.h"
#include "Client/HelperInstallState.h"
#include "Helpers/SensorReader.h"
#include "SMC/FanInfo.h"

namespace halcyra {

/// What the model knows of the machine and of the helper on it. Main queue only.
struct Machine {
  Machine(const ChangeSignal& signal, std::string model, HelperInstallState helper)
      : modelIdentifier(std::move(model)),
        fans(signal, {}),
        helperState(signal, helper),
        thermalControlSupported(signal, false),
        sensorReadings(signal, {}),
        lastSampleDate(signal, std::nullopt) {}

  /// "Mac15,11"; "Unknown Mac" where the machine does not say.
  const std::string modelIdentifier;
  /// Those of the last poll that reported any.
  Published<std::vector<FanInfo>> fans;
  Published<HelperInstallState> helperState;
  /// Whether this machine's sensors and fans are validated for control.
  Published<bool> thermalControlSupported;
  /// The temperature channels of the last poll.
  Published<std::vector<SensorReading>> sensorReadings;
  /// When the last poll was applied; none while the readings are stale.
  Published<std::optional<Date>> lastSampleDate;
  /// A read has succeeded: the above is known.
  bool isKnown = false;

  /// Null when the last poll did not report it.
  const FanInfo* fan(int index) const {
    const auto found =
        std::find_if(fans->begin(), fans->end(), [&](const FanInfo& each) { return each.index == index; });
    return found == fans->end() ? nullptr : &*found;
  }
};

}  // namespace halcyra
