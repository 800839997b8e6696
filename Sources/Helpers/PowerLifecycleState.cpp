#include "Helpers/PowerLifecycleState.h"

namespace halcyra {

void PowerLifecycleState::willSleep() {
  isSleeping_ = true;
  ++generation_;
}

void PowerLifecycleState::didWake() {
  isSleeping_ = false;
  ++generation_;
}

void PowerLifecycleState::invalidatePendingPolls() {
  ++generation_;
}

bool PowerLifecycleState::accepts(std::uint64_t generation) const {
  return generation == generation_ && !isSleeping_;
}

}  // namespace halcyra
