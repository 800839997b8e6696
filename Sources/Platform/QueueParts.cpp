#include "Platform/QueueParts.h"

#include <algorithm>
#include <exception>
#include <future>
#include <memory>
#include <stdexcept>
#include <utility>

namespace halcyra {

namespace {

/// Longer spans would overflow the clock's own unit; ten years is never in this program's terms.
TimerSchedule::Duration boundedDuration(Seconds seconds) {
  constexpr double tenYears = 3.2e8;
  const double bounded = seconds.count() > 0 ? std::min(seconds.count(), tenYears) : 0.0;
  return std::chrono::duration_cast<TimerSchedule::Duration>(Seconds{bounded});
}

}  // namespace

void runAndWait(Queue& queue, const std::function<void()>& work) {
  auto promise = std::make_shared<std::promise<void>>();
  std::future<void> result = promise->get_future();
  // Only the queue holds the promise from here on, so that dropped work wakes the waiter.
  queue.async([done = std::move(promise), &work] {
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

TimerSchedule::TimerSchedule(Time now, Seconds first, Seconds period)
    : period_(boundedDuration(period)), due_(now + boundedDuration(first)) {}

void TimerSchedule::advance(Time now) {
  const auto missed = (now - due_) / period_;
  due_ += period_ * (missed + 1);
}

}  // namespace halcyra
