#pragma once

#include <functional>
#include <memory>

#include "Platform/Dispatch.h"
#include "Platform/PowerEvents.h"

namespace halcyra::test {

/// Sleep and wake as the test says. Events are delivered on the given main queue. A system that goes to sleep waits
/// for its observer without limit; `isAsleep` tells whether it was let go.
class DirectPowerEvents : public PowerEvents {
 public:
  /// `main` outlives this.
  explicit DirectPowerEvents(Queue& main) : main_(main) {}

  void observe(std::function<void(std::function<void()> allowSleep)> willSleep, std::function<void()> didWake) override;

  /// The system is about to sleep. Without an observer it sleeps at once.
  void sleep();
  /// The system wakes, asleep or not.
  void wake();

  bool isObserved() const { return static_cast<bool>(state_->willSleep); }
  /// Sleep has been announced and the observer has let the system go.
  bool isAsleep() const { return state_->isAsleep; }
  /// How often `allowSleep` has been called, in all.
  int allowed() const { return state_->allowed; }

 private:
  struct State {
    std::function<void(std::function<void()>)> willSleep;
    std::function<void()> didWake;
    bool isAsleep = false;
    int allowed = 0;
    /// Which announcement the observer may still answer.
    int announcement = 0;
  };

  Queue& main_;
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace halcyra::test
