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
#include "Support/Values.h"

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

TEST(FanTargetWriteCoalescer, KeepsOneWriteInFlightAndTheNewestParked) {
  using Target = std::optional<std::int64_t>;
  FanTargetWriteCoalescer coalescer;
  EXPECT_EQ(coalescer.request(1, 1800), 1800);
  const auto request = [&](std::int64_t rpm) { return coalescer.request(0, rpm); };
  const auto complete = [&](std::int64_t succeeded) { return coalescer.complete(0, succeeded == 1); };
  const auto reset = [&](std::int64_t) {
    coalescer.reset();
    return Target();
  };
  int step = 0;
  for (const auto& [act, value, result, latest] :
       test::Table<std::function<Target(std::int64_t)>, std::int64_t, Target, Target>{
           {request, 2000, 2000, 2000},
           {request, 2500, {}, 2500},
           {request, 2600, {}, 2600},
           {complete, 1, 2600, 2600},
           {complete, 1, {}, {}},
           // A write that failed drops what is parked.
           {request, 2000, 2000, 2000},
           {request, 3000, {}, 3000},
           {complete, 0, {}, {}},
           // Back at the value that was written.
           {request, 2000, 2000, 2000},
           {request, 3000, {}, 3000},
           {request, 2000, {}, 2000},
           {complete, 1, {}, {}},
           {request, 2000, 2000, 2000},
           {request, 3000, {}, 3000},
           {reset, 0, {}, {}},
           {complete, 1, {}, {}},
           {request, 3000, 3000, 3000}}) {
    EXPECT_EQ(coalescer.latestTarget(1), step < 15 ? Target(1800) : Target()) << "fans do not wait for each other";
    EXPECT_EQ(act(value), result) << step;
    EXPECT_EQ(coalescer.latestTarget(0), latest) << step;
    EXPECT_EQ(coalescer.inFlight().contains(0), latest.has_value()) << step;
    ++step;
  }
}

TEST(HistoryRetention, DropsTheOldestInBatchesAndKeepsIndicesAligned) {
  std::map<std::string, std::vector<float>> sensors;
  for (const auto& [count, limit, batchSize, removed] : test::Table<int, std::int64_t, std::int64_t, int>{
           {600, 600, 100, 0}, {601, 600, 100, 100}, {900, 600, 100, 300}, {10, 1, 600, 10}}) {
    std::vector<int> samples(static_cast<std::size_t>(count));
    std::iota(samples.begin(), samples.end(), 0);
    sensors = {{"full", {samples.begin(), samples.end()}}, {"short", std::vector<float>(250)}};
    HistoryRetention::trim(samples, sensors, limit, batchSize);
    ASSERT_EQ(static_cast<int>(samples.size()), count - removed);
    EXPECT_EQ(sensors.at("full"), std::vector<float>(samples.begin(), samples.end()));
    EXPECT_TRUE(samples.empty() || samples.front() == removed);
    EXPECT_EQ(static_cast<int>(sensors.at("short").size()), std::max(0, 250 - removed));
  }
  std::vector<int> samples(3);
  EXPECT_DEATH(HistoryRetention::trim(samples, sensors, 0, 1), "a limit of at least 1");
  EXPECT_DEATH(HistoryRetention::trim(samples, sensors, 1, 0), "a batch size of at least 1");
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
  EXPECT_DEATH(state.complete(), "a run that is under way");
}

}  // namespace halcyra
