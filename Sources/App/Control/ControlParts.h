#pragma once

#include <functional>
#include <string>

#include "App/Control/ControlSession.h"
#include "App/Machine.h"
#include "App/StandingErrors.h"
#include "App/Telemetry.h"
#include "App/ThermalState.h"
#include "Platform/Platform.h"

namespace halcyra {

/// What the parts of control work with; all of it outlives them.
struct ControlSurroundings {
  Platform& platform;
  const ChangeSignal& signal;
  const Replies& replies;
  Logger logger;
  StandingErrors& errors;
  Telemetry& telemetry;
  ThermalState& thermal;
  Machine& machine;
};

/// What becomes of the selected preset when the fans are handed back.
enum class Selection {
  /// It stays selected and is restored when its conditions hold.
  keep,
  /// Apple Default is selected.
  drop,
};

enum class PollAfterwards { yes, no };

struct HandBackRequest {
  /// For the log, and for a supervised test that it interrupts.
  std::string reason;
  Selection selection = Selection::keep;
  PollAfterwards poll = PollAfterwards::yes;
};

/// What a part of control asks of the whole.
class ControlOrders {
 public:
  virtual ~ControlOrders() = default;

  /// Hands every fan back. `completion` (may be empty) is called exactly once, on the main queue: at once without a
  /// session, else after the helper's answers.
  virtual void handBack(const HandBackRequest& request, std::function<void()> completion) = 0;
  /// The same after a failure, which is shown; the preset is tried again later.
  virtual void failSafe(const Error& error) = 0;
};

/// The reason of a hand-back without a fresh reading.
inline constexpr const char* staleTelemetryReason = "Thermal or fan telemetry became stale";

}  // namespace halcyra
