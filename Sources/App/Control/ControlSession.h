#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "App/Control/Confidence.h"
#include "App/Control/ControlPhase.h"
#include "App/Published.h"
#include "App/Replies.h"
#include "Client/HelperClient.h"
#include "Helpers/FanTargetWriteCoalescer.h"

namespace halcyra {

/// The helper's answers to a hand-back.
struct HandBackResult {
  std::optional<Error> resetError;
  std::optional<Error> endError;

  const std::optional<Error>& error() const { return resetError ? resetError : endError; }
};

/// The one place from which the fans are driven: it holds the phase of control, and nobody else sends the helper a
/// message that begins or ends a session or commands a fan. Beginning, taking a fan and every target need a
/// `Confidence`; one that does not hold any more sends nothing and fails with `staleReading`.
///
/// Every answer belongs to the generation of its request and is dropped when a newer one has been opened, by a
/// selection, a hand-back or the loss of the session. Main queue only.
class ControlSession {
 public:
  using Reply = std::function<void(const PropertyList& status, const std::optional<Error>& error)>;

  /// What is handed in outlives it.
  ControlSession(Clock& clock, std::shared_ptr<HelperClient> helper, const ChangeSignal& signal,
                 const Replies& replies);

  /// Called when a target could not be written; at most once in a generation.
  void onCommandFailed(std::function<void(const Error&)> handler) { commandFailed_ = std::move(handler); }

  ControlPhase phase() const { return *phase_; }
  bool isBusy() const { return halcyra::isBusy(*phase_); }
  bool hasSession() const { return helper_->sessionID().has_value(); }
  bool isDriving() const { return *phase_ == ControlPhase::driving && hasSession(); }
  /// Moves on by the table and says what is to be done; `none` too when the phase ignores the event. Whether a preset
  /// is selected is remembered in every phase: back at `firmware`, `presetSelected` is raised again.
  ControlEffect raise(ControlEvent event);
  /// Events that found no transition.
  std::uint64_t ignoredEvents() const { return ignoredEvents_; }

  std::uint64_t generation() const { return generation_; }
  /// What is out does not count any more, and no target waits to be sent.
  void openGeneration();
  /// Forgets the fans and their targets.
  void forgetFans();

  /// The fans that the session may drive.
  const std::set<int>& controllableFans() const { return controllable_; }
  void setControllableFans(std::set<int> fans) { controllable_ = std::move(fans); }
  /// RPM: the target that waits to be sent, else the one that is out, else the one that the helper has confirmed.
  std::optional<std::int64_t> commandedTarget(int fan) const;
  /// The fans that were asked to be manual since all were last known to be automatic.
  const std::set<int>& manualFans() const { return manual_; }
  void noteAllAutomatic() { manual_.clear(); }

  /// Begins a session. One that is not wanted any more when it begins is ended at once.
  void begin(const Confidence& confidence, Reply reply);
  /// Begins a session and ends it at once, for the hand-back that its end is; needs no confidence.
  void beginAndEnd(const std::function<void(const std::optional<Error>&)>& done);
  void takeFan(int fan, const Confidence& confidence, const Reply& reply);
  void setFirstTarget(int fan, std::int64_t rpm, const Confidence& confidence, const Reply& reply);
  /// Sends the target, or keeps the newest one until the one that is out is answered.
  void drive(int fan, std::int64_t rpm, const Confidence& confidence);
  /// Hands one fan back and leaves the others alone.
  void releaseFan(int fan);

  /// Has the helper command automatic mode for every fan.
  void resetAll(const Reply& reply);
  void endSession(const std::function<void(const std::optional<Error>&)>& done);
  /// Both, one after the other. `finished` is called exactly once, on the main queue, even when the model is gone by
  /// then and whatever the generation.
  void handBack(std::function<void(const HandBackResult&)> finished);

  static Error staleReading();

 private:
  bool holds(const Confidence& confidence) const { return confidence.holds(clock_.steadyNow()); }
  void beginSession(Reply reply);
  void send(int fan, std::int64_t rpm);
  template <typename Handler>
  auto within(Handler handler) const;

  Clock& clock_;
  std::shared_ptr<HelperClient> helper_;
  const Replies& replies_;
  std::function<void(const Error&)> commandFailed_;
  Published<ControlPhase> phase_;
  bool isPresetSelected_ = false;
  std::uint64_t ignoredEvents_ = 0;
  std::uint64_t generation_ = 0;
  std::set<int> controllable_;
  std::set<int> manual_;
  /// RPM, confirmed by the helper.
  std::map<int, std::int64_t> targets_;
  FanTargetWriteCoalescer coalescer_;
  /// That of the newest target, for one that waits to be sent.
  std::optional<Confidence> confidence_;
};

}  // namespace halcyra
