#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

#include "Platform/Precondition.h"
#include "Support/VirtualCore.h"

namespace halcyra::test {

namespace {

/// Longer than any test waits for a single answer.
constexpr Seconds longestSync{86'400.0};

}  // namespace

/// What a waiting caller and the work that it waits for share. Dropped work ends the wait as well.
class VirtualCore::SyncCall {
 public:
  SyncCall(VirtualCore& core, VirtualLane* waiter) : core_(core), waiter_(waiter) {}

  bool isOver() const { return isOver_; }
  bool wasRun() const { return wasRun_; }

  void run(const std::function<void()>& work) {
    wasRun_ = true;
    try {
      work();
    } catch (...) {
      failure_ = std::current_exception();
    }
  }
  void end() {
    const Lock lock(core_.mutex_);
    isOver_ = true;
    if (waiter_ != nullptr) {
      waiter_->wake = core_.keyAfter(0);
    }
  }
  /// The caller does not wait any more.
  void abandon() { waiter_ = nullptr; }
  void rethrow() const {
    if (failure_) {
      std::rethrow_exception(failure_);
    }
  }

 private:
  VirtualCore& core_;
  VirtualLane* waiter_;
  std::exception_ptr failure_;
  bool isOver_ = false;
  bool wasRun_ = false;
};

std::shared_ptr<VirtualLane> VirtualCore::makeLane(std::string label, std::shared_ptr<VirtualProcessState> process) {
  auto lane = std::make_shared<VirtualLane>();
  lane->label = std::move(label);
  lane->process = std::move(process);
  const Lock lock(mutex_);
  if (!lane->process->alive) {
    lane->isClosed = true;
    lane->exits = true;
    return lane;
  }
  lanes_.push_back(lane);
  lane->thread = std::thread([this, lane] { runLane(lane); });
  return lane;
}

/// The lane's thread goes to `threads`, to be joined without the lock.
void VirtualCore::endThread(VirtualLane& lane, std::vector<std::thread>& threads) {
  lane.exits = true;
  lane.turn.notify_one();
  std::erase_if(lanes_, [&](const auto& other) { return other.get() == &lane; });
  if (lane.thread.joinable()) {
    threads.push_back(std::move(lane.thread));
  }
}

void VirtualCore::closeLane(const std::shared_ptr<VirtualLane>& lane) {
  std::map<DueKey, VirtualItem> dropped;
  std::vector<std::thread> threads;
  {
    Lock lock(mutex_);
    if (lane->exits) {
      return;
    }
    lane->isClosed = true;
    dropped.swap(lane->items);
    if (callingLane() == lane.get()) {
      // The thread ends when this work does; the end of the scheduler waits for it.
      if (lane->thread.joinable()) {
        endedThreads_.push_back(std::move(lane->thread));
      }
      return;
    }
    waitUntilIdle(lock, *lane);
    endThread(*lane, threads);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

/// Part of a destruction, so it never throws: it comes back when the work has ended, also by being unwound.
void VirtualCore::waitUntilIdle(Lock& lock, VirtualLane& lane) {
  VirtualLane* const caller = callingLane();
  while (lane.isBusy) {
    if (!lane.process->alive) {
      unwind(lock, lane);
    } else if (caller != nullptr) {
      lane.idleWaiter = caller;
      park(lock, *caller, std::nullopt);
    } else {
      lock.unlock();
      const auto isIdle = [&] {
        const Lock inner(mutex_);
        return !lane.isBusy;
      };
      precondition(drive(now_ + ticksFrom(longestSync), isIdle), "a queue is destroyed whose work does not end");
      lock.lock();
    }
  }
}

void VirtualCore::post(VirtualLane& lane, Seconds delay, std::function<void()> work) {
  const Lock lock(mutex_);
  if (!lane.isClosed) {
    lane.items.emplace(keyAfter(std::max<Ticks>(ticksFrom(delay), 0)), VirtualItem{std::move(work), nullptr});
  }
}

void VirtualCore::sync(std::shared_ptr<VirtualLane> lane, const std::function<void()>& work) {
  VirtualLane* const caller = callingLane();
  precondition(caller != lane.get(), "a queue cannot wait for itself");
  precondition(caller == nullptr || caller->process == lane->process, "a process cannot wait for another's queue");
  if (!isAlive(*lane->process)) {
    if (caller != nullptr && !isDiscarding()) {
      leaveIfKilled(*caller);
    }
    return;
  }
  const auto call = std::make_shared<SyncCall>(*this, caller);
  {
    // Only the queue holds this from here on, so that dropped work ends the wait.
    std::shared_ptr<void> ending(nullptr, [call](void*) { call->end(); });
    post(*lane, Seconds{0}, [call, &work, ending = std::move(ending)] { call->run(work); });
  }
  if (caller == nullptr) {
    const bool ended = drive(now_ + ticksFrom(longestSync), [&] { return call->isOver(); });
    precondition(ended, "a queue that does not run is waited for");
  } else {
    Lock lock(mutex_);
    while (!call->isOver() && caller->process->alive) {
      park(lock, *caller, std::nullopt);
    }
    call->abandon();
    leaveIfKilled(*caller);
  }
  call->rethrow();
  if (!call->wasRun() && isAlive(*lane->process)) {
    throw std::runtime_error("the queue ended before the work began");
  }
}

std::shared_ptr<VirtualTimerState> VirtualCore::startTimer(VirtualLane& lane, Seconds first, Seconds period,
                                                           std::function<void()> fire) {
  auto timer = std::make_shared<VirtualTimerState>();
  timer->fire = std::move(fire);
  timer->period = period.count() > 0 ? std::max<Ticks>(ticksFrom(period), 1) : 0;
  const Lock lock(mutex_);
  if (!lane.isClosed) {
    timer->armed = keyAfter(std::max<Ticks>(ticksFrom(first), 0));
    lane.items.emplace(*timer->armed, VirtualItem{nullptr, timer});
  }
  return timer;
}

void VirtualCore::cancelTimer(VirtualLane& lane, VirtualTimerState& timer) {
  std::map<DueKey, VirtualItem>::node_type cancelled;
  const Lock lock(mutex_);
  if (timer.armed) {
    cancelled = lane.items.extract(*timer.armed);
    timer.armed.reset();
  }
}

}  // namespace halcyra::test
