#pragma once

#include <string>

namespace halcyra {

/// What is true of fan control at this moment, for every place that says so to a person.
struct ControlStatus {
  enum class Kind {
    /// No preset asks for control.
    firmware,
    /// A preset is selected and starts as soon as there is a fresh reading.
    waitingForTemperatures,
    /// A preset is selected; `detail` names the fan utility that is running.
    paused,
    /// A preset is selected and something is missing; `detail` says what.
    monitoringOnly,
    /// The session is being started, or the fans are being taken one after another.
    starting,
    driving,
    handingBack,
  };

  Kind kind = Kind::firmware;
  std::string detail;

  /// One line of text, the same everywhere.
  std::string line() const;

  bool operator==(const ControlStatus&) const = default;
};

}  // namespace halcyra
