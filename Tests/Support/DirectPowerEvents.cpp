#include "Support/DirectPowerEvents.h"

#include <utility>

namespace halcyra::test {

void DirectPowerEvents::observe(std::function<void(std::function<void()> allowSleep)> willSleep,
                                std::function<void()> didWake) {
  state_->willSleep = std::move(willSleep);
  state_->didWake = std::move(didWake);
}

void DirectPowerEvents::sleep() {
  main_.async([state = state_] {
    const int announcement = ++state->announcement;
    if (!state->willSleep) {
      state->isAsleep = true;
      return;
    }
    // A copy: the observer may replace itself.
    const auto willSleep = state->willSleep;
    willSleep([state, announcement] {
      ++state->allowed;
      if (announcement == state->announcement) {
        state->isAsleep = true;
      }
    });
  });
}

void DirectPowerEvents::wake() {
  main_.async([state = state_] {
    ++state->announcement;
    state->isAsleep = false;
    if (const auto didWake = state->didWake) {
      didWake();
    }
  });
}

}  // namespace halcyra::test
