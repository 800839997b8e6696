// Order and completion of work and timers on the real queues; nothing here depends on how fast the machine is.

#include <atomic>
#include <future>
#include <numeric>
#include <signal.h>
#include <stdexcept>
#include <thread>

#include "gtest/gtest.h"

#include "Platform/Linux/LinuxClock.h"
#include "Platform/Linux/PlainMainQueue.h"
#include "Platform/Linux/ThreadQueue.h"
#include "Platform/POSIX/SignalWatcher.h"
#include "Platform/PlatformTestSupport.h"
#include "Platform/QueueParts.h"

namespace halcyra::test {
namespace {

using namespace std::chrono_literals;

TEST(QueueTests, WorkRunsInOrderOneAtATimeOffTheCallersThread) {
  ThreadQueue queue("order", QualityOfService::utility);
  std::vector<int> seen;
  std::thread::id worker;
  for (int i = 0; i < 100; ++i) {
    queue.async([&, i] {
      seen.push_back(i);
      worker = std::this_thread::get_id();
    });
  }
  queue.sync([] {});
  std::vector<int> expected(100);
  std::iota(expected.begin(), expected.end(), 0);
  EXPECT_EQ(seen, expected);
  EXPECT_NE(worker, std::this_thread::get_id());
  EXPECT_EQ(queue.label(), "order");
}

TEST(QueueTests, SyncHandsTheExceptionToTheWaiterAndTheQueueLivesOn) {
  ThreadQueue queue("throwing", QualityOfService::standard);
  EXPECT_THROW(queue.sync([] { throw std::out_of_range("x"); }), std::out_of_range);
  EXPECT_NO_THROW(queue.sync([] {}));
}

TEST(QueueDeathTests, WhatMustNotHappenEndsTheProgram) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        ThreadQueue queue("fatal", QualityOfService::standard);
        queue.async([] { throw std::runtime_error("nobody catches this"); });
        queue.sync([] {});
      },
      "nobody catches this");
  EXPECT_DEATH(
      {
        ThreadQueue queue("self", QualityOfService::standard);
        queue.sync([&] { queue.sync([] {}); });
      },
      "cannot wait for itself");
}

TEST(QueueTests, DestructionWaitsForTheWorkUnderWay) {
  std::promise<void> started;
  std::promise<void> release;
  std::atomic<bool> finished{false};
  auto queue = std::make_unique<ThreadQueue>("ending", QualityOfService::standard);
  queue->async([&] {
    started.set_value();
    release.get_future().wait();
    finished = true;
  });
  started.get_future().wait();
  std::thread ender([&] { queue.reset(); });
  release.set_value();
  ender.join();
  EXPECT_TRUE(finished);
}

/// Says when work has been handed in.
class AnnouncingQueue : public ThreadQueue {
 public:
  explicit AnnouncingQueue(Inbox<bool>& handedIn)
      : ThreadQueue("own", QualityOfService::standard), handedIn_(handedIn) {}
  void async(std::function<void()> work) override {
    ThreadQueue::async(std::move(work));
    handedIn_.put(true);
  }

 private:
  Inbox<bool>& handedIn_;
};

TEST(QueueTests, AQueueDestroyedByItsOwnWorkDropsTheRestAndWakesWhoWaitsForIt) {
  Inbox<bool> handedIn;
  Inbox<bool> wentOn;
  std::atomic<bool> droppedRan{false};
  std::unique_ptr<Queue> queue = std::make_unique<AnnouncingQueue>(handedIn);
  Queue& waited = *queue;
  queue->async([&] {
    for (int i = 0; i < 3; ++i) handedIn.next();
    queue.reset();
    wentOn.put(true);
  });
  queue->async([&] { droppedRan = true; });
  const auto timer = queue->startTimer(0s, 0s, 0s, [&] { droppedRan = true; });
  std::string outcome = "ran";
  std::thread waiter([&] {
    try {
      waited.sync([&] { droppedRan = true; });
    } catch (const std::runtime_error& error) {
      outcome = error.what();
    }
  });
  waiter.join();
  EXPECT_EQ(outcome, "the queue ended before the work began");
  EXPECT_TRUE(wentOn.next());
  EXPECT_FALSE(droppedRan);
}

TEST(TimerScheduleTests, KeepsItsRhythmAndLeavesMissedFiringsOut) {
  struct Case {
    double late;
    double next;
  };
  // First due at 1, then every 2; one that fires early must not fire twice.
  for (const Case& each : {Case{0, 3}, Case{1.9, 3}, Case{2, 5}, Case{6.5, 9}, Case{-0.1, 3}}) {
    const auto at = [](double seconds) {
      return TimerSchedule::Time{std::chrono::round<TimerSchedule::Duration>(Seconds{seconds})};
    };
    TimerSchedule schedule(at(0), Seconds{1}, Seconds{2});
    EXPECT_EQ(schedule.due(), at(1));
    schedule.advance(at(1 + each.late));
    EXPECT_EQ(schedule.due(), at(each.next)) << each.late;
  }
  EXPECT_FALSE(TimerSchedule({}, Seconds{-1}, Seconds{-1}).repeats());
  EXPECT_EQ(TimerSchedule({}, Seconds{-1}, Seconds{0}).due(), TimerSchedule::Time{});
  EXPECT_GT(TimerSchedule({}, Seconds{1e300}, Seconds{1e300}).due(), TimerSchedule::Time{std::chrono::hours(24 * 365)});
}

TEST(TimerTests, FireInTheOrderOfTheirTimesAndRepeat) {
  ThreadQueue queue("timers", QualityOfService::standard);
  Inbox<std::string> fired;
  std::unique_ptr<Timer> late;
  std::unique_ptr<Timer> early;
  queue.sync([&] {
    late = queue.startTimer(20ms, 0s, 0s, [&] { fired.put("late"); });
    early = queue.startTimer(1ms, 0s, 100ms, [&] { fired.put("early"); });
  });
  EXPECT_EQ(fired.next(), "early");
  EXPECT_EQ(fired.next(), "late");
  const auto repeating = queue.startTimer(0s, 1ms, 0s, [&] { fired.put("again"); });
  for (int i = 0; i < 3; ++i) EXPECT_EQ(fired.next(), "again");
}

TEST(TimerTests, DestroyedOnTheQueueNeverFiresAgainEvenWhenItIsDue) {
  ThreadQueue queue("cancel", QualityOfService::standard);
  int fired = 0;
  std::unique_ptr<Timer> self;
  Inbox<int> once;
  queue.sync([&] {
    auto due = queue.startTimer(0s, 1us, 0s, [&] { ++fired; });
    LinuxClock().sleep(2ms);  // it is due now, and finds the queue busy
    due.reset();
    self = queue.startTimer(0s, 1us, 0s, [&] {
      self.reset();
      once.put(1);
    });
  });
  EXPECT_EQ(once.next(), 1);
  for (int i = 0; i < 50; ++i) queue.sync([] { std::this_thread::yield(); });
  EXPECT_EQ(fired, 0);
  EXPECT_EQ(once.size(), 0U);
}

TEST(TimerTests, FiringsMissedWhileTheQueueWasBusyAreNotMadeUpFor) {
  ThreadQueue queue("missed", QualityOfService::standard);
  int fired = 0;
  std::unique_ptr<Timer> timer;
  queue.sync([&] {
    timer = queue.startTimer(0s, 10s, 0s, [&] { ++fired; });
    LinuxClock().sleep(1ms);
  });
  Inbox<int> done;
  queue.async([&] { queue.async([&] { done.put(fired); }); });
  EXPECT_EQ(done.next(), 1);
  // A period far in the future, beyond what the clock's unit could hold, is simply late.
  const auto never = queue.startTimer(Seconds{1e300}, Seconds{1e300}, 0s, [&] { ++fired; });
  queue.sync([&] { EXPECT_EQ(fired, 1); });
}

TEST(MainQueueTests, RunsOnTheCallingThreadUntilStoppedAndAgain) {
  PlainMainQueue queue;
  LinuxDispatch dispatch(queue);
  std::vector<std::string> seen;
  const auto here = std::this_thread::get_id();
  queue.async([&] { seen.emplace_back(std::this_thread::get_id() == here ? "main" : "other"); });
  const auto worker = dispatch.makeSerialQueue("worker", QualityOfService::standard);
  worker->async([&] {
    dispatch.mainQueue().sync([&] { seen.emplace_back("from worker"); });
    queue.stop();
  });
  queue.run();
  EXPECT_EQ(seen, (std::vector<std::string>{"main", "from worker"}));
  queue.stop();
  queue.async([&] { seen.emplace_back("late"); });
  queue.run();
  EXPECT_EQ(seen.size(), 2U) << "a stop before run did not hold";
}

TEST(SignalWatcherTests, SignalsBecomeWorkOnTheQueueAndTheEarlierActionComesBack) {
  PlainMainQueue queue;
  std::vector<int> signals;
  struct sigaction before {};
  sigaction(SIGUSR1, nullptr, &before);
  {
    const SignalWatcher watcher(queue, {SIGUSR1, SIGUSR2}, [&](int signal) {
      signals.push_back(signal);
      if (signal == SIGUSR1) {
        raise(SIGUSR2);
      } else {
        queue.stop();
      }
    });
    raise(SIGUSR1);
    queue.run();
  }
  EXPECT_EQ(signals, (std::vector<int>{SIGUSR1, SIGUSR2}));
  struct sigaction after {};
  sigaction(SIGUSR1, nullptr, &after);
  EXPECT_EQ(after.sa_handler, before.sa_handler);
}

}  // namespace
}  // namespace halcyra::test
