#pragma once

#include <QObject>
#include <memory>
#include <string>

#include "Platform/Dispatch.h"

namespace halcyra {

/// The main queue over Qt's event loop. To be made on the main thread, after the application object; work and timers
/// run only while that loop runs, and are dropped with the queue.
class QtMainQueue : public Queue {
 public:
  QtMainQueue();
  ~QtMainQueue() override;
  QtMainQueue(const QtMainQueue&) = delete;
  QtMainQueue& operator=(const QtMainQueue&) = delete;

  const std::string& label() const override { return label_; }
  void async(std::function<void()> work) override;
  /// Throws `std::runtime_error` when the queue ends before the work has begun.
  void sync(const std::function<void()>& work) override;
  std::unique_ptr<Timer> startTimer(Seconds first, Seconds period, Seconds leeway, std::function<void()> fire) override;

 private:
  std::string label_ = "main";
  /// Receives the work as events; what is queued for it goes with it.
  std::unique_ptr<QObject> target_;
};

}  // namespace halcyra
