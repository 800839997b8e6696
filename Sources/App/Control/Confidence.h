#pragma once

#include "Platform/Time.h"

namespace halcyra {

/// That the temperatures are known well enough to drive a fan by them. `Telemetry` alone makes one, and only from a
/// good reading since the machine last woke that is not older than `limit`; beginning a session, taking a fan and every
/// target need one. What has no fresh reading behind it cannot be asked for.
///
/// Why 15 s: a driver that takes 20 ms for each of some 340 calls, many times what the controller needs, delivers a
/// reading in 7 s, and the one before it is 14 s old by then. A slower one is not driven by, and nothing shorter would
/// keep this one. It also covers two polls at the longest interval (5 s), the first of which may fail.
class Confidence {
 public:
  /// The age of a reading, from its first call on.
  static constexpr Seconds limit{15.0};

  bool holds(Instant now) const { return now < end_; }
  /// Enough is left of it to begin with: a driver that is too slow to keep it up does not begin again and again.
  bool mayBegin(Instant now) const { return now < end_ - limit / 2; }
  Instant end() const { return end_; }

 private:
  friend class Telemetry;
  explicit Confidence(Instant readingBegan) : end_(readingBegan + limit) {}

  Instant end_;
};

}  // namespace halcyra
