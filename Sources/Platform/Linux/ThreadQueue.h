#pragma once

#include <memory>
#include <string>
#include <thread>

#include "Platform/Linux/LoopQueue.h"

namespace halcyra {

/// A serial queue with a thread of its own. Destruction waits for the work under way and drops the rest; a queue
/// destroyed by its own work ends when that work is done.
class ThreadQueue : public LoopQueue {
 public:
  ThreadQueue(std::string label, QualityOfService quality);
  ~ThreadQueue() override;

 private:
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
