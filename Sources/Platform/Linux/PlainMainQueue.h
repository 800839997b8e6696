#pragma once

#include "Platform/Linux/LoopQueue.h"

namespace halcyra {

/// The main queue of a program without an event loop of its own: `run` in the main thread is the loop.
class PlainMainQueue : public LoopQueue {
 public:
  PlainMainQueue() : LoopQueue("main") {}
  ~PlainMainQueue() override { close(); }

  /// Runs work and timers on the calling thread until `stop`; may be called again afterwards.
  void run() { loop_->run(); }
  /// Ends `run` after the work under way. From any thread; a stop before `run` makes it return at once.
  void stop() { loop_->stop(); }
  /// Drops all work and timers, and whatever is handed in later. While no `run` is under way.
  void close() { loop_->close(); }
};

}  // namespace halcyra
