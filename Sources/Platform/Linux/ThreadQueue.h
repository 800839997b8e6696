#pragma once

#include <memory>
#include <string>
#include <thread>

#include "Platform/Dispatch.h"
#include "Platform/Linux/TaskLoop.h"

namespace halcyra {

/// A serial queue with a thread of its own. Destruction waits for the work under way and drops the rest; a queue
/// destroyed by its own work ends when that work is done.
class ThreadQueue : public Queue {
 public:
  ThreadQueue(std::string label, QualityOfService quality);
  ~ThreadQueue() override;
  ThreadQueue(const ThreadQueue&) = delete;
  ThreadQueue& operator=(const ThreadQueue&) = delete;

  const std::string& label() const override { return label_; }
  void async(std::function<void()> work) override;
  void sync(const std::function<void()>& work) override;
  std::unique_ptr<Timer> startTimer(Seconds first, Seconds period, Seconds leeway, std::function<void()> fire) override;

 private:
  std::string label_;
  std::shared_ptr<TaskLoop> loop_;
  std::thread thread_;
};

/// The queues of a Linux process around a given main queue, which must outlive it.
class LinuxDispatch : public Dispatch {
 public:
  explicit LinuxDispatch(Queue& main) : main_(main) {}
  Queue& mainQueue() override { return main_; }
  std::unique_ptr<Queue> makeSerialQueue(std::string label, QualityOfService quality) override {
    return std::make_unique<ThreadQueue>(std::move(label), quality);
  }

 private:
  Queue& main_;
};

}  // namespace halcyra
