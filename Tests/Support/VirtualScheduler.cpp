#include "Support/VirtualScheduler.h"

#include <utility>

#include "Platform/Precondition.h"
#include "Support/VirtualCore.h"

namespace halcyra::test {

namespace {

class VirtualClock : public Clock {
 public:
  /// Without a process: the clock of the test itself.
  VirtualClock(std::shared_ptr<VirtualCore> core, std::shared_ptr<VirtualProcessState> process)
      : core_(std::move(core)), process_(std::move(process)) {}

  Date now() const override { return core_->wallNow(); }
  Instant steadyNow() const override { return Instant{core_->elapsed()}; }
  void sleep(Seconds duration) override { core_->sleep(process_.get(), duration); }

 private:
  std::shared_ptr<VirtualCore> core_;
  std::shared_ptr<VirtualProcessState> process_;
};

class VirtualTimer : public Timer {
 public:
  VirtualTimer(std::shared_ptr<VirtualCore> core, std::shared_ptr<VirtualLane> lane,
               std::shared_ptr<VirtualTimerState> state)
      : core_(std::move(core)), lane_(std::move(lane)), state_(std::move(state)) {}
  ~VirtualTimer() override { core_->cancelTimer(*lane_, *state_); }

 private:
  std::shared_ptr<VirtualCore> core_;
  std::shared_ptr<VirtualLane> lane_;
  std::shared_ptr<VirtualTimerState> state_;
};

class VirtualQueue : public Queue {
 public:
  VirtualQueue(std::shared_ptr<VirtualCore> core, std::shared_ptr<VirtualLane> lane)
      : core_(std::move(core)), lane_(std::move(lane)) {}
  ~VirtualQueue() override { core_->closeLane(lane_); }
  VirtualQueue(const VirtualQueue&) = delete;
  VirtualQueue& operator=(const VirtualQueue&) = delete;

  const std::string& label() const override { return lane_->label; }
  void async(std::function<void()> work) override { core_->post(*lane_, Seconds{0}, std::move(work)); }
  void asyncAfter(Seconds delay, std::function<void()> work) { core_->post(*lane_, delay, std::move(work)); }
  void sync(const std::function<void()>& work) override { core_->sync(lane_, work); }
  std::unique_ptr<Timer> startTimer(Seconds first, Seconds period, Seconds leeway,
                                    std::function<void()> fire) override {
    precondition(leeway.count() >= 0, "a timer cannot be early");
    return std::make_unique<VirtualTimer>(core_, lane_, core_->startTimer(*lane_, first, period, std::move(fire)));
  }

 private:
  std::shared_ptr<VirtualCore> core_;
  std::shared_ptr<VirtualLane> lane_;
};

class CoreProcess : public VirtualProcess {
 public:
  CoreProcess(std::shared_ptr<VirtualCore> core, std::shared_ptr<VirtualProcessState> state)
      : core_(std::move(core)),
        state_(std::move(state)),
        clock_(core_, state_),
        main_(core_, core_->makeLane("com.apple.main-thread", state_)) {}

  const std::string& name() const override { return state_->name; }
  Clock& clock() override { return clock_; }
  Queue& mainQueue() override { return main_; }
  std::unique_ptr<Queue> makeSerialQueue(std::string label, QualityOfService) override {
    return std::make_unique<VirtualQueue>(core_, core_->makeLane(std::move(label), state_));
  }
  void asyncAfter(Queue& queue, Seconds delay, std::function<void()> work) override {
    auto* const own = dynamic_cast<VirtualQueue*>(&queue);
    precondition(own != nullptr, "a process can only run work on its own queues");
    own->asyncAfter(delay, std::move(work));
  }
  void kill() override { core_->kill(state_); }
  void whenKilled(std::function<void()> observer) override { core_->whenKilled(*state_, std::move(observer)); }
  void suspend() override { core_->setSuspended(*state_, true); }
  void resume() override { core_->setSuspended(*state_, false); }
  bool isAlive() const override { return core_->isAlive(*state_); }

 private:
  std::shared_ptr<VirtualCore> core_;
  std::shared_ptr<VirtualProcessState> state_;
  VirtualClock clock_;
  VirtualQueue main_;
};

}  // namespace

VirtualScheduler::VirtualScheduler(Date start)
    : core_(std::make_shared<VirtualCore>(start)), clock_(std::make_unique<VirtualClock>(core_, nullptr)) {}

VirtualScheduler::~VirtualScheduler() {
  core_->shutDown();
}

std::shared_ptr<VirtualProcess> VirtualScheduler::makeProcess(const std::string& name) {
  auto state = std::make_shared<VirtualProcessState>();
  state->name = name;
  core_->addProcess(state);
  processes_.push_back(std::make_shared<CoreProcess>(core_, std::move(state)));
  return processes_.back();
}

Clock& VirtualScheduler::clock() {
  return *clock_;
}

Seconds VirtualScheduler::elapsed() const {
  return core_->elapsed();
}

void VirtualScheduler::runFor(Seconds duration) {
  core_->drive(core_->now() + ticksFrom(duration), {});
}

bool VirtualScheduler::runUntil(const std::function<bool()>& done, Seconds limit) {
  return core_->drive(core_->now() + ticksFrom(limit), done);
}

void VirtualScheduler::runPending() {
  core_->drive(core_->now(), {});
}

void VirtualScheduler::at(Seconds elapsed, std::function<void()> event) {
  core_->at(elapsed, std::move(event));
}

void VirtualScheduler::stepWallClock(Seconds by) {
  core_->stepWallClock(by);
}

}  // namespace halcyra::test
