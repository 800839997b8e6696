#include "Platform/Qt/QtMainQueue.h"

#include <QMetaObject>
#include <QPointer>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "Platform/Precondition.h"
#include "Platform/QueueParts.h"

namespace halcyra {

namespace {

/// Qt counts milliseconds in an int.
int milliseconds(Seconds seconds) {
  constexpr double longest = 2.0e9;
  return static_cast<int>(std::ceil(std::clamp(seconds.count() * 1000.0, 0.0, longest)));
}

/// One timer, on the main thread. Firings hold it, so that one may cancel itself.
class QtTimerState : public std::enable_shared_from_this<QtTimerState> {
 public:
  QtTimerState(Seconds first, Seconds period, Seconds leeway, std::function<void()> fire)
      : schedule_(std::chrono::steady_clock::now(), first, period), leeway_(leeway), fire_(std::move(fire)) {}

  void start(QObject* owner) {
    if (isCancelled_) return;
    timer_ = new QTimer(owner);
    timer_->setTimerType(leeway_.count() > 0 ? Qt::CoarseTimer : Qt::PreciseTimer);
    timer_->setSingleShot(true);
    QObject::connect(timer_, &QTimer::timeout, timer_, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->run();
    });
    arm();
  }

  void cancel() {
    isCancelled_ = true;
    if (timer_) timer_->deleteLater();
    timer_.clear();
  }

 private:
  void run() {
    if (isCancelled_) return;
    if (schedule_.repeats()) {
      schedule_.advance(std::chrono::steady_clock::now());
      arm();
    }
    fire_();
  }

  void arm() { timer_->start(milliseconds(schedule_.due() - std::chrono::steady_clock::now())); }

  TimerSchedule schedule_;
  Seconds leeway_;
  std::function<void()> fire_;
  QPointer<QTimer> timer_;
  bool isCancelled_ = false;
};

class QtTimerHandle : public Timer {
 public:
  QtTimerHandle(QtMainQueue& queue, const QThread* mainThread, std::shared_ptr<QtTimerState> state)
      : queue_(queue), mainThread_(mainThread), state_(std::move(state)) {}
  ~QtTimerHandle() override {
    if (mainThread_ == QThread::currentThread()) {
      state_->cancel();
    } else {
      queue_.async([state = state_] { state->cancel(); });
    }
  }

 private:
  QtMainQueue& queue_;
  const QThread* mainThread_;
  std::shared_ptr<QtTimerState> state_;
};

}  // namespace

QtMainQueue::QtMainQueue() : mainThread_(QThread::currentThread()), target_(std::make_unique<QObject>()) {}

QtMainQueue::~QtMainQueue() {
  close();
}

void QtMainQueue::close() {
  // Destroyed outside the lock: what the work owns may come back here.
  std::unique_ptr<QObject> target;
  {
    const std::lock_guard lock(mutex_);
    target = std::move(target_);
  }
}

void QtMainQueue::async(std::function<void()> work) {
  const std::lock_guard lock(mutex_);
  if (!target_) return;
  QMetaObject::invokeMethod(target_.get(), std::move(work), Qt::QueuedConnection);
}

void QtMainQueue::sync(const std::function<void()>& work) {
  precondition(mainThread_ != QThread::currentThread(), "a queue cannot wait for itself");
  runAndWait(*this, work);
}

std::unique_ptr<Timer> QtMainQueue::startTimer(Seconds first, Seconds period, Seconds leeway,
                                               std::function<void()> fire) {
  auto state = std::make_shared<QtTimerState>(first, period, leeway, std::move(fire));
  if (mainThread_ == QThread::currentThread()) {
    if (target_) state->start(target_.get());
  } else {
    // Only the main thread may look at the target, which is there for as long as its work runs.
    async([this, state] { state->start(target_.get()); });
  }
  return std::make_unique<QtTimerHandle>(*this, mainThread_, std::move(state));
}

}  // namespace halcyra
