#pragma once

#include <memory>
#include <string>

#include "Platform/Dispatch.h"
#include "Platform/Linux/TaskLoop.h"

namespace halcyra {

/// A serial queue over a loop, which the derived class runs and closes.
class LoopQueue : public Queue {
 public:
  LoopQueue(const LoopQueue&) = delete;
  LoopQueue& operator=(const LoopQueue&) = delete;

  const std::string& label() const override { return label_; }
  void async(std::function<void()> work) override;
  /// Throws `std::runtime_error` when the queue ends before the work has begun.
  void sync(const std::function<void()>& work) override;
  std::unique_ptr<Timer> startTimer(Seconds first, Seconds period, Seconds leeway, std::function<void()> fire) override;

 protected:
  explicit LoopQueue(std::string label);

  /// Shared with the thread that runs it, which may outlive the queue.
  const std::shared_ptr<TaskLoop> loop_;

 private:
  const std::string label_;
};

}  // namespace halcyra
