#include "Platform/Linux/TaskLoop.h"

#include <algorithm>
#include <exception>
#include <future>
#include <stdexcept>
#include <utility>

#include "Platform/Precondition.h"

namespace halcyra {

namespace {

using SteadyDuration = std::chrono::steady_clock::duration;

/// Longer spans would overflow the clock's own unit; ten years is never in this program's terms.
SteadyDuration boundedDuration(Seconds seconds) {
  constexpr double tenYears = 3.2e8;
  const double bounded = seconds.count() > 0 ? std::min(seconds.count(), tenYears) : 0.0;
  return std::chrono::duration_cast<SteadyDuration>(Seconds{bounded});
}

}  // namespace

class TaskLoop::TimerHandle : public Timer {
 public:
  TimerHandle(std::weak_ptr<TaskLoop> loop, std::shared_ptr<TimerState> state)
      : loop_(std::move(loop)), state_(std::move(state)) {}
  ~TimerHandle() override {
    if (const auto loop = loop_.lock()) {
      loop->cancel(state_);
    }
  }

 private:
  std::weak_ptr<TaskLoop> loop_;
  std::shared_ptr<TimerState> state_;
};

void TaskLoop::async(std::function<void()> work) {
  const std::lock_guard lock(mutex_);
  if (closed_) {
    return;
  }
  work_.push_back({std::chrono::steady_clock::now(), std::move(work)});
  changed_.notify_one();
}

void TaskLoop::sync(const std::function<void()>& work) {
  precondition(!isCurrentThread(), "a queue cannot wait for itself");
  auto promise = std::make_shared<std::promise<void>>();
  std::future<void> result = promise->get_future();
  // Only the queue holds the promise from here on, so that dropped work wakes the waiter.
  async([done = std::move(promise), &work] {
    try {
      work();
      done->set_value();
    } catch (...) {
      done->set_exception(std::current_exception());
    }
  });
  try {
    result.get();
  } catch (const std::future_error&) {
    throw std::runtime_error("the queue ended before the work began");
  }
}

std::unique_ptr<Timer> TaskLoop::startTimer(Seconds first, Seconds period, std::function<void()> fire) {
  auto state = std::make_shared<TimerState>();
  state->fire = std::move(fire);
  state->due = std::chrono::steady_clock::now() + boundedDuration(first);
  state->period = boundedDuration(period);
  {
    const std::lock_guard lock(mutex_);
    if (!closed_) {
      timers_.emplace(state->due, state);
      changed_.notify_one();
    }
  }
  return std::make_unique<TimerHandle>(weak_from_this(), std::move(state));
}

void TaskLoop::cancel(const std::shared_ptr<TimerState>& timer) {
  const std::lock_guard lock(mutex_);
  const auto [first, last] = timers_.equal_range(timer->due);
  const auto found = std::find_if(first, last, [&](const auto& entry) { return entry.second == timer; });
  if (found != last) {
    timers_.erase(found);
  }
}

void TaskLoop::run() noexcept {
  {
    const std::lock_guard lock(mutex_);
    runner_ = std::this_thread::get_id();
  }
  while (const auto next = waitForNext()) {
    next();
  }
  const std::lock_guard lock(mutex_);
  runner_ = {};
  stopRequested_ = false;
}

void TaskLoop::stop() {
  const std::lock_guard lock(mutex_);
  stopRequested_ = true;
  changed_.notify_all();
}

void TaskLoop::close() {
  // Destroyed outside the lock: what the work owns may come back here.
  std::deque<Work> work;
  std::multimap<Time, std::shared_ptr<TimerState>> timers;
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    work.swap(work_);
    timers.swap(timers_);
  }
}

bool TaskLoop::isCurrentThread() const {
  const std::lock_guard lock(mutex_);
  return runner_ == std::this_thread::get_id();
}

std::function<void()> TaskLoop::waitForNext() {
  std::unique_lock lock(mutex_);
  while (!stopRequested_) {
    if (auto ready = takeReady(std::chrono::steady_clock::now())) {
      return ready;
    }
    if (timers_.empty()) {
      changed_.wait(lock);
    } else {
      // A copy: the timer may be cancelled during the wait.
      const Time due = timers_.begin()->first;
      changed_.wait_until(lock, due);
    }
  }
  return nullptr;
}

std::function<void()> TaskLoop::takeReady(Time now) {
  const bool timerIsNext = !timers_.empty() && timers_.begin()->first <= now &&
                           (work_.empty() || timers_.begin()->first <= work_.front().since);
  if (timerIsNext) {
    return takeTimer(now);
  }
  if (work_.empty()) {
    return nullptr;
  }
  auto run = std::move(work_.front().run);
  work_.pop_front();
  return run;
}

std::function<void()> TaskLoop::takeTimer(Time now) {
  const auto timer = timers_.begin()->second;
  timers_.erase(timers_.begin());
  if (timer->period > SteadyDuration::zero()) {
    const auto missed = (now - timer->due) / timer->period;
    timer->due += timer->period * (missed + 1);
    timers_.emplace(timer->due, timer);
  }
  return [timer] { timer->fire(); };
}

}  // namespace halcyra
