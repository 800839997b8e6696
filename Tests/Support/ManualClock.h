#pragma once

#include <algorithm>

#include "Platform/Clock.h"

namespace halcyra::test {

/// Time for code on a single thread: it stands still but for `sleep`, which returns at once and moves it on.
class ManualClock : public Clock {
 public:
  Date now() const override { return Date{Seconds{1.7e9}} + elapsed_; }
  Instant steadyNow() const override { return Instant{} + elapsed_; }
  void sleep(Seconds duration) override {
    ++sleeps_;
    elapsed_ += std::max(duration, Seconds{0.0});
  }

  /// Since the clock was made.
  Seconds elapsed() const { return elapsed_; }
  int sleeps() const { return sleeps_; }

 private:
  Seconds elapsed_{0.0};
  int sleeps_ = 0;
};

}  // namespace halcyra::test
