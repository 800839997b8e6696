#include "Platform/Apple/GCDDispatch.h"

#include <CoreFoundation/CoreFoundation.h>
#include <algorithm>
#include <deque>
#include <dispatch/dispatch.h>
#include <mutex>
#include <pthread.h>
#include <utility>

#include "Platform/Precondition.h"
#include "Platform/QueueParts.h"

namespace halcyra {

/// Grand Central Dispatch is given one call for each piece of work and knows nothing of it, so that work can be
/// dropped.
struct GCDQueue::State {
  State(dispatch_queue_t serialQueue, std::string queueLabel) : queue(serialQueue), label(std::move(queueLabel)) {
    dispatch_queue_set_specific(queue, this, this, nullptr);
  }
  ~State() {
    dispatch_queue_set_specific(queue, this, nullptr, nullptr);
    dispatch_release(queue);
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  bool isCurrent() const { return dispatch_get_specific(this) != nullptr; }

  /// Drops what has not begun, outside the lock: what the work owns may come back here.
  void close() {
    std::deque<std::function<void()>> dropped;
    {
      const std::lock_guard lock(mutex);
      isClosed = true;
      dropped.swap(work);
    }
  }

  const dispatch_queue_t queue;
  const std::string label;
  std::mutex mutex;
  std::deque<std::function<void()>> work;
  std::atomic<bool> isClosed{false};
};

namespace {

using QueueState = GCDQueue::State;

/// What a call of Grand Central Dispatch is given: one share of the state, which it gives up.
template <typename State>
void* share(std::shared_ptr<State> state) {
  return new std::shared_ptr<State>(std::move(state));
}

template <typename State>
std::unique_ptr<std::shared_ptr<State>> takeShare(void* context) {
  return std::unique_ptr<std::shared_ptr<State>>(static_cast<std::shared_ptr<State>*>(context));
}

/// Work that throws ends the program here.
void runNext(void* context) noexcept {
  const auto state = takeShare<QueueState>(context);
  std::function<void()> work;
  {
    const std::lock_guard lock((*state)->mutex);
    if ((*state)->work.empty()) return;
    work = std::move((*state)->work.front());
    (*state)->work.pop_front();
  }
  work();
}

dispatch_queue_t makeQueue(const std::string& label, QualityOfService quality) {
  const qos_class_t qos = quality == QualityOfService::utility ? QOS_CLASS_UTILITY : QOS_CLASS_DEFAULT;
  return dispatch_queue_create(label.c_str(), dispatch_queue_attr_make_with_qos_class(DISPATCH_QUEUE_SERIAL, qos, 0));
}

dispatch_queue_t retainedMainQueue() {
  const dispatch_queue_t queue = dispatch_get_main_queue();
  dispatch_retain(queue);
  return queue;
}

/// Spans beyond ten years count as ten years.
std::uint64_t nanoseconds(Seconds seconds) {
  constexpr double tenYears = 3.2e8;
  return static_cast<std::uint64_t>((seconds.count() > 0 ? std::min(seconds.count(), tenYears) : 0.0) * 1e9);
}

struct TimerState {
  std::shared_ptr<QueueState> queue;
  std::function<void()> fire;
  std::atomic<bool> isCancelled{false};
};

void fireTimer(void* context) noexcept {
  const std::shared_ptr<TimerState> state = *static_cast<std::shared_ptr<TimerState>*>(context);
  if (!state->isCancelled && !state->queue->isClosed) state->fire();
}

void endTimer(void* context) {
  takeShare<TimerState>(context);
}

class GCDTimer : public Timer {
 public:
  GCDTimer(std::shared_ptr<QueueState> queue, Seconds first, Seconds period, Seconds leeway, std::function<void()> fire)
      : state_(std::make_shared<TimerState>()),
        source_(dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, queue->queue)) {
    precondition(source_ != nullptr, "no timer could be made");
    state_->queue = std::move(queue);
    state_->fire = std::move(fire);
    dispatch_set_context(source_, share(state_));
    dispatch_set_finalizer_f(source_, endTimer);
    dispatch_source_set_event_handler_f(source_, fireTimer);
    const std::uint64_t interval =
        period.count() > 0 ? std::max<std::uint64_t>(nanoseconds(period), 1) : std::uint64_t{DISPATCH_TIME_FOREVER};
    dispatch_source_set_timer(source_, dispatch_time(DISPATCH_TIME_NOW, static_cast<std::int64_t>(nanoseconds(first))),
                              interval, nanoseconds(leeway));
    dispatch_resume(source_);
  }
  ~GCDTimer() override {
    state_->isCancelled = true;
    dispatch_source_cancel(source_);
    dispatch_release(source_);
  }
  GCDTimer(const GCDTimer&) = delete;
  GCDTimer& operator=(const GCDTimer&) = delete;

 private:
  const std::shared_ptr<TimerState> state_;
  const dispatch_source_t source_;
};

void stopMainRunLoop(void*) {
  CFRunLoopStop(CFRunLoopGetMain());
}

}  // namespace

GCDQueue::GCDQueue(std::string label, QualityOfService quality)
    : state_(std::make_shared<State>(makeQueue(label, quality), label)) {}

GCDQueue::GCDQueue(std::shared_ptr<State> state) : state_(std::move(state)) {}

GCDQueue::~GCDQueue() {
  state_->close();
  const bool isMain = state_->queue == dispatch_get_main_queue();
  if (!isMain && !state_->isCurrent()) {
    dispatch_sync_f(state_->queue, nullptr, [](void*) {});
  }
}

const std::string& GCDQueue::label() const {
  return state_->label;
}

void GCDQueue::async(std::function<void()> work) {
  {
    const std::lock_guard lock(state_->mutex);
    if (state_->isClosed) return;
    state_->work.push_back(std::move(work));
  }
  dispatch_async_f(state_->queue, share(state_), runNext);
}

void GCDQueue::sync(const std::function<void()>& work) {
  precondition(!state_->isCurrent(), "a queue cannot wait for itself");
  runAndWait(*this, work);
}

std::unique_ptr<Timer> GCDQueue::startTimer(Seconds first, Seconds period, Seconds leeway, std::function<void()> fire) {
  return std::make_unique<GCDTimer>(state_, first, period, leeway, std::move(fire));
}

GCDMainQueue::GCDMainQueue() : GCDQueue(std::make_shared<State>(retainedMainQueue(), "main")) {}

GCDMainQueue::~GCDMainQueue() {
  close();
}

void GCDMainQueue::run() {
  precondition(pthread_main_np() != 0, "the main queue runs in the main thread");
  // The run loop serves the main queue; it may end on its own when something else stops it.
  while (!isStopped_.exchange(false)) CFRunLoopRun();
}

void GCDMainQueue::stop() {
  isStopped_ = true;
  // A stop from another thread would be lost on a run loop that is about to begin; work on its queue is not.
  dispatch_async_f(state_->queue, nullptr, stopMainRunLoop);
}

void GCDMainQueue::close() {
  state_->close();
}

std::unique_ptr<Queue> GCDDispatch::makeSerialQueue(std::string label, QualityOfService quality) {
  return std::make_unique<GCDQueue>(std::move(label), quality);
}

}  // namespace halcyra
