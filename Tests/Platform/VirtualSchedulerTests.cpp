#include <cmath>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "gtest/gtest.h"

#include "Support/VirtualScheduler.h"

namespace halcyra::test {

namespace {

class VirtualSchedulerTest : public ::testing::Test {
 protected:
  VirtualSchedulerTest() : process_(scheduler_.makeProcess("application")) {}

  std::unique_ptr<Queue> makeQueue(const std::string& label) {
    return process_->makeSerialQueue(label, QualityOfService::standard);
  }
  Clock& clock() { return process_->clock(); }
  void sleep(double seconds) { clock().sleep(Seconds{seconds}); }
  double now() const { return scheduler_.elapsed().count(); }
  /// Notes `text` with the time in milliseconds.
  void note(const std::string& text) { notes_.push_back(std::to_string(std::llround(now() * 1000)) + " " + text); }
  std::vector<std::string> takeNotes() { return std::exchange(notes_, {}); }

  using Notes = std::vector<std::string>;

  Notes notes_;
  VirtualScheduler scheduler_;
  std::shared_ptr<VirtualProcess> process_;
};

/// Notes when it is destroyed.
struct Canary {
  explicit Canary(std::function<void()> action) : onDestruction(std::move(action)) {}
  ~Canary() { onDestruction(); }
  Canary(const Canary&) = delete;
  Canary& operator=(const Canary&) = delete;
  std::function<void()> onDestruction;
};

}  // namespace

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

TEST_F(VirtualSchedulerTest, KillUnwindsBlockedWorkAndDropsTheRest) {
  const auto worker = makeQueue("worker");
  const auto helper = makeQueue("helper");
  const auto token = std::make_shared<int>(0);
  worker->async([&, token] {
    const Canary canary([&] { note("unwound"); });
    try {
      sleep(100);
      note("slept");
    } catch (const std::exception&) {
      note("caught");
    }
    note("went on");
  });
  process_->mainQueue().async([&] {
    const Canary canary([&] { note("waiter unwound"); });
    helper->sync([&] { sleep(50); });
    note("waited");
  });
  worker->async([&, token] { note("queued"); });
  const auto timer = worker->startTimer(Seconds{1}, Seconds{1}, Seconds{0}, [&, token] { note("timer"); });
  scheduler_.runFor(Seconds{3});
  EXPECT_TRUE(process_->isAlive());
  bool observed = false;
  process_->whenKilled([&] {
    observed = true;
    EXPECT_FALSE(process_->isAlive());
  });
  process_->kill();
  EXPECT_TRUE(observed);
  EXPECT_FALSE(process_->isAlive());
  EXPECT_EQ(takeNotes(), (Notes{"3000 unwound", "3000 waiter unwound"}));
  process_->mainQueue().async([&, token] { note("after death"); });
  process_->mainQueue().sync([&] { note("after death"); });
  const auto late = process_->makeSerialQueue("late", QualityOfService::standard);
  late->async([&, token] { note("after death"); });
  const auto lateTimer = late->startTimer(Seconds{1}, Seconds{1}, Seconds{0}, [&] { note("after death"); });
  sleep(5);
  EXPECT_EQ(now(), 3.0) << "a dead process's clock waits for nothing";
  scheduler_.runFor(Seconds{200});
  EXPECT_EQ(takeNotes(), Notes{});
  EXPECT_EQ(token.use_count(), 2) << "only the timer that the test holds is left";
}

TEST_F(VirtualSchedulerTest, WorkMayKillItsOwnProcessOrAnother) {
  const auto other = scheduler_.makeProcess("helper");
  const auto worker = makeQueue("worker");
  other->mainQueue().async([&] {
    const Canary canary([&] { note("other unwound"); });
    other->clock().sleep(Seconds{100});
  });
  worker->async([&] {
    const Canary canary([&] { note("worker unwound"); });
    sleep(100);
  });
  process_->asyncAfter(process_->mainQueue(), Seconds{1}, [&] {
    const Canary canary([&] { note("own unwound"); });
    other->kill();
    note("goes on");
    process_->kill();
    note("never");
  });
  scheduler_.runFor(Seconds{10});
  EXPECT_EQ(takeNotes(), (Notes{"1000 other unwound", "1000 goes on", "1000 own unwound", "1000 worker unwound"}));
  EXPECT_EQ(now(), 10.0);
}

TEST_F(VirtualSchedulerTest, UnwindingWorkMayDestroyItsQueues) {
  auto worker = std::shared_ptr<Queue>(makeQueue("worker"));
  worker->async([&] {
    const Canary canary([&] { note("worker unwound"); });
    sleep(100);
  });
  process_->mainQueue().async([&, worker = std::exchange(worker, nullptr)]() mutable {
    const Canary canary([&] {
      sleep(1);
      worker->sync([] {});
      worker.reset();
      note("owner unwound");
    });
    sleep(50);
  });
  scheduler_.runFor(Seconds{1});
  process_->kill();
  EXPECT_EQ(takeNotes(), (Notes{"1000 worker unwound", "1000 owner unwound"}));
}

TEST_F(VirtualSchedulerTest, DroppedClosuresMayDestroyQueuesAndTimers) {
  struct Model {
    Model(std::unique_ptr<Queue> modelQueue, Clock& modelClock) : queue(std::move(modelQueue)), clock(modelClock) {}
    Model(const Model&) = delete;
    Model& operator=(const Model&) = delete;
    std::unique_ptr<Queue> queue;
    std::unique_ptr<Timer> timer;
    Clock& clock;
    ~Model() {
      queue->sync([] {});
      clock.sleep(Seconds{1});
    }
  };
  auto model = std::make_shared<Model>(makeQueue("poll"), clock());
  model->timer = model->queue->startTimer(Seconds{1}, Seconds{1}, Seconds{0}, [&] { note("never"); });
  process_->asyncAfter(process_->mainQueue(), Seconds{5}, [model] {});
  const std::weak_ptr<Model> left = model;
  process_->asyncAfter(process_->mainQueue(), Seconds{0.5}, [&] { process_->kill(); });
  model.reset();
  scheduler_.runFor(Seconds{10});
  EXPECT_TRUE(left.expired());
  EXPECT_EQ(takeNotes(), Notes{});
}

TEST_F(VirtualSchedulerTest, SuspendedProcessesCatchUp) {
  const auto other = scheduler_.makeProcess("helper");
  const auto timer = process_->mainQueue().startTimer(Seconds{2}, Seconds{2}, Seconds{0}, [&] { note("tick"); });
  const auto otherTimer = other->mainQueue().startTimer(Seconds{4}, Seconds{4}, Seconds{0}, [&] { note("other"); });
  const auto worker = makeQueue("worker");
  worker->async([&] {
    sleep(3);
    note("slept");
  });
  scheduler_.runFor(Seconds{1});
  process_->suspend();
  worker->async([&] { note("queued"); });
  scheduler_.runFor(Seconds{8});
  EXPECT_EQ(takeNotes(), (Notes{"4000 other", "8000 other"}));
  process_->resume();
  scheduler_.runFor(Seconds{2});
  EXPECT_EQ(takeNotes(), (Notes{"9000 tick", "9000 slept", "9000 queued", "10000 tick"}));

  worker->async([&] {
    note("stops itself");
    process_->suspend();
    note("resumed");
  });
  scheduler_.at(Seconds{13}, [&] { process_->resume(); });
  scheduler_.runFor(Seconds{2});
  EXPECT_EQ(takeNotes(), (Notes{"11000 stops itself", "12000 other", "13000 resumed", "13000 tick"}));
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
