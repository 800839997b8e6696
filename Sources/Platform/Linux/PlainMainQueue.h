#pragma once

#include <memory>

#include "Platform/Dispatch.h"
#include "Platform/Linux/TaskLoop.h"

namespace halcyra {

/// The main queue of a program without an event loop of its own: `run` in the main thread is the loop.
class PlainMainQueue : public Queue {
 public:
  PlainMainQueue();
  ~PlainMainQueue() override;
  PlainMainQueue(const PlainMainQueue&) = delete;
  PlainMainQueue& operator=(const PlainMainQueue&) = delete;

  /// Runs work and timers on the calling thread until `stop`; may be called again afterwards.
  void run();
  /// Ends `run` after the work under way. From any thread; a stop before `run` makes it return at once.
  void stop();

  /// Drops all work and timers, and whatever is handed in later. While no `run` is under way.
  void close();

  const std::string& label() const override { return label_; }
  void async(std::function<void()> work) override;
  void sync(const std::function<void()>& work) override;
  std::unique_ptr<Timer> startTimer(Seconds first, Seconds period, Seconds leeway, std::function<void()> fire) override;

 private:
  std::string label_ = "main";
  std::shared_ptr<TaskLoop> loop_;
};

}  // namespace halcyra
