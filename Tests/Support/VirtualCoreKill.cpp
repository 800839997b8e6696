#include <algorithm>
#include <exception>
#include <utility>

#include "Support/VirtualCore.h"

namespace halcyra::test {

namespace {

/// The thread destroys what a killed process has left: waiting is over at once, nothing is unwound.
thread_local bool discards = false;

class Discarding {
 public:
  Discarding() : before_(std::exchange(discards, true)) {}
  ~Discarding() { discards = before_; }
  Discarding(const Discarding&) = delete;
  Discarding& operator=(const Discarding&) = delete;

 private:
  bool before_;
};

}  // namespace

bool VirtualCore::isDiscarding() {
  return discards;
}

void VirtualCore::leaveIfKilled(const VirtualLane& lane) {
  // A second exception while one unwinds the stack would end the test program.
  if (!lane.process->alive && std::uncaught_exceptions() == 0) {
    throw ProcessKilled{};
  }
}

void VirtualCore::kill(const std::shared_ptr<VirtualProcessState>& process) {
  VirtualLane* const caller = callingLane();
  {
    const Lock lock(mutex_);
    process->alive = false;
  }
  if (caller != nullptr && caller->process == process && caller->isBusy) {
    leaveIfKilled(*caller);
    return;
  }
  finishKill(process);
}

void VirtualCore::finishKill(const std::shared_ptr<VirtualProcessState>& process) {
  VirtualLane* const caller = callingLane();
  std::vector<std::map<DueKey, VirtualItem>> dropped;
  std::vector<std::thread> threads;
  std::vector<std::function<void()>> observers;
  {
    Lock lock(mutex_);
    if (std::exchange(process->hasEnded, true)) {
      return;
    }
    std::vector<std::shared_ptr<VirtualLane>> lanes;
    std::copy_if(lanes_.begin(), lanes_.end(), std::back_inserter(lanes),
                 [&](const auto& lane) { return lane->process == process; });
    for (const auto& lane : lanes) {
      lane->isClosed = true;
      dropped.push_back(std::exchange(lane->items, {}));
    }
    unwindAll(lock, lanes);
    for (const auto& lane : lanes) {
      endThread(*lane, lane.get() == caller ? endedThreads_ : threads);
    }
    observers.swap(process->killObservers);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  const Discarding discarding;
  dropped.clear();
  for (const auto& observer : observers) {
    observer();
  }
}

void VirtualCore::unwindAll(Lock& lock, const std::vector<std::shared_ptr<VirtualLane>>& lanes) {
  const auto isBlocked = [](const auto& lane) { return lane->isBlocked; };
  const auto canGoOn = [](const auto& lane) { return lane->isBlocked && lane->wake; };
  for (;;) {
    // Who waits for another's work leaves after it: that work may use what the waiting one has on its stack.
    auto next = std::find_if(lanes.begin(), lanes.end(), canGoOn);
    if (next == lanes.end()) {
      next = std::find_if(lanes.begin(), lanes.end(), isBlocked);
    }
    if (next == lanes.end()) {
      return;
    }
    unwind(lock, **next);
  }
}

/// Lets the blocked work of a killed process run to its end, and nothing else meanwhile.
void VirtualCore::unwind(Lock& lock, VirtualLane& lane) {
  VirtualLane* const caller = callingLane();
  Runner& self = caller != nullptr ? static_cast<Runner&>(*caller) : driver_;
  lane.returnTo = &self;
  give(lane);
  self.turn.wait(lock, [&] { return baton_ == &self; });
}

void VirtualCore::setSuspended(VirtualProcessState& process, bool suspended) {
  VirtualLane* const caller = callingLane();
  Lock lock(mutex_);
  process.suspended = suspended;
  if (suspended && caller != nullptr && caller->process.get() == &process) {
    park(lock, *caller, keyAfter(0));
    leaveIfKilled(*caller);
  }
}

void VirtualCore::whenKilled(VirtualProcessState& process, std::function<void()> observer) {
  {
    const Lock lock(mutex_);
    if (!process.hasEnded) {
      process.killObservers.push_back(std::move(observer));
      return;
    }
  }
  observer();
}

void VirtualCore::shutDown() {
  const auto processes = processes_;
  for (const auto& process : processes) {
    kill(process);
  }
  for (std::thread& thread : std::exchange(endedThreads_, {})) {
    thread.join();
  }
  std::exchange(events_, {});
}

}  // namespace halcyra::test
