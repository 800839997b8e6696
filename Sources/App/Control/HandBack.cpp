#include "App/Control/HandBack.h"

#include <algorithm>
#include <utility>

#include "fmt/format.h"
#include "fmt/ranges.h"

#include "XPC/HelperXPCError.h"

namespace halcyra {

namespace {

constexpr Seconds settlingPeriod{1.0};

}  // namespace

HandBack::HandBack(Clock& clock, const Replies& replies, ControlSession& session, StandingErrors& errors, Logger logger)
    : clock_(clock), replies_(replies), session_(session), errors_(errors), logger_(std::move(logger)) {}

void HandBack::noteResult(const HandBackResult& result, bool isCurrent) {
  lastError_ = result.error();
  if (!lastError_ && isCurrent) {
    session_.noteAllAutomatic();
  }
  if (!lastError_) {
    errors_.clear(ErrorCause::handBack);
  } else if (!HelperXPCError::isInvalidSession(*lastError_)) {
    errors_.set(ErrorCause::handBack, lastError_->localizedDescription());
  }
}

// A helper that could not hand back tries again by itself; but where it has died over it, and no preset asks for a new
// session, nobody would start another one. A session that ends at once does, and its end is a hand-back.
void HandBack::poll(const std::vector<FanInfo>* fans, bool mayAct) {
  const Instant now = clock_.steadyNow();
  if (!isOwed() || !mayAct || session_.hasSession() || session_.isBusy()) {
    next_ = now + retryDelay;
    return;
  }
  const auto isAutomatic = [](const FanInfo& fan) { return fan.mode == FanMode::automatic; };
  if (fans != nullptr && !fans->empty() && std::all_of(fans->begin(), fans->end(), isAutomatic)) {
    session_.noteAllAutomatic();
    errors_.clear(ErrorCause::handBack);
    return;
  }
  if (next_ && now < *next_) {
    return;
  }
  logger_.log("handing the fans back once more: the last hand-back was not confirmed");
  next_ = now + retryDelay;
  if (session_.raise(ControlEvent::handBackIsDue) == ControlEffect::beginAndEndSession) {
    ask([this](const std::optional<Error>&) { session_.raise(ControlEvent::handedBack); });
  }
}

void HandBack::ask(const std::function<void(const std::optional<Error>&)>& answered) {
  session_.beginAndEnd([this, answered](const std::optional<Error>& error) {
    lastError_ = error;
    if (!error) {
      session_.noteAllAutomatic();
      errors_.clear(ErrorCause::handBack);
    }
    answered(error);
  });
}

void HandBack::settle(const std::function<void(std::function<void()>)>& first, std::function<void()> notice,
                      std::function<void()> done) {
  const auto settling = std::make_shared<Settling>();
  if (settling_) {
    settling->done = std::exchange(settling_->done, {});
    stopSettling();
  }
  settling->done.push_back(std::move(done));
  settling_ = settling;
  if (notice) {
    settling->notice = replies_.mainQueue().startTimer(noticeAfter, Seconds{0}, Seconds{0}, std::move(notice));
  }
  settling->end = replies_.mainQueue().startTimer(patience, Seconds{0}, Seconds{0},
                                                  replies_.whileAlive([this] { stopSettling(); }));
  first(replies_.whileAlive([this, weak = std::weak_ptr(settling)] {
    if (!weak.expired() && settling_ == weak.lock()) askUntilSettled();
  }));
}

void HandBack::askUntilSettled() {
  if (!isOwed()) {
    stopSettling();
    return;
  }
  ask([this, weak = std::weak_ptr(settling_)](const std::optional<Error>& error) {
    const auto settling = weak.lock();
    if (!settling || settling != settling_) return;
    if (!error) {
      stopSettling();
      return;
    }
    settling->retry = replies_.mainQueue().startTimer(settlingPeriod, Seconds{0}, Seconds{0},
                                                      replies_.whileAlive([this] { askUntilSettled(); }));
  });
}

void HandBack::stopSettling() {
  // A timer that fires is among what is destroyed: not before it returns.
  const auto settling = std::exchange(settling_, nullptr);
  if (!settling) {
    return;
  }
  replies_.mainQueue().async([settling] {});
  for (const auto& done : settling->done) done();
}

std::optional<std::string> HandBack::failure() const {
  if (!isOwed()) {
    return std::nullopt;
  }
  const auto& fans = session_.manualFans();
  return fmt::format("{} {} may still be under manual control: {}", fans.size() == 1 ? "fan" : "fans",
                     fmt::join(fans, " and "),
                     lastError_ ? lastError_->localizedDescription() : "the helper did not answer");
}

}  // namespace halcyra
