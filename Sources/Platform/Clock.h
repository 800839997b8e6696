#pragma once

#include "Platform/Time.h"

namespace halcyra {

/// The only source of time and the only way to wait. Safe to use from any thread.
class Clock {
 public:
  virtual ~Clock() = default;

  /// Wall-clock time.
  virtual Date now() const = 0;

  /// Steady time, for deadlines.
  virtual Instant steadyNow() const = 0;

  /// Blocks the calling queue or thread for at least `duration`; zero or less returns at once.
  virtual void sleep(Seconds duration) = 0;
};

}  // namespace halcyra
