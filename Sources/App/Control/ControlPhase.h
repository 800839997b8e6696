#pragma once

#include <span>

/// The states of fan control and every way from one to another: one table, which `docs/safety.md` shows as a picture.
namespace halcyra {

enum class ControlPhase {
  /// No preset asks for control; the firmware has the fans.
  firmware,
  /// A preset is selected, and something that it needs is missing; the firmware has the fans.
  waiting,
  /// The helper has been asked for a session; no fan is manual.
  preflight,
  /// The fans are taken, one after another.
  enabling,
  /// Every controllable fan is manual and follows its target.
  driving,
  /// Automatic mode has been commanded; nothing else is written until a new session has begun.
  handingBack,
};

enum class ControlEvent {
  /// By the user, or remembered: another preset than Apple Default, or Apple Default.
  presetSelected,
  systemSelected,
  /// The selected preset has everything that it needs.
  startIsDue,
  testRequested,
  /// The session has begun and its preflight is clean.
  sessionBegan,
  /// The session could not begin while a preset is restored, for a reason that passes: nothing is said, and it is
  /// tried again.
  startDeferred,
  fansEnabled,
  /// A start or a command has failed, confidence is lost, or somebody else is to have the fans: sleep, quit, another
  /// utility, ...
  handBackRequested,
  /// The last hand-back was not confirmed and is tried again.
  handBackIsDue,
  handedBack,
  /// The helper does not know the session any more.
  sessionLost,
};

enum class ControlEffect {
  none,
  beginSession,
  enableFans,
  handBack,
  /// Begins a session and ends it at once; its end is a hand-back.
  beginAndEndSession,
  /// The session is over for the client; the helper has handed back, or does.
  dropSession,
};

struct ControlTransition {
  ControlPhase from;
  ControlEvent event;
  ControlPhase to;
  ControlEffect effect;
};

/// Every transition; an event that has none in a phase is ignored there.
std::span<const ControlTransition> controlTransitions();

/// Null when `event` is ignored in `phase`.
const ControlTransition* controlTransition(ControlPhase phase, ControlEvent event);

/// Control is being taken or handed back: no other preset may be chosen.
constexpr bool isBusy(ControlPhase phase) {
  return phase == ControlPhase::preflight || phase == ControlPhase::enabling || phase == ControlPhase::handingBack;
}

}  // namespace halcyra
