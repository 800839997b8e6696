#include "Support/VirtualScheduler.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "fmt/format.h"
#include "gtest/gtest.h"

namespace halcyra::test {
namespace {

class VirtualSchedulerTests : public testing::Test {
 protected:
  void note(const std::string& what) { log.push_back(fmt::format("{:.1f} {}", scheduler.elapsed().count(), what)); }

  VirtualScheduler scheduler;
  std::shared_ptr<VirtualProcess> process = scheduler.makeProcess("app");
  std::vector<std::string> log;
};

using Log = std::vector<std::string>;

TEST_F(VirtualSchedulerTests, BlockingWorkOnOneQueueLetsTheOthersRun) {
  const auto queue = process->makeSerialQueue("work", QualityOfService::standard);
  queue->async([&] {
    note("work begins");
    process->clock().sleep(Seconds{10});
    note("work ends");
  });
  queue->async([&] { note("next"); });
  const auto timer = process->mainQueue().startTimer(Seconds{4}, Seconds{4}, Seconds{0}, [&] { note("beat"); });
  scheduler.runFor(Seconds{11});
  EXPECT_EQ(log, (Log{"0.0 work begins", "4.0 beat", "8.0 beat", "10.0 work ends", "10.0 next"}));
  EXPECT_EQ(scheduler.elapsed().count(), 11.0);
}

TEST_F(VirtualSchedulerTests, ALateTimerDoesNotMakeUpForWhatItMissed) {
  const auto timer = process->mainQueue().startTimer(Seconds{1}, Seconds{1}, Seconds{0}, [&] { note("tick"); });
  process->mainQueue().async([&] { process->clock().sleep(Seconds{3.5}); });
  scheduler.runFor(Seconds{5.2});
  EXPECT_EQ(log, (Log{"3.5 tick", "4.0 tick", "5.0 tick"}));
}

TEST_F(VirtualSchedulerTests, ATimerThatIsDestroyedInItsOwnFiringIsOver) {
  std::unique_ptr<Timer> timer;
  timer = process->mainQueue().startTimer(Seconds{1}, Seconds{1}, Seconds{0}, [&] {
    note("once");
    timer.reset();
  });
  scheduler.runFor(Seconds{5});
  EXPECT_EQ(log, (Log{"1.0 once"}));
}

TEST_F(VirtualSchedulerTests, SyncWaitsAndHandsOverWhatWasThrown) {
  const auto queue = process->makeSerialQueue("work", QualityOfService::standard);
  process->mainQueue().async([&] {
    queue->sync([&] { process->clock().sleep(Seconds{2}); });
    note("back");
    try {
      queue->sync([] { throw std::runtime_error("broken"); });
    } catch (const std::runtime_error& error) {
      note(error.what());
    }
  });
  scheduler.runFor(Seconds{3});
  EXPECT_EQ(log, (Log{"2.0 back", "2.0 broken"}));
  EXPECT_THROW(queue->sync([] { throw std::runtime_error("broken"); }), std::runtime_error);
}

TEST_F(VirtualSchedulerTests, AKilledProcessUnwindsAndNothingOfItRunsAgain) {
  struct Guard {
    Log& log;
    ~Guard() { log.emplace_back("unwound"); }
  };
  const auto queue = process->makeSerialQueue("work", QualityOfService::standard);
  const auto other = scheduler.makeProcess("other");
  queue->async([&] {
    const Guard guard{log};
    try {
      process->clock().sleep(Seconds{10});
    } catch (const std::exception&) {
      note("swallowed");
    }
    note("woke");
  });
  queue->async([&] { note("queued"); });
  const auto timer = process->mainQueue().startTimer(Seconds{1}, Seconds{1}, Seconds{0}, [&] { note("tick"); });
  const auto alive = other->mainQueue().startTimer(Seconds{3}, Seconds{0}, Seconds{0}, [&] { note("other"); });
  scheduler.at(Seconds{1.5}, [&] { process->kill(); });
  scheduler.runFor(Seconds{20});
  process->mainQueue().async([&] { note("too late"); });
  scheduler.runFor(Seconds{1});
  EXPECT_EQ(log, (Log{"1.0 tick", "unwound", "3.0 other"}));
  EXPECT_FALSE(process->isAlive());
}

TEST_F(VirtualSchedulerTests, ASuspendedProcessRunsLateAndInOrder) {
  const auto queue = process->makeSerialQueue("work", QualityOfService::standard);
  queue->async([&] {
    process->clock().sleep(Seconds{2});
    note("slept");
  });
  const auto timer = process->mainQueue().startTimer(Seconds{1}, Seconds{0}, Seconds{0}, [&] { note("timer"); });
  process->suspend();
  scheduler.runFor(Seconds{10});
  EXPECT_TRUE(log.empty());
  process->resume();
  scheduler.runFor(Seconds{10});
  EXPECT_EQ(log, (Log{"10.0 timer", "12.0 slept"}));
}

TEST_F(VirtualSchedulerTests, ADestroyedQueueFinishesItsWorkAndDropsTheRest) {
  auto queue = process->makeSerialQueue("work", QualityOfService::standard);
  process->mainQueue().async([&] {
    queue->async([&] {
      process->clock().sleep(Seconds{1});
      note("finished");
    });
    queue->async([&] { note("dropped"); });
    process->clock().sleep(Seconds{0.5});
    queue.reset();
    note("destroyed");
  });
  scheduler.runFor(Seconds{5});
  EXPECT_EQ(log, (Log{"1.0 finished", "1.0 destroyed"}));
}

TEST_F(VirtualSchedulerTests, RunUntilStopsAtTheConditionAndTheWallClockMayJump) {
  int ticks = 0;
  const auto timer = process->mainQueue().startTimer(Seconds{1}, Seconds{1}, Seconds{0}, [&] { ++ticks; });
  EXPECT_TRUE(scheduler.runUntil([&] { return ticks == 3; }, Seconds{100}));
  EXPECT_EQ(scheduler.elapsed().count(), 3.0);
  EXPECT_FALSE(scheduler.runUntil([&] { return ticks == 1000; }, Seconds{7}));
  EXPECT_EQ(scheduler.elapsed().count(), 10.0);
  const Date before = process->clock().now();
  scheduler.stepWallClock(Seconds{-3600});
  EXPECT_EQ((process->clock().now() - before).count(), -3600.0);
  EXPECT_EQ(process->clock().steadyNow(), Instant{Seconds{10}});
}

}  // namespace
}  // namespace halcyra::test
