// Queues, timers and processes in virtual time, on which the tests of everything else stand.

#include <cmath>
#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "gtest/gtest.h"

#include "Support/VirtualScheduler.h"

namespace halcyra::test {

namespace {

/// One process in virtual time, and notes of what happened when.
class VirtualTimeTest : public ::testing::Test {
 protected:
  VirtualTimeTest() : process_(scheduler_.makeProcess("application")) {}

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
  });
  scheduler_.at(Seconds{1}, [&] { note("event"); });
  EXPECT_EQ(takeNotes(), Notes{}) << "nothing runs by itself";
  scheduler_.runFor(Seconds{1.5});
  EXPECT_EQ(takeNotes(), (Notes{"0 b", "0 a", "1000 early", "1000 event", "1000 follow-up"}));
  EXPECT_EQ(now(), 1.5);
  scheduler_.runFor(Seconds{0.5});
  EXPECT_EQ(takeNotes(), Notes{"2000 late"}) << "what is due at the very end still runs";
}

TEST_F(VirtualSchedulerTest, SleepBlocksItsQueueOnly) {
  const auto worker = makeQueue("worker");
  worker->async([&] {
    sleep(10);
    note("end");
    sleep(-1);
    note("no wait");
  });
  worker->async([&] { note("next"); });
  const auto timer = process_->mainQueue().startTimer(Seconds{4}, Seconds{4}, Seconds{0}, [&] { note("beat"); });
  scheduler_.runFor(Seconds{11});
  EXPECT_EQ(takeNotes(), (Notes{"4000 beat", "8000 beat", "10000 end", "10000 no wait", "10000 next"}));
}

TEST_F(VirtualSchedulerTest, SyncWaitsAndCarriesFailures) {
  const auto worker = makeQueue("worker");
  process_->mainQueue().async([&] {
    worker->sync([&] { sleep(3); });
    note("waited");
    EXPECT_THROW(worker->sync([] { throw std::invalid_argument("refused"); }), std::invalid_argument);
    process_->mainQueue().async([&] { note("after"); });
  });
  process_->mainQueue().async([&] { note("behind"); });
  scheduler_.runFor(Seconds{5});
  EXPECT_EQ(takeNotes(), (Notes{"3000 waited", "3000 behind", "3000 after"}));

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
    EXPECT_THROW(worker->sync([&] { note("never"); }), std::runtime_error);
    note("refused");
  });
  const auto other = makeQueue("other");
  process_->asyncAfter(*other, Seconds{2}, [&] {
    worker.reset();
    note("destroyed");
  });
  scheduler_.runFor(Seconds{10});
  EXPECT_EQ(takeNotes(), (Notes{"3000 finished", "3000 destroyed", "3000 refused"}));

  auto suicidal = makeQueue("suicidal");
  suicidal->async([&] {
    suicidal.reset();
    sleep(1);
    note("went on");
  });
  scheduler_.runFor(Seconds{2});
  EXPECT_EQ(takeNotes(), Notes{"11000 went on"});
}

using VirtualProcessTest = VirtualTimeTest;

TEST_F(VirtualProcessTest, KillUnwindsBlockedWorkAndDropsTheRest) {
  const auto worker = makeQueue("worker");
  const auto helper = makeQueue("helper");
  const auto token = std::make_shared<int>(0);
  worker->async([&, token] {
    const Canary canary([&] { note("unwound"); });
    try {
      sleep(100);
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
  process_->whenKilled([&] { note(process_->isAlive() ? "alive" : "dead"); });
  process_->kill();
  EXPECT_EQ(takeNotes(), (Notes{"3000 unwound", "3000 waiter unwound", "3000 dead"}));
  process_->mainQueue().async([&, token] { note("after death"); });
  process_->mainQueue().sync([&] { note("after death"); });
  const auto late = process_->makeSerialQueue("late", QualityOfService::standard);
  const auto lateTimer = late->startTimer(Seconds{1}, Seconds{1}, Seconds{0}, [&] { note("after death"); });
  sleep(5);
  EXPECT_EQ(now(), 3.0) << "a dead process's clock waits for nothing";
  scheduler_.runFor(Seconds{200});
  EXPECT_EQ(takeNotes(), Notes{});
  EXPECT_EQ(token.use_count(), 2) << "only the timer that the test holds is left";
}

TEST_F(VirtualProcessTest, WorkMayKillItsOwnProcessOrAnother) {
  const auto other = scheduler_.makeProcess("helper");
  other->mainQueue().async([&] {
    const Canary canary([&] { note("other unwound"); });
    other->clock().sleep(Seconds{100});
  });
  process_->asyncAfter(process_->mainQueue(), Seconds{1}, [&] {
    const Canary canary([&] { note("own unwound"); });
    other->kill();
    note("goes on");
    process_->kill();
    note("never");
  });
  scheduler_.runFor(Seconds{10});
  EXPECT_EQ(takeNotes(), (Notes{"1000 other unwound", "1000 goes on", "1000 own unwound"}));
}

TEST_F(VirtualProcessTest, SuspendedProcessesCatchUp) {
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
}

}  // namespace halcyra::test
