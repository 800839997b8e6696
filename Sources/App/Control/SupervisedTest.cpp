#include "App/Control/SupervisedTest.h"

#include <utility>

#include "App/ClientFailure.h"
#include "App/HelperPreflight.h"

namespace halcyra {

namespace {

bool hasPassedBefore(const UserDefaults& defaults, const std::string& model) {
  return defaults.integer(SupervisedTest::versionKey) == SupervisedTest::protocolVersion &&
         defaults.string(SupervisedTest::modelKey) == model;
}

}  // namespace

SupervisedTest::SupervisedTest(const ControlSurroundings& with, ControlSession& session)
    : with_(with),
      session_(session),
      passed_(with.signal, hasPassedBefore(with.platform.userDefaults, with.machine.modelIdentifier)),
      running_(with.signal, false) {}

void SupervisedTest::start() {
  const auto confidence = with_.telemetry.confidence();
  if (!confidence) {
    say("The supervised fan test needs a fresh temperature reading. Try again once temperatures are shown.");
    return;
  }
  if (session_.raise(ControlEvent::testRequested) != ControlEffect::beginSession) {
    return;
  }
  running_ = true;
  with_.errors.clearAll();
  session_.begin(*confidence, [this](const PropertyList& status, const std::optional<Error>& error) {
    if (error) {
      fail(*error);
    } else {
      takeFan(status);
    }
  });
}

void SupervisedTest::takeFan(const PropertyList& status) {
  const auto fan = preflightIsClean(status) ? supervisedFan(status) : std::nullopt;
  const auto target = fan ? supervisedTestTarget(*fan) : std::nullopt;
  if (!target) {
    fail(ClientFailure::error(ClientFailure::Case::abnormalPreflight));
    return;
  }
  const auto confidence = with_.telemetry.confidence();
  if (!confidence) {
    fail(ControlSession::staleReading());
    return;
  }
  session_.raise(ControlEvent::sessionBegan);
  session_.takeFan(fan->index, *confidence,
                   [this, index = fan->index, rpm = *target](const PropertyList&, const std::optional<Error>& error) {
                     if (error) {
                       fail(*error);
                     } else {
                       writeTarget(index, rpm);
                     }
                   });
}

void SupervisedTest::writeTarget(int fan, std::int64_t target) {
  const auto confidence = with_.telemetry.confidence();
  if (!confidence) {
    fail(ControlSession::staleReading());
    return;
  }
  session_.setFirstTarget(
      fan, target, *confidence, [this](const PropertyList&, const std::optional<Error>& writeError) {
        session_.resetAll([this, writeError](const PropertyList& resetReply, const std::optional<Error>& resetError) {
          finish(writeError, resetReply, resetError);
        });
      });
}

void SupervisedTest::finish(const std::optional<Error>& writeError, const PropertyList& resetReply,
                            const std::optional<Error>& resetError) {
  if (writeError) {
    fail(*writeError);
  } else if (resetError) {
    fail(*resetError);
  } else if (preflightIsClean(resetReply)) {
    pass();
  } else {
    fail(ClientFailure::error(ClientFailure::Case::resetUnverified));
  }
}

void SupervisedTest::pass() {
  running_ = false;
  passed_ = true;
  UserDefaults& defaults = with_.platform.userDefaults;
  defaults.setInteger(versionKey, protocolVersion);
  defaults.setString(modelKey, with_.machine.modelIdentifier);
  with_.errors.clearAll();
  session_.raise(ControlEvent::handBackRequested);
  session_.endSession([this](const std::optional<Error>& error) {
    if (!error) session_.noteAllAutomatic();
    session_.raise(ControlEvent::handedBack);
    with_.telemetry.poll();
  });
}

void SupervisedTest::fail(const Error& error) {
  running_ = false;
  session_.raise(ControlEvent::handBackRequested);
  session_.handBack(
      with_.replies.whileAlive([this, generation = session_.generation(), error](const HandBackResult& result) {
        say(result.resetError.value_or(error).localizedDescription());
        if (session_.generation() == generation) {
          if (!result.error()) session_.noteAllAutomatic();
          session_.raise(ControlEvent::handedBack);
        }
        with_.telemetry.poll();
      }));
}

void SupervisedTest::interrupt(const std::string& text) {
  if (*running_) {
    running_ = false;
    say(text);
  }
}

}  // namespace halcyra
