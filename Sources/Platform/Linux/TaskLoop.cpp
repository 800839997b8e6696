#include "Platform/Linux/TaskLoop.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace halcyra {

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

std::unique_ptr<Timer> TaskLoop::startTimer(Seconds first, Seconds period, std::function<void()> fire) {
  const TimerSchedule schedule(std::chrono::steady_clock::now(), first, period);
  auto state = std::make_shared<TimerState>(TimerState{std::move(fire), schedule});
  {
    const std::lock_guard lock(mutex_);
    if (!closed_) {
      timers_.emplace(schedule.due(), state);
      changed_.notify_one();
    }
  }
  return std::make_unique<TimerHandle>(weak_from_this(), std::move(state));
}

void TaskLoop::cancel(const std::shared_ptr<TimerState>& timer) {
  const std::lock_guard lock(mutex_);
  const auto [first, last] = timers_.equal_range(timer->schedule.due());
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
  if (timer->schedule.repeats()) {
    timer->schedule.advance(now);
    timers_.emplace(timer->schedule.due(), timer);
  }
  return [timer] { timer->fire(); };
}

}  // namespace halcyra
