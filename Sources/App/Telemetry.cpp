#include "App/Telemetry.h"

#include <utility>
#include <variant>

#include "fmt/format.h"

namespace halcyra {

Telemetry::Telemetry(Platform& platform, const Replies& replies, Handlers handlers)
    : platform_(platform), replies_(replies), handlers_(std::move(handlers)), poller_(platform) {}

Telemetry::~Telemetry() {
  poller_.close();
}

void Telemetry::start(Seconds interval) {
  timer_.reset();
  if (!isActive()) {
    return;
  }
  timer_ = replies_.mainQueue().startTimer(interval, interval, Seconds{0}, replies_.whileAlive([this] { poll(); }));
  poll();
}

void Telemetry::poll() {
  if (!isActive()) {
    return;
  }
  handlers_.polling();
  if (inFlight_) {
    requested_ = true;
    return;
  }
  inFlight_ = true;
  poller_.read(replies_.onMain([this, generation = power_.generation(), began = platform_.clock.steadyNow()](
                                   TelemetryResult result) { receive(std::move(result), generation, began); }));
}

void Telemetry::receive(TelemetryResult result, std::uint64_t generation, Instant began) {
  inFlight_ = false;
  if (std::exchange(requested_, false) && !power_.isSleeping()) {
    replies_.onMain([this] { poll(); })();
  }
  if (!power_.accepts(generation)) {
    return;
  }
  if (auto* snapshot = std::get_if<TelemetrySnapshot>(&result)) {
    reading_ = began;
    watchAge();
    handlers_.received(std::move(*snapshot));
    failures_ = 0;
  } else {
    ++failures_;
    fail(std::get<Error>(result), failures_ >= staleAfterFailures);
  }
}

void Telemetry::fail(const Error& error, bool isStale) {
  if (isStale) {
    reading_.reset();
    age_.reset();
  }
  handlers_.failed(error, isStale);
}

// A driver that takes seconds for each call delivers neither a reading nor an error, and the fans would be driven by
// what was read before.
void Telemetry::watchAge() {
  const Seconds left = *reading_ + Confidence::limit - platform_.clock.steadyNow();
  age_ =
      replies_.mainQueue().startTimer(std::max(left, Seconds{0}), Seconds{0}, Seconds{0}, replies_.whileAlive([this] {
        ++failures_;
        fail(SMCError::readFailed(fmt::format("the sensors have not been read for {:.0f} "
                                              "seconds",
                                              Confidence::limit.count()))
                 .asError(),
             true);
      }));
}

std::optional<Confidence> Telemetry::confidence() const {
  if (!reading_ || !isActive()) {
    return std::nullopt;
  }
  const Confidence confidence(*reading_);
  return confidence.holds(platform_.clock.steadyNow()) ? std::optional(confidence) : std::nullopt;
}

void Telemetry::willSleep() {
  power_.willSleep();
  timer_.reset();
  age_.reset();
  reading_.reset();
  requested_ = false;
}

void Telemetry::didWake() {
  power_.didWake();
}

void Telemetry::terminate() {
  terminating_ = true;
  timer_.reset();
  age_.reset();
  power_.invalidatePendingPolls();
  requested_ = false;
}

}  // namespace halcyra
