#pragma once

#include <cstdint>

namespace halcyra {

/// Tells poll results of the current epoch from those requested before a sleep, a wake or a reset. Main
/// thread only.
class PowerLifecycleState {
 public:
  void willSleep();
  void didWake();
  void invalidatePendingPolls();
  /// Whether a result that was requested in `generation` may still be applied.
  bool accepts(std::uint64_t generation) const;

  bool isSleeping() const { return isSleeping_; }
  std::uint64_t generation() const { return generation_; }

 private:
  bool isSleeping_ = false;
  /// Wraps around.
  std::uint64_t generation_ = 0;
};

}  // namespace halcyra
