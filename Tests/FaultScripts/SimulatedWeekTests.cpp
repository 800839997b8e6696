// A week of control: what the program holds must not grow once its history is full.

#include <algorithm>
#include <cstdio>
#include <malloc.h>

#include "gtest/gtest.h"

#include "Support/ClosedLoop.h"

namespace halcyra::test {
namespace {

constexpr double hour = 3600;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool allocatorIsReplaced = true;
#else
constexpr bool allocatorIsReplaced = false;
#endif

/// Bytes that are allocated and not freed.
double bytesHeld() {
  const struct mallinfo2 information = mallinfo2();
  return static_cast<double>(information.uordblks + information.hblkhd);
}

/// Forgets what the doubles record for tests to ask for, which a real system does not keep.
void emptyRecords(ClosedLoop& loop) {
  loop.application->doubles->log.clear();
  loop.helperLog.clear();
  loop.bus.forgetSent();
  loop.writes.clear();
  loop.writes.shrink_to_fit();
}

TEST(SimulatedWeekTests, SmartAutoUnderBurstsHoldsNoMoreAfterAWeekThanAfterTwelveHours) {
  if (allocatorIsReplaced) GTEST_SKIP() << "the sanitizer's allocator keeps no such figures";
  ClosedLoop loop("bursts", 17);
  loop.startApplication();
  loop.run(6);
  loop.activate(FanPreset::automatic());
  double afterTwelveHours = 0;
  double most = 0;
  for (int hours = 1; hours <= 7 * 24; ++hours) {
    loop.run(hour);
    emptyRecords(loop);
    ASSERT_TRUE(loop.allManual()) << hours;
    // The hour after the twelfth fills the history to its limit for the first time.
    if (hours == 13) afterTwelveHours = bytesHeld();
    if (hours > 13) most = std::max(most, bytesHeld());
  }
  std::printf("after 13 h %.0f kB, at most %.0f kB later\n", afterTwelveHours / 1000, most / 1000);
  EXPECT_GT(afterTwelveHours, 5e6) << "twelve hours of history are not nothing";
  // A trim leaves some room in some vectors and none in others.
  EXPECT_LE(most, afterTwelveHours + 100'000);
}

}  // namespace
}  // namespace halcyra::test
