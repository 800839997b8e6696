#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "gtest/gtest.h"

#include "Platform/VirtualTimeTest.h"

namespace halcyra::test {

using VirtualSchedulerTest = VirtualTimeTest;

TEST_F(VirtualSchedulerTest, RunsByTimeThenByOrderOfHandingIn) {
  const auto first = makeQueue("first");
  const auto second = makeQueue("second");
  second->async([&] { note("b"); });
  first->async([&] { note("a"); });
  process_->asyncAfter(*first, Seconds{2}, [&] { note("late"); });
  process_->asyncAfter(*second, Seconds{1}, [&] {
    note("early");
    process_->mainQueue().async([&] { note("follow-up"); });
    second->async([&] { note("own follow-up"); });
  });
  scheduler_.at(Seconds{1}, [&] { note("event"); });
  EXPECT_EQ(takeNotes(), Notes{}) << "nothing runs by itself";
  scheduler_.runPending();
  EXPECT_EQ(takeNotes(), (Notes{"0 b", "0 a"}));
  scheduler_.runFor(Seconds{1.5});
  EXPECT_EQ(takeNotes(), (Notes{"1000 early", "1000 event", "1000 follow-up", "1000 own follow-up"}));
  EXPECT_EQ(now(), 1.5);
  scheduler_.runFor(Seconds{0.5});
  EXPECT_EQ(takeNotes(), Notes{"2000 late"}) << "what is due at the very end still runs";
}

TEST_F(VirtualSchedulerTest, SleepBlocksItsQueueOnly) {
  const auto worker = makeQueue("worker");
  worker->async([&] {
    note("begin");
    sleep(10);
    note("end");
    sleep(0);
    sleep(-1);
    note("no wait");
  });
  worker->async([&] { note("next"); });
  const auto timer = process_->mainQueue().startTimer(Seconds{4}, Seconds{4}, Seconds{0}, [&] { note("beat"); });
  scheduler_.runFor(Seconds{12});
  EXPECT_EQ(takeNotes(),
            (Notes{"0 begin", "4000 beat", "8000 beat", "10000 end", "10000 no wait", "10000 next", "12000 beat"}));
}

TEST_F(VirtualSchedulerTest, SyncWaitsAndCarriesFailures) {
  const auto worker = makeQueue("worker");
  process_->mainQueue().async([&] {
    worker->sync([&] {
      sleep(3);
      note("work");
    });
    note("waited");
    EXPECT_THROW(worker->sync([] { throw std::invalid_argument("refused"); }), std::invalid_argument);
    process_->mainQueue().async([&] { note("after"); });
  });
  process_->mainQueue().async([&] { note("behind"); });
  scheduler_.runFor(Seconds{5});
  EXPECT_EQ(takeNotes(), (Notes{"3000 work", "3000 waited", "3000 behind", "3000 after"}));

  worker->sync([&] { sleep(2); });
  EXPECT_EQ(now(), 7.0) << "from the test's own thread time runs meanwhile";
  EXPECT_THROW(worker->sync([] { throw std::runtime_error("refused"); }), std::runtime_error);
}

TEST_F(VirtualSchedulerTest, TimersAreNotMadeUpFor) {
  Queue& main = process_->mainQueue();
  const auto repeating = main.startTimer(Seconds{1}, Seconds{2}, Seconds{0}, [&] { note("tick"); });
  const auto once = main.startTimer(Seconds{1.5}, Seconds{0}, Seconds{0}, [&] { note("once"); });
  process_->asyncAfter(main, Seconds{2}, [&] { sleep(6.5); });
  scheduler_.runFor(Seconds{11});
  // Due at 3, 5 and 7 while the queue was busy: one late firing, then the old rhythm.
  EXPECT_EQ(takeNotes(), (Notes{"1000 tick", "1500 once", "8500 tick", "9000 tick", "11000 tick"}));
}

TEST_F(VirtualSchedulerTest, DestroyedTimersDoNotFire) {
  Queue& main = process_->mainQueue();
  const auto worker = makeQueue("worker");
  std::unique_ptr<Timer> own;
  own = main.startTimer(Seconds{1}, Seconds{1}, Seconds{0}, [&] {
    note("own");
    own.reset();
  });
  auto foreign = main.startTimer(Seconds{1}, Seconds{1}, Seconds{0}, [&] { note("foreign"); });
  process_->asyncAfter(*worker, Seconds{2.5}, [&] { foreign.reset(); });
  auto unused = main.startTimer(Seconds{1}, Seconds{1}, Seconds{0}, [&] { note("unused"); });
  unused.reset();
  // Destroyed while a firing is under way: that one finishes.
  std::unique_ptr<Timer> busy = worker->startTimer(Seconds{5}, Seconds{1}, Seconds{0}, [&] {
    sleep(2);
    note("busy");
  });
  process_->asyncAfter(main, Seconds{6}, [&] { busy.reset(); });
  scheduler_.runFor(Seconds{20});
  EXPECT_EQ(takeNotes(), (Notes{"1000 own", "1000 foreign", "2000 foreign", "7000 busy"}));
}

TEST_F(VirtualSchedulerTest, DestroyedQueuesFinishTheirWorkAndDropTheRest) {
  auto worker = makeQueue("worker");
  worker->async([&] {
    sleep(3);
    note("finished");
  });
  worker->async([&] { note("never"); });
  const auto timer = worker->startTimer(Seconds{1}, Seconds{1}, Seconds{0}, [&] { note("never"); });
  process_->asyncAfter(process_->mainQueue(), Seconds{1}, [&] {
    worker.reset();
    note("destroyed");
  });
  scheduler_.runFor(Seconds{10});
  EXPECT_EQ(takeNotes(), (Notes{"3000 finished", "3000 destroyed"}));

  auto suicidal = makeQueue("suicidal");
  suicidal->async([&] {
    suicidal.reset();
    sleep(1);
    note("went on");
  });
  scheduler_.runFor(Seconds{2});
  EXPECT_EQ(takeNotes(), Notes{"11000 went on"});

  auto fromOutside = makeQueue("outside");
  fromOutside->async([&] { sleep(1); });
  scheduler_.runPending();
  fromOutside.reset();
  EXPECT_EQ(now(), 13.0) << "the test's thread waits as well";
}

TEST_F(VirtualSchedulerTest, SyncOfDroppedWorkFails) {
  auto worker = makeQueue("worker");
  worker->async([&] { sleep(5); });
  process_->asyncAfter(process_->mainQueue(), Seconds{1}, [&] {
    EXPECT_THROW(worker->sync([&] { note("never"); }), std::runtime_error);
    note("refused");
  });
  const auto other = makeQueue("other");
  process_->asyncAfter(*other, Seconds{2}, [&] { worker.reset(); });
  scheduler_.runFor(Seconds{10});
  EXPECT_EQ(takeNotes(), Notes{"5000 refused"});
}

TEST_F(VirtualSchedulerTest, RunUntilStopsAtOnce) {
  int count = 0;
  const auto test = std::this_thread::get_id();
  const auto timer = process_->mainQueue().startTimer(Seconds{1}, Seconds{1}, Seconds{0}, [&] {
    ++count;
    EXPECT_NE(std::this_thread::get_id(), test);
  });
  EXPECT_TRUE(scheduler_.runUntil(
      [&] {
        EXPECT_EQ(std::this_thread::get_id(), test);
        return count == 3;
      },
      Seconds{100}));
  EXPECT_EQ(now(), 3.0);
  EXPECT_FALSE(scheduler_.runUntil([&] { return count == 100; }, Seconds{2.5}));
  EXPECT_EQ(now(), 5.5);
  EXPECT_EQ(count, 5);
}

TEST_F(VirtualSchedulerTest, EventsMayRunTheScheduler) {
  const auto timer = process_->mainQueue().startTimer(Seconds{1}, Seconds{1}, Seconds{0}, [&] { note("tick"); });
  scheduler_.at(Seconds{1.5}, [&] {
    scheduler_.clock().sleep(Seconds{1});
    note("nested");
  });
  scheduler_.runFor(Seconds{3});
  EXPECT_EQ(takeNotes(), (Notes{"1000 tick", "2000 tick", "2500 nested", "3000 tick"}));
  EXPECT_EQ(now(), 3.0);
}

TEST_F(VirtualSchedulerTest, WallClockStepsLeaveSteadyTimeAlone) {
  const Date before = clock().now();
  EXPECT_EQ(before, Date{Seconds{1.7e9}});
  scheduler_.runFor(Seconds{5});
  scheduler_.stepWallClock(Seconds{-3600});
  EXPECT_EQ(clock().now() - before, Seconds{5.0 - 3600});
  EXPECT_EQ(clock().steadyNow() - Instant{}, Seconds{5});
  EXPECT_EQ(scheduler_.clock().steadyNow(), clock().steadyNow());
}

TEST_F(VirtualSchedulerTest, ItsEndUnwindsEverything) {
  {
    VirtualScheduler scheduler;
    const auto process = scheduler.makeProcess("application");
    process->mainQueue().async([&] {
      const Canary canary([&] { note("unwound"); });
      process->clock().sleep(Seconds{10});
      note("never");
    });
    scheduler.at(Seconds{20}, [canary = std::make_shared<Canary>([&] { note("event dropped"); })] {});
    scheduler.runFor(Seconds{1});
    EXPECT_EQ(takeNotes(), Notes{});
  }
  EXPECT_EQ(takeNotes(), (Notes{"0 unwound", "0 event dropped"}));
}

TEST_F(VirtualSchedulerTest, SameRunTwiceIsTheSame) {
  const auto run = [] {
    std::vector<std::string> trace;
    VirtualScheduler scheduler;
    std::vector<std::unique_ptr<Queue>> queues;
    const auto process = scheduler.makeProcess("p");
    std::uint32_t random = 1;
    const auto next = [&] { return random = random * 1664525U + 1013904223U; };
    for (int index = 0; index < 6; ++index) {
      queues.push_back(process->makeSerialQueue(std::to_string(index), QualityOfService::standard));
    }
    std::function<void(int)> step = [&](int depth) {
      trace.push_back(std::to_string(depth) + "@" + std::to_string(scheduler.elapsed().count()));
      process->clock().sleep(Seconds{static_cast<double>(next() >> 30U) * 0.01});
      for (unsigned count = 0; depth < 9 && count < 1 + (next() >> 31U); ++count) {
        queues[(next() >> 8U) % queues.size()]->async([&step, depth] { step(depth + 1); });
      }
    };
    queues[0]->async([&] { step(0); });
    scheduler.runFor(Seconds{60});
    return trace;
  };
  const auto first = run();
  EXPECT_GT(first.size(), 20U);
  EXPECT_EQ(first, run());
}

using VirtualSchedulerDeathTest = VirtualSchedulerTest;

TEST_F(VirtualSchedulerDeathTest, MisuseStopsTheTest) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        process_->mainQueue().async([&] { process_->mainQueue().sync([] {}); });
        scheduler_.runPending();
      },
      "a queue cannot wait for itself");
  EXPECT_DEATH(
      {
        std::function<void()> again = [&] { process_->mainQueue().async(again); };
        again();
        scheduler_.runPending();
      },
      "time stands still");
  EXPECT_DEATH(
      {
        process_->mainQueue().async([&] { scheduler_.runPending(); });
        scheduler_.runPending();
      },
      "only the test's own thread runs the scheduler");
}

}  // namespace halcyra::test
