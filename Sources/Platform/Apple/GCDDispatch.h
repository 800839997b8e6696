#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "Platform/Dispatch.h"

namespace halcyra {

/// A serial queue of Grand Central Dispatch. Destruction waits for the work under way and drops the rest; a queue
/// destroyed by its own work ends when that work is done.
class GCDQueue : public Queue {
 public:
  GCDQueue(std::string label, QualityOfService quality);
  ~GCDQueue() override;
  GCDQueue(const GCDQueue&) = delete;
  GCDQueue& operator=(const GCDQueue&) = delete;

  const std::string& label() const override;
  void async(std::function<void()> work) override;
  /// Throws `std::runtime_error` when the queue ends before the work has begun.
  void sync(const std::function<void()>& work) override;
  std::unique_ptr<Timer> startTimer(Seconds first, Seconds period, Seconds leeway, std::function<void()> fire) override;

  struct State;

 protected:
  explicit GCDQueue(std::shared_ptr<State> state);

  /// Shared with the work that Grand Central Dispatch holds, which may outlive the queue.
  const std::shared_ptr<State> state_;
};

/// The main queue of a program without an event loop of its own: `run` in the main thread is the loop. One per process.
class GCDMainQueue : public GCDQueue {
 public:
  GCDMainQueue();
  ~GCDMainQueue() override;

  /// Runs work and timers until `stop`; may be called again afterwards. Main thread only.
  void run();
  /// Ends `run` after the work under way. From any thread; a stop before `run` makes it return at once.
  void stop();
  /// Drops all work and timers, and whatever is handed in later. While no `run` is under way.
  void close();

 private:
  std::atomic<bool> isStopped_{false};
};

/// The queues of a process around a given main queue, which must outlive it.
class GCDDispatch : public Dispatch {
 public:
  explicit GCDDispatch(Queue& main) : main_(main) {}
  Queue& mainQueue() override { return main_; }
  std::unique_ptr<Queue> makeSerialQueue(std::string label, QualityOfService quality) override;

 private:
  Queue& main_;
};

}  // namespace halcyra
