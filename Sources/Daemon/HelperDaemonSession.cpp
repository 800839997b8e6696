// The messages: who may ask for what, and the life of the one session.

#include <algorithm>
#include <utility>

#include "fmt/format.h"

#include "Daemon/HelperDaemon.h"
#include "Platform/UUID.h"
#include "XPC/FanControlXPC.h"
#include "XPC/HelperXPCError.h"

namespace halcyra {

using HelperXPCError::Code;

std::optional<Error> HelperDaemon::refusal(const Caller& caller) {
  if (!options_.callers.allows(caller)) {
    logger_.error(
        fmt::format("refused: process {} of user {} may not use the helper", caller.processID, caller.userID));
    return HelperXPCError::make(Code::unauthorizedClient);
  }
  if (hasFinished_) {
    return HelperXPCError::make(Code::busy, "The helper has ended");
  }
  endSessionIfStale();
  touch();
  return std::nullopt;
}

std::optional<Error> HelperDaemon::sessionRefusal(const Caller& caller, const std::string& sessionID) {
  if (auto error = refusal(caller)) {
    return error;
  }
  const bool isTheirs =
      session_ && session_->isOpen && session_->id == sessionID && session_->connectionName == caller.connectionName;
  if (!isTheirs) {
    return HelperXPCError::make(Code::invalidSession);
  }
  return std::nullopt;
}

void HelperDaemon::status(const Caller& caller, DictionaryReply reply) {
  if (auto error = refusal(caller)) {
    reply(nullptr, std::move(error));
    return;
  }
  answerStatus(0, std::move(reply));
}

void HelperDaemon::beginSession(const Caller& caller, const std::string& sessionID, DictionaryReply reply) {
  auto error = refusal(caller);
  if (!error && !UUID::parse(sessionID)) {
    error = HelperXPCError::make(Code::invalidSession, "A session is identified by a UUID");
  }
  if (!error && (stopStatus_ || refusesSessions_)) {
    error = HelperXPCError::make(Code::busy, "The helper is about to end");
  }
  if (!error && session_ && session_->connectionName != caller.connectionName) {
    error = HelperXPCError::make(Code::busy, "Another client's session is active");
  }
  if (!error) {
    error = lockRefusal();
  }
  if (error) {
    reply(nullptr, std::move(error));
    return;
  }
  if (session_) {
    endCurrentSession("its client begins a new session", nullptr);
  } else if (startupHandBackDue_ && handBacksOut_ == 0) {
    handBack("the fans could not be handed back when the helper started", nullptr);
  }
  session_ = Session{sessionID, caller.connectionName, ++lastSerial_, false, clock_.steadyNow()};
  openSession(lastSerial_, std::move(reply));
}

std::optional<Error> HelperDaemon::lockRefusal() {
  try {
    lock_.acquire(lockOwnerDescription);
    return std::nullopt;
  } catch (const FanControlProcessLockError& error) {
    logger_.error(error.what());
    const bool isOwned = error.kind() == FanControlProcessLockError::Case::alreadyOwned;
    return HelperXPCError::make(isOwned ? Code::busy : Code::internalFailure, error.what());
  }
}

void HelperDaemon::openSession(std::uint64_t serial, DictionaryReply reply) {
  perform(
      queue_->epoch().current(), [this] { return executor_->openSession(); },
      [this, serial, reply = std::move(reply)](const WorkResult& result) { sessionOpened(serial, result, reply); });
}

void HelperDaemon::sessionOpened(std::uint64_t serial, WorkResult result, const DictionaryReply& reply) {
  if (!isCurrent(serial)) {
    reply(nullptr, HelperXPCError::make(Code::invalidSession, "The session was ended while it started"));
    return;
  }
  if (result.superseded) {
    openSession(serial, reply);
    return;
  }
  if (result.error) {
    logger_.error(fmt::format("no session: {}", result.error->localizedDescription()));
    session_.reset();
    reply(nullptr, std::move(result.error));
    return;
  }
  session_->isOpen = true;
  noteHeartbeat();
  logger_.log(fmt::format("session {} of {} begins", session_->id, session_->connectionName));
  watchSession();
  reply(std::move(result.value), std::nullopt);
}

void HelperDaemon::heartbeat(const Caller& caller, const std::string& sessionID, ErrorReply reply) {
  auto error = sessionRefusal(caller, sessionID);
  if (!error) {
    noteHeartbeat();
  }
  reply(std::move(error));
}

void HelperDaemon::setFanMode(const Caller& caller, std::int64_t fan, bool manual, const std::string& sessionID,
                              DictionaryReply reply) {
  command(
      caller, fan, sessionID, [this, manual](int index) { return executor_->setMode(index, manual); },
      std::move(reply));
}

void HelperDaemon::setFanTargetRPM(const Caller& caller, std::int64_t fan, std::int64_t rpm,
                                   const std::string& sessionID, DictionaryReply reply) {
  command(
      caller, fan, sessionID, [this, rpm](int index) { return executor_->setTarget(index, rpm); }, std::move(reply));
}

void HelperDaemon::command(const Caller& caller, std::int64_t fan, const std::string& sessionID,
                           std::function<PropertyList(int fan)> work, DictionaryReply reply) {
  auto error = sessionRefusal(caller, sessionID);
  if (!error && !std::in_range<int>(fan)) {
    error = HelperXPCError::make(Code::invalidFan, fmt::format("There is no fan {}.", fan));
  }
  if (error) {
    reply(nullptr, std::move(error));
    return;
  }
  const std::uint64_t ticket = queue_->epoch().current();
  perform(
      ticket, [work = std::move(work), index = static_cast<int>(fan)] { return work(index); },
      [this, serial = session_->serial, ticket, reply = std::move(reply)](WorkResult result) {
        if (!isCurrent(serial)) {
          result = {nullptr, HelperXPCError::make(Code::invalidSession), false};
        } else if (!result.error && queue_->epoch().current() != ticket) {
          // It was done, but a hand-back has been asked for since.
          result = {nullptr, HelperXPCError::make(Code::internalFailure, SupersededByHandBack().what()), true};
        }
        reply(std::move(result.value), std::move(result.error));
      });
}

void HelperDaemon::resetAll(const Caller& caller, const std::string& sessionID, DictionaryReply reply) {
  if (auto error = sessionRefusal(caller, sessionID)) {
    reply(nullptr, std::move(error));
    return;
  }
  handBack("the client asks for it",
           [this, serial = session_->serial, reply = std::move(reply)](const HandBackReport& report) {
             if (!isCurrent(serial)) {
               reply(nullptr, HelperXPCError::make(Code::invalidSession));
             } else if (report.failed()) {
               reply(nullptr, HelperXPCError::make(Code::controlUnavailable, report.failureText()));
             } else {
               answerStatus(serial, reply);
             }
           });
}

// Serial 0: for no session. A status that a hand-back interrupts is read again after it.
void HelperDaemon::answerStatus(std::uint64_t serial, DictionaryReply reply) {
  perform(
      queue_->epoch().current(), [this] { return executor_->status(); },
      [this, serial, reply = std::move(reply)](WorkResult result) {
        if (serial != 0 && !isCurrent(serial)) {
          reply(nullptr, HelperXPCError::make(Code::invalidSession));
        } else if (result.superseded) {
          answerStatus(serial, reply);
        } else {
          reply(std::move(result.value), std::move(result.error));
        }
      });
}

void HelperDaemon::endSession(const Caller& caller, const std::string& sessionID, ErrorReply reply) {
  if (auto error = sessionRefusal(caller, sessionID)) {
    reply(std::move(error));
    return;
  }
  endCurrentSession("its client ends it", [reply = std::move(reply)](const HandBackReport& report) {
    std::optional<Error> error;
    if (report.failed()) {
      error = HelperXPCError::make(Code::controlUnavailable, report.failureText());
    }
    reply(std::move(error));
  });
}

void HelperDaemon::prepareForUninstall(const Caller& caller, ErrorReply reply) {
  if (auto error = refusal(caller)) {
    reply(std::move(error));
    return;
  }
  if (session_ && session_->connectionName != caller.connectionName) {
    reply(HelperXPCError::make(Code::busy, "Another client's session is active"));
    return;
  }
  refusesSessions_ = true;
  const HandBackCompletion completion = [this, reply = std::move(reply)](const HandBackReport& report) {
    if (report.failed()) {
      refusesSessions_ = false;
      reply(HelperXPCError::make(Code::controlUnavailable, report.failureText()));
      return;
    }
    reply(std::nullopt);
    stop(0, "the helper is about to be uninstalled");
  };
  if (session_) {
    endCurrentSession("the helper is about to be uninstalled", completion);
  } else {
    handBackUnlessOwned("the helper is about to be uninstalled", completion);
  }
}

void HelperDaemon::clientGone(const std::string& connectionName) {
  if (session_ && session_->connectionName == connectionName) {
    endCurrentSession("its client is gone", nullptr);
  }
}

void HelperDaemon::endCurrentSession(const std::string& reason, HandBackCompletion completion) {
  logger_.log(fmt::format("session {} ends: {}", session_->id, reason));
  session_.reset();
  watchdog_.cancel();
  handBack(reason, std::move(completion));
}

void HelperDaemon::noteHeartbeat() {
  session_->lastHeartbeat = clock_.steadyNow();
  queue_->setSessionDeadline(session_->lastHeartbeat + FanControlXPC::watchdogSeconds);
}

void HelperDaemon::endSessionIfStale() {
  const bool isStale =
      session_ && session_->isOpen && clock_.steadyNow() - session_->lastHeartbeat >= FanControlXPC::watchdogSeconds;
  if (isStale) {
    endCurrentSession("its heartbeats have stopped", nullptr);
  }
}

void HelperDaemon::watchSession() {
  const Seconds left = FanControlXPC::watchdogSeconds - (clock_.steadyNow() - session_->lastHeartbeat);
  // Not zero: what rounding leaves must not fire again without time going on.
  watchdog_.arm(std::max(left, Seconds{0.001}), [this] {
    endSessionIfStale();
    if (session_ && session_->isOpen) {
      watchSession();
    }
  });
}

}  // namespace halcyra
