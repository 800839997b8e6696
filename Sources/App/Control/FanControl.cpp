#include "App/Control/FanControl.h"

#include <utility>

#include "fmt/format.h"

#include "XPC/HelperXPCError.h"

namespace halcyra {

FanControl::FanControl(const ControlSurroundings& with, const std::shared_ptr<HelperClient>& helper)
    : with_(with),
      ownershipStore_(with.platform.userDefaults),
      ownership_(with.signal, ownershipStore_.load()),
      session_(with.platform.clock, helper, with.signal, with.replies),
      handBack_(with.platform.clock, with.replies, session_, with.errors, with.logger),
      presets_(with, session_),
      test_(with, session_),
      conflict_(with.platform, with.signal, with.replies, [this] { competitorChanged(); }),
      activation_(with, session_, presets_, *this, [this] {
        return PresetActivation::Conditions{*ownership_, conflict_.competitor(), test_.hasPassed()};
      }) {
  session_.onCommandFailed([this](const Error& error) { failSafe(error); });
}

// --- Handing back

void FanControl::handBack(const HandBackRequest& request, std::function<void()> completion) {
  with_.logger.log(fmt::format("smart control disengaged: {}", request.reason));
  test_.interrupt(fmt::format("The supervised fan test was interrupted: {}", request.reason));
  session_.openGeneration();
  if (request.selection == Selection::keep) {
    activation_.keepSelection();
  } else {
    activation_.dropSelection();
  }
  session_.forgetFans();
  presets_.reset();
  session_.raise(ControlEvent::handBackRequested);
  if (!session_.hasSession()) {
    session_.raise(ControlEvent::handedBack);
    if (completion) {
      completion();
    }
    return;
  }
  auto finish =
      with_.replies.whileAlive([this, generation = session_.generation(), request](const HandBackResult& result) {
        finishHandBack(generation, request, result);
      });
  session_.handBack([finish, completion = std::move(completion)](const HandBackResult& result) {
    finish(result);
    if (completion) {
      completion();
    }
  });
}

void FanControl::finishHandBack(std::uint64_t generation, const HandBackRequest& request,
                                const HandBackResult& result) {
  // Under a newer generation the phase, and what is shown, belong to whatever opened it.
  const bool isCurrent = generation == session_.generation();
  if (isCurrent) {
    session_.raise(ControlEvent::handedBack);
  }
  if (!result.error() && isCurrent && request.selection == Selection::drop) {
    with_.errors.clearAll();
  }
  handBack_.noteResult(result, isCurrent);
  if (request.poll == PollAfterwards::yes) {
    with_.telemetry.poll();
  }
}

void FanControl::failSafe(const Error& error) {
  if (HelperXPCError::isInvalidSession(error) && session_.hasSession()) {
    sessionLost(error);
    return;
  }
  conflict_.lookNow();
  std::string message = error.localizedDescription();
  const bool isConflict = error.domain == HelperXPCError::domain &&
                          error.code == static_cast<std::int64_t>(HelperXPCError::Code::controlUnavailable);
  if (isConflict && competitor()) {
    message = conflictMessage_.value_or(message);
    with_.errors.set(ErrorCause::conflict, message);
    activation_.blockRetry();
  } else {
    with_.errors.set(ErrorCause::control, message);
    activation_.retryAfter(PresetActivation::retryDelay);
  }
  handBack({.reason = message}, {});
}

void FanControl::sessionLost(const Error& error) {
  if (!session_.hasSession()) {
    return;
  }
  with_.logger.log(
      fmt::format("control session lost ({}); re-establishing automatically", error.localizedDescription()));
  session_.openGeneration();
  session_.forgetFans();
  presets_.reset();
  if (activation_.isPresetSelected()) {
    activation_.keepSelection();
    activation_.retryAtOnce();
  }
  if (test_.isRunning()) {
    test_.fail(error);
  } else if (session_.raise(ControlEvent::sessionLost) == ControlEffect::dropSession) {
    session_.endSession([](const std::optional<Error>&) {});
  }
}

// --- What a poll brings

void FanControl::received(const std::vector<int>& fansWithBadLimits) {
  for (const int fan : fansWithBadLimits) {
    presets_.noteLost(fan);
  }
  if (session_.phase() == ControlPhase::driving && !session_.hasSession()) {
    // The connection is gone, and with it what the client knew of the session; the helper's watchdog hands back.
    session_.openGeneration();
    session_.forgetFans();
    presets_.reset();
    session_.raise(ControlEvent::sessionLost);
  }
  activation_.reviewRefusal();
  activation_.restoreIfReady();
  handBack_.poll(&*with_.machine.fans, with_.telemetry.isActive());
  if (const auto fan = presets_.returnedFan()) {
    handBack({.reason = fmt::format("fan {} can be controlled again", *fan)}, {});
  }
  presets_.releaseLostFans();
  if (isOurs() && activation_.isPresetSelected()) {
    presets_.follow(activation_.active());
  }
}

void FanControl::telemetryFailed(bool isStale) {
  if (!isStale) {
    return;
  }
  handBack_.poll(nullptr, with_.telemetry.isActive());
  // Busy without a session: the start of one is out, and must not lead to driven fans any more.
  const bool isInControl = session_.hasSession() || session_.isBusy();
  const bool isControlling = activation_.isPresetSelected() || test_.isRunning();
  if (isControlling && isInControl && session_.phase() != ControlPhase::handingBack) {
    handBack({.reason = staleTelemetryReason}, {});
  }
}

// --- Commands

void FanControl::runSupervisedTest() {
  const auto refuse = [&](std::string text) { with_.errors.set(ErrorCause::supervisedTest, std::move(text)); };
  if (!isOurs()) {
    refuse(
        "Aerovane is in monitoring-only mode. Change fan-control ownership in Settings before running the write test.");
  } else if (!*with_.machine.thermalControlSupported) {
    refuse(
        "The supervised write test is unavailable because this Mac's fan topology has not been hardware-validated. "
        "Monitoring remains available.");
  } else if (*with_.machine.helperState != HelperInstallState::enabled || isBusy() || !with_.telemetry.isActive()) {
    return;
  } else if (competitor()) {
    // Not the conflict's message: that one is left to a banner, which Apple Default does not have.
    refuse(fmt::format("{} may write to the fans as well. Close or remove it before running the write test.",
                       *competitor()));
  } else {
    test_.start();
  }
}

void FanControl::presetDeleted(const UUID& id) {
  activation_.forget(id);
  if (activePreset().id == id) {
    handBack({.reason = "deleted active preset", .selection = Selection::drop}, {});
  }
}

void FanControl::setOwnership(FanControlOwnership ownership) {
  if (ownership == *ownership_) {
    return;
  }
  ownership_ = ownership;
  ownershipStore_.save(ownership);
  if (!isOurs()) {
    with_.logger.log("fan-control ownership changed to another app; entering monitoring-only mode");
    conflict_.stopWatching();
    clearConflictMessage();
    activation_.blockRetry();
    handBack({.reason = "another app selected as fan controller"}, {});
    return;
  }
  with_.logger.log("fan-control ownership changed to Aerovane");
  activation_.reviewRefusal();
  activation_.retryAfter(ownershipRestoreDelay);
  if (competitor()) {
    conflictMessage_ = activation_.conflictMessage(*competitor());
    with_.errors.set(ErrorCause::conflict, *conflictMessage_);
    watchCompetitor();
  } else {
    activation_.keepSelection();
  }
  conflict_.request();
  with_.telemetry.poll();
}

// --- Other fan utilities

void FanControl::competitorChanged() {
  const auto& name = competitor();
  if (name != knownCompetitor_) {
    knownCompetitor_ = name;
    if (name) {
      noteCompetitor(*name);
    } else {
      noteCompetitorGone();
    }
  } else if (!isOurs()) {
    conflict_.stopWatching();
  } else if (name) {
    watchCompetitor();
  }
}

void FanControl::noteCompetitor(const std::string& name) {
  with_.logger.error(fmt::format("competing fan controller detected: {}", name));
  const bool showedOldMessage = with_.errors.lastCause() == ErrorCause::conflict;
  if (!isOurs()) {
    conflict_.stopWatching();
    clearConflictMessage();
    return;
  }
  watchCompetitor();
  const std::string message = activation_.conflictMessage(name);
  conflictMessage_ = message;
  const bool isSelected = activation_.isPresetSelected();
  const bool isTesting = test_.isRunning();
  if (isTesting) {
    test_.interrupt(message);
    with_.errors.clear(ErrorCause::supervisedTest);
  }
  if (isSelected || showedOldMessage || isTesting) {
    with_.errors.set(ErrorCause::conflict, message);
  }
  if (isSelected) {
    activation_.keepSelection();
    activation_.blockRetry();
  }
  // Busy without a session: the start of one is out, and must not lead to driven fans any more.
  if (isTesting || (isSelected && (session_.hasSession() || isBusy()))) {
    handBack({.reason = message}, {});
  }
}

void FanControl::noteCompetitorGone() {
  conflict_.stopWatching();
  with_.logger.log("competing fan controller cleared; saved preset may resume");
  clearConflictMessage();
  activation_.retryAtOnce();
  if (isOurs()) {
    activation_.keepSelection();
  }
}

void FanControl::clearConflictMessage() {
  conflictMessage_.reset();
  with_.errors.clear(ErrorCause::conflict);
}

void FanControl::watchCompetitor() {
  if (with_.telemetry.isActive()) {
    conflict_.watch();
  }
}

// --- Sleep, wake, the end

void FanControl::willSleep(std::function<void()> allowSleep) {
  with_.telemetry.willSleep();
  conflict_.stopWatching();
  with_.thermal.clear();
  handBack_.settle(
      [this](std::function<void()> resume) {
        handBack({.reason = "system sleep", .poll = PollAfterwards::no}, std::move(resume));
      },
      {}, std::move(allowSleep));
}

void FanControl::didWake() {
  handBack_.stopSettling();
  with_.telemetry.didWake();
  with_.thermal.clear();
  conflict_.request();
}

void FanControl::terminate(std::function<void()> notice, std::function<void()> completion) {
  with_.telemetry.terminate();
  conflict_.stopWatching();
  handBack_.settle(
      [this](std::function<void()> resume) {
        handBack({.reason = "application termination", .poll = PollAfterwards::no}, std::move(resume));
      },
      std::move(notice), std::move(completion));
}

}  // namespace halcyra
