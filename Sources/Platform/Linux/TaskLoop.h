#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "Platform/Dispatch.h"
#include "Platform/QueueParts.h"

namespace halcyra {

/// The work and timers of one serial queue, and the loop that runs them on whichever thread calls `run`.
class TaskLoop : public std::enable_shared_from_this<TaskLoop> {
 public:
  void async(std::function<void()> work);
  std::unique_ptr<Timer> startTimer(Seconds first, Seconds period, std::function<void()> fire);

  /// Runs until `stop`.
  void run() noexcept;
  /// Ends `run` after the work under way. From any thread; a stop that comes before `run` holds.
  void stop();
  /// Drops all work and timers that have not begun, and whatever is handed in later.
  void close();

  bool isCurrentThread() const;

 private:
  using Time = TimerSchedule::Time;
  struct Work {
    Time since;
    std::function<void()> run;
  };
  struct TimerState {
    std::function<void()> fire;
    TimerSchedule schedule;
  };
  class TimerHandle;

  std::function<void()> waitForNext();
  std::function<void()> takeReady(Time now);
  std::function<void()> takeTimer(Time now);
  void cancel(const std::shared_ptr<TimerState>& timer);

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Work> work_;
  std::multimap<Time, std::shared_ptr<TimerState>> timers_;
  std::thread::id runner_;
  bool stopRequested_ = false;
  bool closed_ = false;
};

}  // namespace halcyra
