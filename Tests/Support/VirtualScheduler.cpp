#include "Support/VirtualScheduler.h"

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "Platform/Precondition.h"

namespace halcyra::test {

namespace {

constexpr double forEver = std::numeric_limits<double>::max();

/// Unwinds work of a process that has been killed. Not a `std::exception`: no handler of the program may stop it.
struct ProcessKilled {};

struct Worker;
struct QueueState;
struct ProcessState;

using Work = std::function<void()>;

/// What falls due: work for a queue, the wake-up of a worker that waits, or an event of the test.
struct Event {
  std::shared_ptr<ProcessState> process;
  std::shared_ptr<QueueState> queue;
  Worker* worker = nullptr;
  Work work;
};

/// By due time, then by the order in which it was handed in.
using EventKey = std::pair<double, std::uint64_t>;

struct Worker {
  std::thread thread;
  std::condition_variable wake;
  bool exit = false;
};

struct QueueState {
  std::shared_ptr<ProcessState> process;
  Worker worker;
  Work next;
  bool busy = false;
  bool closed = false;
  /// Waits for this queue to become idle.
  Worker* closer = nullptr;
  /// Due while the queue was busy.
  std::deque<std::pair<EventKey, Work>> backlog;
};

struct ProcessState {
  bool alive = true;
  bool suspended = false;
  std::vector<std::weak_ptr<QueueState>> queues;
  /// Due while the process was suspended.
  std::vector<std::pair<EventKey, Event>> held;
};

thread_local Worker* currentWorker = nullptr;
thread_local ProcessState* currentProcess = nullptr;

}  // namespace

class VirtualScheduler::Core : public std::enable_shared_from_this<VirtualScheduler::Core> {
 public:
  explicit Core(Date start) : start_(start) {}

  double now() {
    const std::lock_guard lock(mutex_);
    return now_;
  }
  Date wallClock() {
    const std::lock_guard lock(mutex_);
    return start_ + Seconds{now_} + wallOffset_;
  }
  void stepWallClock(Seconds by) {
    const std::lock_guard lock(mutex_);
    wallOffset_ += by;
  }

  void post(const std::shared_ptr<QueueState>& queue, double delay, Work work);
  void postToTest(double at, Work work);
  void sleep(Seconds duration);
  void sync(const std::shared_ptr<QueueState>& queue, const Work& work);
  void close(const std::shared_ptr<QueueState>& queue);
  bool run(double until, const std::function<bool()>& done);
  void kill(const std::shared_ptr<ProcessState>& process);
  void setSuspended(const std::shared_ptr<ProcessState>& process, bool suspended);
  std::shared_ptr<QueueState> makeQueue(const std::shared_ptr<ProcessState>& process);

 private:
  using Lock = std::unique_lock<std::mutex>;

  EventKey nextKey(double due) { return {due, ++sequence_}; }
  void workerMain(const std::shared_ptr<QueueState>& queue);
  /// Hands over to whatever is due next, or to the test when nothing is. Called by whoever may run.
  void dispatchNext(Lock& lock);
  /// Decides what to do about the earliest event; false when it led nowhere and the next one is to be looked at.
  bool dispatch(EventKey key, Event event);
  void begin(const std::shared_ptr<QueueState>& queue, Work work);
  void activate(Worker* worker);
  /// Gives up the right to run until `worker` (null: the test) is activated.
  void handOver(Lock& lock, Worker* worker);
  void awaitTurn(Lock& lock, Worker* worker);
  void throwIfKilled() const;

  std::mutex mutex_;
  std::condition_variable testWake_;
  const Date start_;
  Seconds wallOffset_{0};
  double now_ = 0;
  std::uint64_t sequence_ = 0;
  std::map<EventKey, Event> events_;

  /// Who may run; null is the test's own thread.
  Worker* active_ = nullptr;
  /// How far time may go in the present run.
  double limit_ = 0;
  const std::function<bool()>* done_ = nullptr;
  bool isDone_ = false;
  /// To be called on the test's thread.
  Work testEvent_;
};

void VirtualScheduler::Core::throwIfKilled() const {
  if (currentProcess != nullptr && !currentProcess->alive && std::uncaught_exceptions() == 0) {
    throw ProcessKilled{};
  }
}

void VirtualScheduler::Core::post(const std::shared_ptr<QueueState>& queue, double delay, Work work) {
  const std::lock_guard lock(mutex_);
  if (!queue->process->alive || queue->closed) {
    return;
  }
  events_.emplace(nextKey(now_ + std::max(0.0, delay)), Event{queue->process, queue, nullptr, std::move(work)});
}

void VirtualScheduler::Core::postToTest(double at, Work work) {
  const std::lock_guard lock(mutex_);
  events_.emplace(nextKey(std::max(now_, at)), Event{nullptr, nullptr, nullptr, std::move(work)});
}

void VirtualScheduler::Core::activate(Worker* worker) {
  active_ = worker;
  (worker == nullptr ? testWake_ : worker->wake).notify_one();
}

void VirtualScheduler::Core::awaitTurn(Lock& lock, Worker* worker) {
  (worker == nullptr ? testWake_ : worker->wake).wait(lock, [&] {
    return active_ == worker || (worker != nullptr && worker->exit);
  });
}

void VirtualScheduler::Core::handOver(Lock& lock, Worker* worker) {
  dispatchNext(lock);
  awaitTurn(lock, worker);
}

void VirtualScheduler::Core::begin(const std::shared_ptr<QueueState>& queue, Work work) {
  queue->busy = true;
  queue->next = std::move(work);
  active_ = &queue->worker;
  if (queue->worker.thread.joinable()) {
    queue->worker.wake.notify_one();
  } else {
    queue->worker.thread = std::thread([self = shared_from_this(), queue] { self->workerMain(queue); });
  }
}

bool VirtualScheduler::Core::dispatch(EventKey key, Event event) {
  if (event.process && event.process->suspended) {
    event.process->held.emplace_back(key, std::move(event));
    return false;
  }
  if (event.worker != nullptr) {
    activate(event.worker);
    return true;
  }
  if (!event.queue) {
    testEvent_ = std::move(event.work);
    activate(nullptr);
    return true;
  }
  if (event.queue->busy) {
    event.queue->backlog.emplace_back(key, std::move(event.work));
    return false;
  }
  begin(event.queue, std::move(event.work));
  return true;
}

void VirtualScheduler::Core::dispatchNext(Lock& lock) {
  if (done_ != nullptr) {
    active_ = currentWorker;
    lock.unlock();
    const bool isDone = (*done_)();
    lock.lock();
    if (isDone) {
      isDone_ = true;
      activate(nullptr);
      return;
    }
  }
  for (;;) {
    if (events_.empty() || events_.begin()->first.first > limit_) {
      if (limit_ < forEver) now_ = std::max(now_, limit_);
      activate(nullptr);
      return;
    }
    auto node = events_.extract(events_.begin());
    now_ = std::max(now_, node.key().first);
    if (dispatch(node.key(), std::move(node.mapped()))) {
      return;
    }
  }
}

void VirtualScheduler::Core::workerMain(const std::shared_ptr<QueueState>& queue) {
  Worker& self = queue->worker;
  currentWorker = &self;
  currentProcess = queue->process.get();
  Lock lock(mutex_);
  for (;;) {
    awaitTurn(lock, &self);
    if (self.exit) {
      return;
    }
    Work work = std::exchange(queue->next, nullptr);
    lock.unlock();
    try {
      if (work) work();
    } catch (const ProcessKilled&) {
      // Unwound: whoever killed the process goes on below.
    }
    work = nullptr;
    lock.lock();
    queue->busy = false;
    if (queue->closer != nullptr) {
      events_.emplace(nextKey(now_), Event{nullptr, nullptr, std::exchange(queue->closer, nullptr), {}});
    }
    if (!queue->process->alive) {
      activate(nullptr);
      continue;
    }
    if (!queue->backlog.empty()) {
      auto [key, next] = std::move(queue->backlog.front());
      queue->backlog.pop_front();
      events_.emplace(key, Event{queue->process, queue, nullptr, std::move(next)});
    }
    dispatchNext(lock);
  }
}

void VirtualScheduler::Core::sleep(Seconds duration) {
  if (currentWorker == nullptr) {
    run(now() + duration.count(), {});
    return;
  }
  if (duration.count() <= 0 || std::uncaught_exceptions() > 0) {
    throwIfKilled();
    return;
  }
  Lock lock(mutex_);
  const auto process = std::shared_ptr<ProcessState>(shared_from_this(), currentProcess);
  events_.emplace(nextKey(now_ + duration.count()), Event{process, nullptr, currentWorker, {}});
  handOver(lock, currentWorker);
  lock.unlock();
  throwIfKilled();
}

void VirtualScheduler::Core::sync(const std::shared_ptr<QueueState>& queue, const Work& work) {
  struct Outcome {
    bool finished = false;
    std::exception_ptr thrown;
  };
  precondition(&queue->worker != currentWorker, "sync on the queue that is running waits for itself");
  const auto outcome = std::make_shared<Outcome>();
  Worker* const waiting = currentWorker;
  post(queue, 0, [this, outcome, waiting, &work] {
    try {
      work();
    } catch (const ProcessKilled&) {
      throw;
    } catch (...) {
      outcome->thrown = std::current_exception();
    }
    outcome->finished = true;
    if (waiting != nullptr) {
      const std::lock_guard lock(mutex_);
      events_.emplace(nextKey(now_), Event{nullptr, nullptr, waiting, {}});
    }
  });
  if (waiting == nullptr) {
    run(forEver, [&] { return outcome->finished; });
  } else if (queue->process->alive) {
    Lock lock(mutex_);
    handOver(lock, waiting);
    lock.unlock();
    throwIfKilled();
  }
  if (outcome->thrown) {
    std::rethrow_exception(outcome->thrown);
  }
}

void VirtualScheduler::Core::close(const std::shared_ptr<QueueState>& queue) {
  std::vector<Work> dropped;
  Lock lock(mutex_);
  queue->closed = true;
  for (auto& [key, work] : queue->backlog) dropped.push_back(std::move(work));
  queue->backlog.clear();
  for (auto event = events_.begin(); event != events_.end();) {
    if (event->second.queue == queue) {
      dropped.push_back(std::move(event->second.work));
      event = events_.erase(event);
    } else {
      ++event;
    }
  }
  if (queue->busy && &queue->worker != currentWorker && queue->process->alive) {
    if (currentWorker != nullptr) {
      queue->closer = currentWorker;
      handOver(lock, currentWorker);
    } else {
      lock.unlock();
      run(forEver, [&] { return !queue->busy; });
      lock.lock();
    }
  }
  queue->worker.exit = true;
  queue->worker.wake.notify_one();
  lock.unlock();
  if (queue->worker.thread.joinable()) {
    // A queue may be destroyed by its own last piece of work, which then must finish first.
    if (&queue->worker == currentWorker) {
      queue->worker.thread.detach();
    } else {
      queue->worker.thread.join();
    }
  }
}

bool VirtualScheduler::Core::run(double until, const std::function<bool()>& done) {
  precondition(currentWorker == nullptr, "only the test's own thread runs the scheduler");
  const bool hasCondition = static_cast<bool>(done);
  if (hasCondition && done()) {
    return true;
  }
  Lock lock(mutex_);
  const double outerLimit = std::exchange(limit_, until);
  const auto* const outerDone = std::exchange(done_, hasCondition ? &done : nullptr);
  isDone_ = false;
  for (;;) {
    dispatchNext(lock);
    awaitTurn(lock, nullptr);
    if (!testEvent_) {
      break;
    }
    const Work event = std::exchange(testEvent_, nullptr);
    lock.unlock();
    event();
    lock.lock();
  }
  limit_ = outerLimit;
  done_ = outerDone;
  return std::exchange(isDone_, false);
}

void VirtualScheduler::Core::kill(const std::shared_ptr<ProcessState>& process) {
  precondition(currentWorker == nullptr, "a process is killed from the test's own thread");
  std::vector<Event> dropped;
  Lock lock(mutex_);
  process->alive = false;
  for (auto& [key, event] : process->held) dropped.push_back(std::move(event));
  process->held.clear();
  for (auto event = events_.begin(); event != events_.end();) {
    if (event->second.process.get() == process.get()) {
      dropped.push_back(std::move(event->second));
      event = events_.erase(event);
    } else {
      ++event;
    }
  }
  for (const auto& weak : process->queues) {
    const auto queue = weak.lock();
    if (!queue) continue;
    for (auto& [key, work] : queue->backlog) dropped.push_back({nullptr, nullptr, nullptr, std::move(work)});
    queue->backlog.clear();
    if (!queue->busy) continue;
    // Blocked in a sleep or a wait: it wakes up, unwinds, and gives the turn back.
    activate(&queue->worker);
    awaitTurn(lock, nullptr);
  }
}

void VirtualScheduler::Core::setSuspended(const std::shared_ptr<ProcessState>& process, bool suspended) {
  const std::lock_guard lock(mutex_);
  process->suspended = suspended;
  if (suspended) {
    return;
  }
  for (auto& [key, event] : process->held) events_.emplace(key, std::move(event));
  process->held.clear();
}

std::shared_ptr<QueueState> VirtualScheduler::Core::makeQueue(const std::shared_ptr<ProcessState>& process) {
  auto queue = std::make_shared<QueueState>();
  queue->process = process;
  const std::lock_guard lock(mutex_);
  process->queues.push_back(queue);
  return queue;
}

namespace {

class VirtualTimer : public Timer {
 public:
  struct State {
    bool cancelled = false;
    double due = 0;
    double period = 0;
    std::function<void()> fire;
  };
  explicit VirtualTimer(std::shared_ptr<State> state) : state_(std::move(state)) {}
  ~VirtualTimer() override { state_->cancelled = true; }
  VirtualTimer(const VirtualTimer&) = delete;
  VirtualTimer& operator=(const VirtualTimer&) = delete;

 private:
  std::shared_ptr<State> state_;
};

}  // namespace

class VirtualScheduler::VirtualQueue : public Queue {
 public:
  VirtualQueue(std::shared_ptr<Core> core, std::shared_ptr<QueueState> state, std::string label)
      : core_(std::move(core)), state_(std::move(state)), label_(std::move(label)) {}
  ~VirtualQueue() override { core_->close(state_); }
  VirtualQueue(const VirtualQueue&) = delete;
  VirtualQueue& operator=(const VirtualQueue&) = delete;

  const std::string& label() const override { return label_; }
  void async(std::function<void()> work) override { core_->post(state_, 0, std::move(work)); }
  void sync(const std::function<void()>& work) override { core_->sync(state_, work); }
  std::unique_ptr<Timer> startTimer(Seconds first, Seconds period, Seconds /*leeway*/,
                                    std::function<void()> fire) override {
    auto timer = std::make_shared<VirtualTimer::State>();
    const double delay = std::max(0.0, first.count());
    timer->due = core_->now() + delay;
    timer->period = period.count();
    timer->fire = std::move(fire);
    arm(core_, state_, timer, delay);
    return std::make_unique<VirtualTimer>(timer);
  }

 private:
  static void arm(const std::shared_ptr<Core>& core, const std::shared_ptr<QueueState>& state,
                  const std::shared_ptr<VirtualTimer::State>& timer, double delay) {
    core->post(state, delay, [weakCore = std::weak_ptr(core), weakState = std::weak_ptr(state), timer] {
      const auto strongCore = weakCore.lock();
      const auto strongState = weakState.lock();
      if (timer->cancelled || !strongCore || !strongState) {
        return;
      }
      if (timer->period > 0) {
        const double now = strongCore->now();
        // Firings that were missed are not made up for.
        const double missed = std::floor((now - timer->due) / timer->period);
        timer->due += timer->period * (std::max(0.0, missed) + 1);
        arm(strongCore, strongState, timer, timer->due - now);
      }
      timer->fire();
    });
  }

  std::shared_ptr<Core> core_;
  std::shared_ptr<QueueState> state_;
  std::string label_;
};

class VirtualScheduler::VirtualClock : public Clock {
 public:
  explicit VirtualClock(std::shared_ptr<Core> core) : core_(std::move(core)) {}
  Date now() const override { return core_->wallClock(); }
  Instant steadyNow() const override { return Instant{Seconds{core_->now()}}; }
  void sleep(Seconds duration) override { core_->sleep(duration); }

 private:
  std::shared_ptr<Core> core_;
};

class VirtualScheduler::Process : public VirtualProcess {
 public:
  Process(const std::shared_ptr<Core>& core, const std::string& name)
      : core_(core),
        state_(std::make_shared<ProcessState>()),
        clock_(core),
        mainQueue_(core, core->makeQueue(state_), name + ".main"),
        name_(name) {}
  ~Process() override { kill(); }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  Queue& mainQueue() override { return mainQueue_; }
  std::unique_ptr<Queue> makeSerialQueue(std::string label, QualityOfService /*quality*/) override {
    return std::make_unique<VirtualQueue>(core_, core_->makeQueue(state_), std::move(label));
  }
  Clock& clock() override { return clock_; }
  void kill() override {
    if (state_->alive) core_->kill(state_);
  }
  void suspend() override { core_->setSuspended(state_, true); }
  void resume() override { core_->setSuspended(state_, false); }
  bool isAlive() const override { return state_->alive; }

 private:
  std::shared_ptr<Core> core_;
  std::shared_ptr<ProcessState> state_;
  VirtualClock clock_;
  VirtualQueue mainQueue_;
  std::string name_;
};

VirtualScheduler::VirtualScheduler(Date start)
    : core_(std::make_shared<Core>(start)), clock_(std::make_unique<VirtualClock>(core_)) {}

VirtualScheduler::~VirtualScheduler() = default;

std::shared_ptr<VirtualProcess> VirtualScheduler::makeProcess(const std::string& name) {
  return std::make_shared<Process>(core_, name);
}

Clock& VirtualScheduler::clock() { return *clock_; }

Seconds VirtualScheduler::elapsed() const { return Seconds{core_->now()}; }

void VirtualScheduler::runFor(Seconds duration) { core_->run(core_->now() + duration.count(), {}); }

bool VirtualScheduler::runUntil(const std::function<bool()>& done, Seconds limit) {
  return core_->run(core_->now() + limit.count(), done);
}

void VirtualScheduler::runPending() { core_->run(core_->now(), {}); }

void VirtualScheduler::at(Seconds elapsed, std::function<void()> event) {
  core_->postToTest(elapsed.count(), std::move(event));
}

void VirtualScheduler::stepWallClock(Seconds by) { core_->stepWallClock(by); }

}  // namespace halcyra::test
