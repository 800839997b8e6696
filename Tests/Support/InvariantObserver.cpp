#include "Support/InvariantObserver.h"

#include <algorithm>
#include <utility>

#include "fmt/format.h"

#include "Support/ForwardingIOKit.h"

namespace halcyra::test {

namespace {

/// Seconds between two looks.
constexpr double step = 0.1;
constexpr double watchdogSeconds = 12;
constexpr double latchSeconds = 10;
/// A heartbeat comes every 4 s: an application whose last one is older does not know of the session, or has lost it.
constexpr double heartbeatSeconds = 4.5;
/// Until a call whose message or answer was lost has ended, the application may wait for it.
constexpr double callTimeout = 60;
/// RPM within which a target counts as commanded already.
constexpr double targetTolerance = 50;
/// What a read, its decision and its messages take, in seconds.
constexpr double decisionSeconds = 1;
/// Driver calls that a write which has begun may still consist of.
constexpr double callsOfOneWrite = 4;

/// Puts an own layer under one that is there already; owns both.
class Layered : public ForwardingIOKit {
 public:
  Layered(std::unique_ptr<IOKit> below, std::unique_ptr<IOKit> above)
      : ForwardingIOKit(*above), below_(std::move(below)), above_(std::move(above)) {}

 private:
  std::unique_ptr<IOKit> below_;
  std::unique_ptr<IOKit> above_;
};

}  // namespace

std::string_view nameOf(Rule rule) {
  switch (rule) {
    case Rule::ownership:
      return "ownership";
    case Rule::writes:
      return "writes";
    case Rule::limits:
      return "limits";
    case Rule::heat:
      return "heat";
    case Rule::confidence:
      return "confidence";
    case Rule::selection:
      return "selection";
    case Rule::recovery:
      return "recovery";
  }
  return "";
}

std::string describe(const std::vector<Violation>& violations) {
  std::string text;
  for (const Violation& violation : violations) {
    text += fmt::format("{:.1f} s, {}: {}\n", violation.time, nameOf(violation.rule), violation.text);
  }
  return text;
}

InvariantObserver::InvariantObserver() = default;
InvariantObserver::~InvariantObserver() = default;

void InvariantObserver::attach(ClosedLoop& loop) {
  const auto now = [&scheduler = loop.scheduler] { return scheduler.elapsed().count(); };
  sessions_ = std::make_unique<SessionRecord>(now);
  loop.seams.applicationIOKit = [this, now, above = std::move(loop.seams.applicationIOKit)](IOKit& machine,
                                                                                            std::int32_t process) {
    Watched& watched = watched_[process];
    watched.telemetry = std::make_unique<TelemetryRecord>(now);
    std::unique_ptr<IOKit> tap = watched.telemetry->tap(machine);
    if (!above) return tap;
    std::unique_ptr<IOKit> falsified = above(*tap, process);
    return std::unique_ptr<IOKit>(std::make_unique<Layered>(std::move(tap), std::move(falsified)));
  };
  loop.seams.helperListener = [this, above = std::move(loop.seams.helperListener)](
                                  std::unique_ptr<FanControlHelperListener> bus,
                                  std::shared_ptr<VirtualProcess> process) {
    auto tap = sessions_->tap(std::move(bus), process);
    return above ? above(std::move(tap), std::move(process)) : std::move(tap);
  };
}

void InvariantObserver::look(ClosedLoop& loop, Circumstances& circumstances) {
  now_ = loop.now();
  const auto lastFault = loop.bus.lastFault();
  messagesAreReliable_ = !lastFault || now_ - lastFault->count() > callTimeout + latchSeconds;
  sessions_->update();
  const VirtualMacState state = loop.truth();
  checkWrites(loop, circumstances, state);
  const VirtualProcess* const helper = loop.helper ? loop.helper->process.get() : nullptr;
  // A new one begins with the hand-back of whatever it finds, and has its time for it.
  if (std::exchange(lastHelper_, helper) != helper) {
    ownerlessFor_ = {};
    for (std::size_t fan = 0; fan < wasHidden_.size(); ++fan) {
      wasHidden_.at(fan) = wasHidden_.at(fan) || (helper != nullptr && circumstances.modeLies.at(fan));
    }
  }
  for (const VirtualFanState& fan : state.fans) checkOwnership(loop, circumstances, fan);
  for (auto& [process, watched] : watched_) {
    if (!circumstances.applications.contains(process)) continue;
    checkHeat(circumstances, state, process, watched);
    checkConfidence(circumstances, state, process, watched);
  }
  checkRecovery(circumstances, state);
}

void InvariantObserver::checkWrites(ClosedLoop& loop, Circumstances& circumstances, const VirtualMacState& state) {
  // A write that has begun when the end comes is taken back by the hand-back that waits behind it.
  const double grace = 0.01 + callsOfOneWrite * circumstances.slowCall;
  for (const ClosedLoop::Write& write : loop.writes) {
    const auto index = static_cast<std::size_t>(write.key[1] - '0');
    const bool isMode = write.key.ends_with("Md");
    const bool isTarget = write.key.ends_with("Tg");
    if (!isMode && !isTarget) continue;
    circumstances.isForeign.at(index) = false;
    if (isMode && write.value == 0) continue;
    if (isTarget) checkTarget(write, state.fans.at(index));
    const auto& all = sessions_->sessions();
    const bool isOwned = std::any_of(all.begin(), all.end(), [&](const ObservedSession& session) {
      const double end = std::min(session.ended.value_or(write.time), session.lastHeartbeat + watchdogSeconds);
      return session.begun <= write.time && write.time <= end + grace;
    });
    if (!isOwned) report(Rule::writes, write.time, fmt::format("{} = {} without a session", write.key, write.value));
  }
  loop.writes.clear();
}

void InvariantObserver::checkTarget(const ClosedLoop::Write& write, const VirtualFanState& fan) {
  if (write.value < fan.minimum || write.value > fan.maximum) {
    report(Rule::limits, write.time,
           fmt::format("{} = {} outside {}...{}", write.key, write.value, fan.minimum, fan.maximum));
  }
}

void InvariantObserver::checkOwnership(ClosedLoop& loop, Circumstances& circumstances, const VirtualFanState& fan) {
  const auto index = static_cast<std::size_t>(fan.index);
  double& ownerless = ownerlessFor_.at(index);
  if (fan.mode == 0) circumstances.isForeign.at(index) = false;
  if (fan.mode == 1) circumstances.isTaken.at(index) = false;
  const ObservedSession* const session = sessions_->live();
  const bool isOwned = fan.mode == 0 || (session != nullptr && isFresh(*session));
  if (isOwned) wasHidden_.at(index) = false;
  // What another party does is not this program's to undo, what the firmware refuses nobody's; and a fan that reads
  // automatic to a helper that has never commanded it is not to be written to.
  const bool isExcused = circumstances.isForeign.at(index) || wasHidden_.at(index) ||
                         circumstances.modeIsObstructed.at(index) || !canBeHandedBack(loop, circumstances);
  if (isOwned || isExcused) {
    ownerless = 0;
    return;
  }
  ownerless += step;
  if (ownerless > latchSeconds + step) {
    report(Rule::ownership, now_, fmt::format("fan {} in manual mode without a live session", fan.index));
    ownerless = 0;
  }
}

// Somebody must be there to do it: a helper, or an application that still counts on its session, whose next heartbeat
// starts a new helper. With both gone nobody is left until the application is started again.
bool InvariantObserver::canBeHandedBack(ClosedLoop& loop, const Circumstances& circumstances) const {
  if (circumstances.isAsleep || circumstances.helperIsHeld) return false;
  if (loop.helper || !loop.lostHelpers.empty()) return true;
  if (!circumstances.busIsUp || !messagesAreReliable_) return false;
  return std::any_of(circumstances.applications.begin(), circumstances.applications.end(), [&](const auto& each) {
    const ObservedSession* const session = sessions_->lastOf(each.first);
    return !each.second.isHeld && session != nullptr && !session->helper->isAlive();
  });
}

const ObservedSession* InvariantObserver::controllingSession(const Circumstances& circumstances,
                                                             std::int32_t process) const {
  const auto application = circumstances.applications.find(process);
  const ObservedSession* const session = sessions_->live();
  const bool controls = session != nullptr && session->processID == process &&
                        now_ - session->lastHeartbeat <= heartbeatSeconds && !application->second.isHeld &&
                        !circumstances.isAsleep && !circumstances.helperIsHeld && messagesAreReliable_;
  return controls ? session : nullptr;
}

void InvariantObserver::checkHeat(const Circumstances& circumstances, const VirtualMacState& state,
                                  std::int32_t process, Watched& watched) {
  const ObservedSession* const session = controllingSession(circumstances, process);
  if (session == nullptr || circumstances.controlIsObstructed) {
    watched.heat.reset();
    watched.answeredReading = watched.telemetry->lastCritical();
    return;
  }
  if (!watched.heat && watched.telemetry->lastCritical() != watched.answeredReading) {
    watched.heat = HeatWatch{now_, 0};
    watched.answeredReading = watched.telemetry->lastCritical();
  }
  if (!watched.heat) return;
  const bool isAnswered = std::all_of(state.fans.begin(), state.fans.end(), [](const VirtualFanState& fan) {
    return fan.mode == 0 || fan.target > fan.maximum - targetTolerance;
  });
  if (isAnswered) {
    watched.heat.reset();
    return;
  }
  // A latch takes what it takes, at most 10 s; it is between the writes that nothing may be waited for.
  if (session->commandsOut == 0) watched.heat->idle += step;
  if (watched.heat->idle > circumstances.applications.at(process).pollingInterval + decisionSeconds) {
    report(Rule::heat, now_,
           fmt::format("critical since {:.1f} s, targets {:.0f} and {:.0f}", watched.heat->readAt, state.fans[0].target,
                       state.fans[1].target));
    watched.heat.reset();
  }
}

void InvariantObserver::checkConfidence(const Circumstances& circumstances, const VirtualMacState& state,
                                        std::int32_t process, Watched& watched) {
  constexpr int toleratedRounds = 2;
  const bool isManual = std::any_of(state.fans.begin(), state.fans.end(), [&](const VirtualFanState& fan) {
    const auto index = static_cast<std::size_t>(fan.index);
    return fan.mode == 1 && !circumstances.isForeign.at(index) && !circumstances.modeIsObstructed.at(index);
  });
  const bool isBlind = watched.telemetry->blindRounds() >= toleratedRounds;
  if (!isBlind || !isManual || controllingSession(circumstances, process) == nullptr) {
    watched.blindFor = 0;
    return;
  }
  watched.blindFor += step;
  if (watched.blindFor > latchSeconds) {
    report(Rule::confidence, now_, "the session of an application that cannot see drives the fans");
    watched.blindFor = 0;
  }
}

void InvariantObserver::checkRecovery(const Circumstances& circumstances, const VirtualMacState& state) {
  if (circumstances.selectedPreset != circumstances.wantedPreset) {
    report(Rule::selection, now_,
           fmt::format("{} is selected instead of {}", circumstances.selectedPreset, circumstances.wantedPreset));
  }
  if (!circumstances.mustHaveRecovered) return;
  const ObservedSession* const session = sessions_->live();
  const bool isLive = session != nullptr && isFresh(*session);
  for (const VirtualFanState& fan : state.fans) {
    if (circumstances.appleDefaultIsSelected) {
      const auto index = static_cast<std::size_t>(fan.index);
      const bool isBack = fan.mode == 0 || circumstances.isForeign.at(index) || wasHidden_.at(index);
      if (!isBack) report(Rule::recovery, now_, fmt::format("fan {} is manual under Apple Default", fan.index));
    } else if ((fan.mode != 1 && !circumstances.isTaken.at(static_cast<std::size_t>(fan.index))) || !isLive) {
      // A fan that another party has taken is noticed by its target, and only where that is not the wanted one.
      report(Rule::recovery, now_, fmt::format("fan {} is not driven by {}", fan.index, circumstances.wantedPreset));
    }
  }
}

void InvariantObserver::report(Rule rule, double time, std::string text) {
  // One of a kind is enough to know; the next hundred would say the same.
  constexpr std::size_t mostOfOneRule = 3;
  const auto known = std::count_if(violations_.begin(), violations_.end(),
                                   [&](const Violation& violation) { return violation.rule == rule; });
  if (static_cast<std::size_t>(known) < mostOfOneRule) violations_.push_back({rule, time, std::move(text)});
}

}  // namespace halcyra::test
