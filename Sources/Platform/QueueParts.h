#pragma once

#include <chrono>
#include <functional>

#include "Platform/Dispatch.h"

/// What every queue over a real thread and the steady clock needs.
namespace halcyra {

/// Hands `work` to `async` and waits for it: `Queue::sync`. Throws what the work throws, and `std::runtime_error` when
/// the queue drops it before it has begun.
void runAndWait(Queue& queue, const std::function<void()>& work);

/// When a timer fires.
class TimerSchedule {
 public:
  using Duration = std::chrono::steady_clock::duration;
  using Time = std::chrono::steady_clock::time_point;

  /// First `first` after `now`, then every `period` (zero: once only). Spans beyond ten years count as ten years.
  TimerSchedule(Time now, Seconds first, Seconds period);

  Time due() const { return due_; }
  bool repeats() const { return period_ > Duration::zero(); }
  /// Moves on by a period, and on past `now` in the same rhythm: lateness does not add up, and missed firings are left
  /// out. Only of a timer that repeats.
  void advance(Time now);

 private:
  Duration period_;
  Time due_;
};

}  // namespace halcyra
