#pragma once

#include <QObject>
#include <memory>
#include <mutex>
#include <string>

#include "Platform/Dispatch.h"

class QThread;

namespace halcyra {

/// The main queue over Qt's event loop. To be made on the main thread, after the application object; work and timers
/// run only while that loop runs, and are dropped with the queue.
class QtMainQueue : public Queue {
 public:
  QtMainQueue();
  ~QtMainQueue() override;
  QtMainQueue(const QtMainQueue&) = delete;
  QtMainQueue& operator=(const QtMainQueue&) = delete;

  /// Drops all work and timers, and whatever is handed in later. On the main thread.
  void close();

  const std::string& label() const override { return label_; }
  void async(std::function<void()> work) override;
  /// Throws `std::runtime_error` when the queue ends before the work has begun.
  void sync(const std::function<void()>& work) override;
  std::unique_ptr<Timer> startTimer(Seconds first, Seconds period, Seconds leeway, std::function<void()> fire) override;

 private:
  std::string label_ = "main";
  QThread* const mainThread_;
  /// Guards the target's end against work from other threads.
  std::mutex mutex_;
  /// Receives the work as events; what is queued for it goes with it. Null once closed.
  std::unique_ptr<QObject> target_;
};

}  // namespace halcyra
