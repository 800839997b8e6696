#pragma once

#include "Platform/Clock.h"

namespace halcyra {

/// The system's wall clock and its steady clock.
class LinuxClock : public Clock {
 public:
  Date now() const override;
  Instant steadyNow() const override;
  void sleep(Seconds duration) override;
};

}  // namespace halcyra
