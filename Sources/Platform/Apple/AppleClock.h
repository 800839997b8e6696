#pragma once

#include "Platform/Clock.h"

namespace halcyra {

/// Steady time goes on while the machine sleeps, so that a session whose heartbeats stopped with it has expired when it
/// wakes.
class AppleClock : public Clock {
 public:
  Date now() const override;
  Instant steadyNow() const override;
  void sleep(Seconds duration) override;
};

}  // namespace halcyra
