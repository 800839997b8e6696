#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "Platform/Dispatch.h"

namespace halcyra {

/// A timer that may be armed anew and cancelled, also by the work that it fires. To be used on the queue alone that it
/// fires on, which outlives it.
class OneShotTimer {
 public:
  explicit OneShotTimer(Queue& queue) : queue_(queue) {}

  bool isArmed() const { return timer_ != nullptr; }

  /// Calls `work` once, `delay` from now; what was armed before does not fire any more.
  void arm(Seconds delay, std::function<void()> work) {
    cancel();
    timer_ = queue_.startTimer(delay, Seconds{0}, Seconds{0},
                               [this, state = std::weak_ptr(current_), generation = *current_, work = std::move(work)] {
                                 const auto current = state.lock();
                                 if (current == nullptr || *current != generation) {
                                   return;
                                 }
                                 retire();
                                 work();
                               });
  }

  void cancel() {
    ++*current_;
    retire();
  }

 private:
  // The timer may be the one whose firing is under way, so it is destroyed in a later turn of the queue.
  void retire() {
    if (timer_ != nullptr) {
      queue_.async([timer = std::shared_ptr<Timer>(std::move(timer_))] {});
    }
  }

  Queue& queue_;
  std::unique_ptr<Timer> timer_;
  /// Counts what was armed and cancelled; shared, so that a late firing can tell that this timer is gone.
  std::shared_ptr<std::uint64_t> current_ = std::make_shared<std::uint64_t>(0);
};

}  // namespace halcyra
