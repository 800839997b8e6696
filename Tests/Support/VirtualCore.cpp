#include "Support/VirtualCore.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

#include "Platform/Precondition.h"

namespace halcyra::test {

namespace {

/// A loop that hands itself over without waiting would never let time move on.
constexpr std::uint64_t mostPiecesInOneInstant = 200'000;
/// Ten years; more would overflow sooner or later.
constexpr double longestSeconds = 3.2e8;

thread_local VirtualLane* currentLane = nullptr;
thread_local const VirtualCore* currentCore = nullptr;

}  // namespace

Ticks ticksFrom(Seconds duration) {
  return std::llround(std::clamp(duration.count(), -longestSeconds, longestSeconds) * 1e9);
}

Seconds secondsFrom(Ticks ticks) {
  return Seconds{static_cast<double>(ticks) / 1e9};
}

VirtualLane* VirtualCore::callingLane() const {
  precondition(currentLane == nullptr || currentCore == this, "queues of two schedulers cannot wait for each other");
  return currentLane;
}

// Choosing and handing over. `mutex_` is held.

std::optional<VirtualCore::Choice> VirtualCore::nextChoice() const {
  std::optional<Choice> best;
  if (!events_.empty()) {
    best = Choice{events_.begin()->first, nullptr};
  }
  for (const auto& lane : lanes_) {
    if (!lane->process->alive || lane->process->suspended) {
      continue;
    }
    std::optional<DueKey> key;
    if (lane->isBusy) {
      key = lane->wake;
    } else if (!lane->items.empty()) {
      key = lane->items.begin()->first;
    }
    if (key && (!best || *key < best->key)) {
      best = Choice{*key, lane.get()};
    }
  }
  return best && best->key.due <= limit_ ? best : std::nullopt;
}

void VirtualCore::advanceTo(const DueKey& key) {
  if (key.due > now_) {
    now_ = key.due;
    piecesInThisInstant_ = 0;
  }
  precondition(++piecesInThisInstant_ < mostPiecesInOneInstant,
               "work hands itself over without end, time stands still");
}

void VirtualCore::give(Runner& runner) {
  baton_ = &runner;
  runner.turn.notify_one();
}

void VirtualCore::await(Lock& lock, VirtualLane& lane) {
  lane.turn.wait(lock, [&] { return baton_ == &lane || lane.exits; });
}

void VirtualCore::awaitDriver(Lock& lock) {
  driver_.turn.wait(lock, [&] { return baton_ == &driver_; });
}

/// Gives the baton to whoever is next, which may be `from` itself.
void VirtualCore::passOn(VirtualLane& from) {
  if (Runner* const requester = std::exchange(from.returnTo, nullptr)) {
    give(*requester);
    return;
  }
  const auto next = returnsAfterEachPiece_ ? std::nullopt : nextChoice();
  if (!next || next->lane == nullptr) {
    give(driver_);
    return;
  }
  advanceTo(next->key);
  if (next->lane != &from) {
    give(*next->lane);
  }
}

void VirtualCore::park(Lock& lock, VirtualLane& lane, std::optional<DueKey> wake) {
  lane.isBlocked = true;
  lane.wake = wake;
  passOn(lane);
  await(lock, lane);
  lane.isBlocked = false;
  lane.wake.reset();
}

// The threads of the queues.

void VirtualCore::runLane(const std::shared_ptr<VirtualLane>& lane) {
  currentLane = lane.get();
  currentCore = this;
  Lock lock(mutex_);
  for (await(lock, *lane); !lane->exits; await(lock, *lane)) {
    runFirst(lock, *lane);
    if (!lane->process->alive && lane->returnTo == nullptr) {
      // Its own work has killed the process; what waits for that work may be unwound only now.
      lock.unlock();
      finishKill(lane->process);
      lock.lock();
    }
    if (lane->isClosed) {
      lane->exits = true;
      std::erase(lanes_, lane);
    }
    passOn(*lane);
  }
}

void VirtualCore::runFirst(Lock& lock, VirtualLane& lane) {
  auto node = lane.items.extract(lane.items.begin());
  const DueKey key = node.key();
  VirtualItem item = std::move(node.mapped());
  if (item.timer) {
    VirtualTimerState& timer = *item.timer;
    timer.armed.reset();
    if (timer.period > 0) {
      const Ticks missed = (now_ - key.due) / timer.period;
      timer.armed = DueKey{key.due + timer.period * (missed + 1), nextSerial_++};
      lane.items.emplace(*timer.armed, item);
    }
  }
  lane.isBusy = true;
  lock.unlock();
  try {
    (item.timer ? item.timer->fire : item.run)();
  } catch (const ProcessKilled&) {
    // The process has been killed: its work ends here.
  }
  item = {};
  lock.lock();
  lane.isBusy = false;
  if (const auto waiter = std::exchange(lane.idleWaiter, nullptr)) {
    waiter->wake = keyAfter(0);
  }
}

// The test's thread.

bool VirtualCore::drive(Ticks limit, const std::function<bool()>& done) {
  precondition(callingLane() == nullptr, "only the test's own thread runs the scheduler");
  Lock lock(mutex_);
  precondition(baton_ == &driver_, "the scheduler is run by one thread at a time");
  // Runs may be nested: an event may run the scheduler itself.
  const struct Restore {
    Ticks& limit;
    bool& returns;
    Ticks oldLimit = limit;
    bool oldReturns = returns;
    ~Restore() {
      limit = oldLimit;
      returns = oldReturns;
    }
  } restore{limit_, returnsAfterEachPiece_};
  const auto isDone = [&] {
    lock.unlock();
    const bool result = done && done();
    lock.lock();
    return result;
  };
  while (!done || !isDone()) {
    limit_ = limit;
    returnsAfterEachPiece_ = static_cast<bool>(done);
    const auto next = nextChoice();
    if (!next) {
      now_ = std::max(now_.load(), limit);
      return done && isDone();
    }
    advanceTo(next->key);
    if (next->lane != nullptr) {
      give(*next->lane);
      awaitDriver(lock);
    } else {
      runEvent(lock);
    }
  }
  return true;
}

void VirtualCore::runEvent(Lock& lock) {
  auto event = events_.extract(events_.begin());
  lock.unlock();
  event.mapped()();
  event = {};
  lock.lock();
}

void VirtualCore::at(Seconds elapsed, std::function<void()> event) {
  const Lock lock(mutex_);
  events_.emplace(DueKey{std::max(ticksFrom(elapsed), now_.load()), nextSerial_++}, std::move(event));
}

void VirtualCore::sleep(const VirtualProcessState* process, Seconds duration) {
  if (!(duration.count() > 0) || isDiscarding()) {
    return;
  }
  const Ticks ticks = std::max<Ticks>(ticksFrom(duration), 1);
  VirtualLane* const lane = callingLane();
  if (lane == nullptr) {
    if (process == nullptr || isAlive(*process)) {
      drive(now_ + ticks, {});
    }
    return;
  }
  Lock lock(mutex_);
  if (lane->process->alive) {
    park(lock, *lane, keyAfter(ticks));
  }
  leaveIfKilled(*lane);
}

// The life of processes.

void VirtualCore::addProcess(std::shared_ptr<VirtualProcessState> process) {
  const Lock lock(mutex_);
  processes_.push_back(std::move(process));
}

bool VirtualCore::isAlive(const VirtualProcessState& process) const {
  const Lock lock(mutex_);
  return process.alive;
}

}  // namespace halcyra::test
