#include "App/Control/ControlSession.h"

#include <utility>

#include "SMC/SMCError.h"

namespace halcyra {

ControlSession::ControlSession(Clock& clock, std::shared_ptr<HelperClient> helper, const ChangeSignal& signal,
                               const Replies& replies)
    : clock_(clock), helper_(std::move(helper)), replies_(replies), phase_(signal, ControlPhase::firmware) {}

Error ControlSession::staleReading() {
  return SMCError::readFailed("there is no fresh temperature to drive the fans by").asError();
}

template <typename Handler>
auto ControlSession::within(Handler handler) const {
  return replies_.onMain([this, generation = generation_, handler = std::move(handler)](auto&&... arguments) {
    if (generation_ == generation) {
      handler(std::forward<decltype(arguments)>(arguments)...);
    }
  });
}

ControlEffect ControlSession::raise(ControlEvent event) {
  if (event == ControlEvent::presetSelected) isPresetSelected_ = true;
  if (event == ControlEvent::systemSelected) isPresetSelected_ = false;
  const ControlTransition* transition = controlTransition(*phase_, event);
  if (transition == nullptr) {
    ++ignoredEvents_;
    return ControlEffect::none;
  }
  ControlPhase next = transition->to;
  if (next == ControlPhase::firmware && isPresetSelected_) {
    next = controlTransition(next, ControlEvent::presetSelected)->to;
  }
  phase_ = next;
  return transition->effect;
}

void ControlSession::openGeneration() {
  ++generation_;
  coalescer_.reset();
}

void ControlSession::forgetFans() {
  controllable_.clear();
  targets_.clear();
}

std::optional<std::int64_t> ControlSession::commandedTarget(int fan) const {
  if (const auto latest = coalescer_.latestTarget(fan)) {
    return latest;
  }
  const auto confirmed = targets_.find(fan);
  return confirmed == targets_.end() ? std::nullopt : std::optional(confirmed->second);
}

void ControlSession::begin(const Confidence& confidence, Reply reply) {
  if (!holds(confidence)) {
    reply(nullptr, staleReading());
    return;
  }
  beginSession(std::move(reply));
}

void ControlSession::beginSession(Reply reply) {
  auto answer = replies_.onMain(
      [this, generation = generation_, reply = std::move(reply)](
          const PropertyList& status, const std::optional<Error>& error, const std::optional<std::string>& sessionID) {
        if (generation_ == generation) {
          reply(status, error);
        } else if (!error && sessionID) {
          helper_->endSession(*sessionID, [](const std::optional<Error>&) {});
        }
      });
  helper_->beginSession([answer, helper = std::weak_ptr(helper_)](PropertyList status, std::optional<Error> error) {
    // On the connection's thread: by the time the main queue looks, another session may have taken its place.
    const auto client = helper.lock();
    answer(std::move(status), std::move(error), client ? client->sessionID() : std::nullopt);
  });
}

void ControlSession::beginAndEnd(const std::function<void(const std::optional<Error>&)>& done) {
  beginSession([this, done](const PropertyList&, const std::optional<Error>& error) {
    if (error) {
      done(error);
    } else {
      endSession(done);
    }
  });
}

void ControlSession::takeFan(int fan, const Confidence& confidence, const Reply& reply) {
  if (!holds(confidence)) {
    reply(nullptr, staleReading());
    return;
  }
  manual_.insert(fan);
  helper_->setMode(fan, true, within(reply));
}

void ControlSession::setFirstTarget(int fan, std::int64_t rpm, const Confidence& confidence, const Reply& reply) {
  if (!holds(confidence)) {
    reply(nullptr, staleReading());
    return;
  }
  helper_->setTarget(fan, rpm,
                     within([this, fan, rpm, reply](const PropertyList& status, const std::optional<Error>& error) {
                       if (!error) targets_[fan] = rpm;
                       reply(status, error);
                     }));
}

void ControlSession::drive(int fan, std::int64_t rpm, const Confidence& confidence) {
  confidence_ = confidence;
  if (const auto due = coalescer_.request(fan, rpm)) {
    send(fan, *due);
  }
}

void ControlSession::send(int fan, std::int64_t rpm) {
  if (!confidence_ || !holds(*confidence_)) {
    commandFailed_(staleReading());
    return;
  }
  helper_->setTarget(fan, rpm, within([this, fan, rpm](const PropertyList&, const std::optional<Error>& error) {
                       const auto next = coalescer_.complete(fan, !error.has_value());
                       // A fan that was released meanwhile is not the session's any more, whatever became of it.
                       if (!controllable_.contains(fan)) return;
                       if (error) {
                         commandFailed_(*error);
                         return;
                       }
                       targets_[fan] = rpm;
                       if (next) send(fan, *next);
                     }));
}

void ControlSession::releaseFan(int fan) {
  controllable_.erase(fan);
  targets_.erase(fan);
  helper_->setMode(fan, false, within([this, fan](const PropertyList&, const std::optional<Error>& error) {
                     if (error) {
                       commandFailed_(*error);
                     } else {
                       manual_.erase(fan);
                     }
                   }));
}

void ControlSession::resetAll(const Reply& reply) {
  helper_->resetAll(within(reply));
}

void ControlSession::endSession(const std::function<void(const std::optional<Error>&)>& done) {
  helper_->endSession(within(done));
}

void ControlSession::handBack(std::function<void(const HandBackResult&)> finished) {
  const auto sessionID = helper_->sessionID();
  // Holds the client, not the model: fans are handed back even when the model goes away meanwhile.
  helper_->resetAll([helper = helper_, sessionID, &queue = replies_.mainQueue(), finished = std::move(finished)](
                        const PropertyList&, const std::optional<Error>& resetError) {
    const auto end = [&queue, finished, resetError](std::optional<Error> endError) {
      queue.async([finished, result = HandBackResult{resetError, std::move(endError)}] { finished(result); });
    };
    if (sessionID) {
      helper->endSession(*sessionID, end);
    } else {
      end(std::nullopt);
    }
  });
}

}  // namespace halcyra
