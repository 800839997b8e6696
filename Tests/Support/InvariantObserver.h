#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Support/ClosedLoop.h"
#include "Support/ObservationTaps.h"

namespace halcyra::test {

/// What the observer holds the program to.
enum class Rule {
  /// A fan in manual mode has a live session with a heartbeat younger than 12 s, or it has been without one for less
  /// than the 10 s of a latch.
  ownership,
  /// Manual modes and targets are written within a session only: from its start until its hand-back is asked for, its
  /// client is gone, or 12 s after its last heartbeat. Automatic mode may be written always.
  writes,
  /// No target is written that lies outside the fan's limits.
  limits,
  /// A plausible die reading of 105 °C or more, read under a live session, has every manual fan's target at its
  /// maximum within one poll and the time of the writes that are out.
  heat,
  /// A session whose application has been blind for two polls gives its fans back within the 10 s of a latch.
  confidence,
  /// The selection is the user's alone: nothing but a command of the user changes it, the end of a process neither.
  selection,
  /// 60 s after the last fault the selected preset drives every fan, or the firmware does when it is Apple Default.
  recovery,
};

std::string_view nameOf(Rule rule);

struct Violation {
  Rule rule = Rule::ownership;
  double time = 0;
  std::string text;
};

/// A line for each.
std::string describe(const std::vector<Violation>& violations);

/// What is going on around the program, as the harness knows it that makes it happen.
struct Circumstances {
  struct Application {
    /// Held by SIGSTOP or hanging: it cannot do anything.
    bool isHeld = false;
    /// Seconds.
    double pollingInterval = 2;
  };
  /// By process.
  std::map<std::int32_t, Application> applications;
  bool isAsleep = false;
  bool helperIsHeld = false;
  bool busIsUp = true;
  /// Seconds that each call of the driver takes longer.
  double slowCall = 0;
  /// What stands between a command and this fan: no mode, or no target, can be relied upon to be written or read.
  std::array<bool, 2> modeIsObstructed{};
  bool controlIsObstructed = false;
  /// The fan's mode reads otherwise than it is.
  std::array<bool, 2> modeLies{};
  /// Set to manual mode by another party, and not commanded by this program since.
  std::array<bool, 2> isForeign{};
  /// Set to automatic mode by another party, and not back in manual mode since.
  std::array<bool, 2> isTaken{};
  /// When connections to the helper were last invalidated, or the bus was lost: sessions from before are gone, as their
  /// applications know.
  double lastConnectionLoss = -1;
  /// What the user has selected, and what is selected.
  std::string wantedPreset;
  std::string selectedPreset;
  /// Everything has been well for a minute: the recovery is due.
  bool mustHaveRecovered = false;
  bool appleDefaultIsSelected = false;
};

/// Watches the closed loop from outside. It believes the machine's own state and accepted writes, and the messages as
/// they pass at the helper's listener; the bookkeeping of daemon and model it does not ask. To be called every 100 ms.
class InvariantObserver {
 public:
  InvariantObserver();
  ~InvariantObserver();
  InvariantObserver(const InvariantObserver&) = delete;
  InvariantObserver& operator=(const InvariantObserver&) = delete;

  /// Puts its taps between the machine and whatever the loop's seams hold already, which thus cannot deceive it.
  /// Before any program starts. `loop` may go away before this.
  void attach(ClosedLoop& loop);
  void look(ClosedLoop& loop, Circumstances& circumstances);

  const std::vector<Violation>& violations() const { return violations_; }
  const SessionRecord& record() const { return *sessions_; }
  /// Seconds for which a fan may be manual without a session; by default as long as a latch may take.
  void setAllowance(double seconds) { allowance_ = seconds; }

 private:
  /// A reading that calls for full speed and has not been answered yet.
  struct HeatWatch {
    double readAt = 0;
    /// Seconds since then in which no command was out.
    double idle = 0;
  };
  /// Of one application.
  struct Watched {
    std::unique_ptr<TelemetryRecord> telemetry;
    std::optional<double> answeredReading;
    std::optional<HeatWatch> heat;
    double blindFor = 0;
  };

  void checkWrites(ClosedLoop& loop, Circumstances& circumstances, const VirtualMacState& state);
  void checkTarget(const ClosedLoop::Write& write, const VirtualFanState& fan);
  void checkOwnership(ClosedLoop& loop, Circumstances& circumstances, const VirtualFanState& fan);
  bool canBeHandedBack(ClosedLoop& loop, const Circumstances& circumstances) const;
  void checkHeat(const Circumstances& circumstances, const VirtualMacState& state, std::int32_t process,
                 Watched& watched);
  void checkConfidence(const Circumstances& circumstances, const VirtualMacState& state, std::int32_t process,
                       Watched& watched);
  void checkRecovery(const Circumstances& circumstances, const VirtualMacState& state);
  /// The session by which the application drives the fans, when nothing that the harness does stands in its way.
  const ObservedSession* controllingSession(const Circumstances& circumstances, std::int32_t process) const;
  bool isFresh(const ObservedSession& session) const { return now_ - session.lastHeartbeat <= 12.05; }
  void report(Rule rule, double time, std::string text);

  double now_ = 0;
  double allowance_ = 10;
  /// How many of the loop's writes have been judged.
  std::size_t judged_ = 0;
  bool messagesAreReliable_ = true;
  std::unique_ptr<SessionRecord> sessions_;
  std::map<std::int32_t, Watched> watched_;
  std::array<double, 2> ownerlessFor_{};
  const VirtualProcess* lastHelper_ = nullptr;
  /// A helper that did not command the fan itself found it while its mode read otherwise than it was.
  std::array<bool, 2> wasHidden_{};
  std::vector<Violation> violations_;
};

}  // namespace halcyra::test
