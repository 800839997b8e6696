// Processes in virtual time: killed, stopped and going on.

#include <exception>
#include <memory>
#include <utility>

#include "Platform/VirtualTimeTest.h"

namespace halcyra::test {

using VirtualProcessTest = VirtualTimeTest;

TEST_F(VirtualProcessTest, KillUnwindsBlockedWorkAndDropsTheRest) {
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

TEST_F(VirtualProcessTest, WorkMayKillItsOwnProcessOrAnother) {
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

TEST_F(VirtualProcessTest, UnwindingWorkMayDestroyItsQueues) {
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

TEST_F(VirtualProcessTest, DroppedClosuresMayDestroyQueuesAndTimers) {
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

  worker->async([&] {
    note("stops itself");
    process_->suspend();
    note("resumed");
  });
  scheduler_.at(Seconds{13}, [&] { process_->resume(); });
  scheduler_.runFor(Seconds{2});
  EXPECT_EQ(takeNotes(), (Notes{"11000 stops itself", "12000 other", "13000 resumed", "13000 tick"}));
}

}  // namespace halcyra::test
