#include <algorithm>
#include <cstdint>
#include <map>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "Helpers/CoalescedRefreshState.h"
#include "Helpers/FanTargetWriteCoalescer.h"
#include "Helpers/HistoryRetention.h"
#include "Helpers/PowerLifecycleState.h"
#include "Helpers/SmartAutoRampDownState.h"

namespace halcyra {

TEST(PowerLifecycleState, AcceptsTheCurrentEpochOnlyAndNothingAsleep) {
  PowerLifecycleState state;
  const std::uint64_t atStart = state.generation();
  EXPECT_TRUE(state.accepts(atStart));
  state.willSleep();
  const std::uint64_t asleep = state.generation();
  EXPECT_FALSE(state.accepts(atStart));
  EXPECT_FALSE(state.accepts(asleep));
  state.didWake();
  const std::uint64_t awake = state.generation();
  EXPECT_FALSE(state.accepts(atStart));
  EXPECT_FALSE(state.accepts(asleep));
  EXPECT_TRUE(state.accepts(awake));
  state.invalidatePendingPolls();
  EXPECT_FALSE(state.accepts(awake));
  EXPECT_TRUE(state.accepts(state.generation()));
}

TEST(SmartAutoRampDownState, FallsInTimedStepsAndRisesAtOnce) {
  struct Step {
    double seconds;
    std::int64_t desired;
    std::int64_t expected;
  };
  // One fan's life: each call is given what the call before has returned.
  const Step steps[] = {
      {0, 3000, 5000},   {29.9, 3000, 5000},  {30, 3000, 4500},    {59.9, 3000, 4500}, {60, 3000, 4000},
      {70, 5200, 5200},  {71, 5000, 5200},    {100.9, 5000, 5200}, {101, 5000, 5000},  {131, 5000, 5000},
      {132, 4999, 5000}, {161.9, 1000, 5000}, {162, 4800, 4800},
  };
  SmartAutoRampDownState state;
  std::int64_t commanded = 5000;
  for (const Step& step : steps) {
    const bool isFalling = step.desired < commanded;
    commanded = state.nextTarget(step.desired, commanded, Instant{Seconds{step.seconds}}, Seconds{30}, 500);
    EXPECT_EQ(commanded, step.expected) << "at " << step.seconds << " s";
    EXPECT_EQ(state.coolingSince().has_value(), isFalling) << "at " << step.seconds << " s";
  }
}

TEST(FanTargetWriteCoalescer, KeepsOneWriteInFlightAndTheNewestParked) {
  FanTargetWriteCoalescer coalescer;
  EXPECT_EQ(coalescer.request(0, 2000), 2000);
  EXPECT_EQ(coalescer.latestTarget(0), 2000);
  EXPECT_EQ(coalescer.request(0, 2500), std::nullopt);
  EXPECT_EQ(coalescer.request(0, 2600), std::nullopt);
  EXPECT_EQ(coalescer.latestTarget(0), 2600);
  EXPECT_EQ(coalescer.request(1, 1800), 1800) << "fans do not wait for each other";
  EXPECT_EQ(coalescer.complete(0, true), 2600);
  EXPECT_EQ(coalescer.complete(0, true), std::nullopt);
  EXPECT_EQ(coalescer.latestTarget(0), std::nullopt);
  EXPECT_EQ(coalescer.latestTarget(1), 1800);
}

TEST(FanTargetWriteCoalescer, DropsWhatNeedsNoWrite) {
  FanTargetWriteCoalescer coalescer;
  coalescer.request(0, 2000);
  coalescer.request(0, 3000);
  EXPECT_EQ(coalescer.complete(0, false), std::nullopt) << "a failed write drops the parked target";
  EXPECT_EQ(coalescer.latestTarget(0), std::nullopt);
  coalescer.request(0, 2000);
  coalescer.request(0, 3000);
  coalescer.request(0, 2000);
  EXPECT_EQ(coalescer.complete(0, true), std::nullopt) << "back at the value that was written";
  EXPECT_TRUE(coalescer.inFlight().empty());
  coalescer.request(0, 2000);
  coalescer.request(0, 3000);
  coalescer.reset();
  EXPECT_EQ(coalescer.latestTarget(0), std::nullopt);
  EXPECT_EQ(coalescer.complete(0, true), std::nullopt);
  EXPECT_EQ(coalescer.request(0, 3000), 3000);
}

TEST(HistoryRetention, DropsTheOldestInBatchesAndKeepsIndicesAligned) {
  struct Case {
    int count;
    std::int64_t limit;
    std::int64_t batchSize;
    int removed;
  };
  const Case cases[] = {{600, 600, 100, 0}, {601, 600, 100, 100}, {900, 600, 100, 300}, {10, 1, 600, 10}};
  for (const Case& testCase : cases) {
    std::vector<int> samples(static_cast<std::size_t>(testCase.count));
    std::iota(samples.begin(), samples.end(), 0);
    const std::vector<float> full(samples.begin(), samples.end());
    std::map<std::string, std::vector<float>> sensors{{"full", full}, {"short", std::vector<float>(250)}};
    HistoryRetention::trim(samples, sensors, testCase.limit, testCase.batchSize);
    ASSERT_EQ(static_cast<int>(samples.size()), testCase.count - testCase.removed);
    EXPECT_EQ(sensors.at("full"), std::vector<float>(samples.begin(), samples.end()));
    EXPECT_TRUE(samples.empty() || samples.front() == testCase.removed);
    EXPECT_EQ(static_cast<int>(sensors.at("short").size()), std::max(0, 250 - testCase.removed));
  }
}

TEST(CoalescedRefreshState, FoldsRequestsIntoOneFollowUp) {
  CoalescedRefreshState state;
  EXPECT_TRUE(state.request());
  EXPECT_FALSE(state.request());
  EXPECT_FALSE(state.request());
  EXPECT_TRUE(state.complete());
  EXPECT_FALSE(state.complete());
  EXPECT_TRUE(state.request());
  EXPECT_FALSE(state.complete());
}

TEST(ControlRuntimeStateDeathTest, BrokenPreconditionsStopTheProgram) {
  std::vector<int> samples(3);
  std::map<std::string, std::vector<float>> sensors;
  EXPECT_DEATH(HistoryRetention::trim(samples, sensors, 0, 1), "a limit of at least 1");
  EXPECT_DEATH(HistoryRetention::trim(samples, sensors, 1, 0), "a batch size of at least 1");
  CoalescedRefreshState idle;
  EXPECT_DEATH(idle.complete(), "a run that is under way");
}

}  // namespace halcyra
