#pragma once

#include <functional>

namespace halcyra {

/// Sleep and wake of the machine, delivered on the main queue.
class PowerEvents {
 public:
  virtual ~PowerEvents() = default;

  /// `willSleep` is given a function that lets the system go to sleep; it is to be called once everything that must
  /// happen before sleep has happened. The system waits for it for a bounded time. Replaces earlier handlers; empty
  /// handlers stop the delivery.
  virtual void observe(std::function<void(std::function<void()> allowSleep)> willSleep,
                       std::function<void()> didWake) = 0;
};

}  // namespace halcyra
