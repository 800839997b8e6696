#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Platform/Time.h"

namespace halcyra {

/// A one-shot or repeating timer. Destroying it cancels it. Destroyed on the queue that it fires on, no firing starts
/// afterwards; destroyed elsewhere, a firing that is under way may still finish.
class Timer {
 public:
  virtual ~Timer() = default;
};

/// A serial queue: runs one piece of work at a time, in the order in which it was handed in.
class Queue {
 public:
  virtual ~Queue() = default;

  virtual const std::string& label() const = 0;

  /// Runs `work` on the queue later; returns at once. From any thread. Work that throws ends the program.
  virtual void async(std::function<void()> work) = 0;

  /// Runs `work` on the queue and waits for it; what it throws is thrown here. Not from the queue itself.
  virtual void sync(const std::function<void()>& work) = 0;

  /// Calls `fire` on the queue, first after `first`, then every `period` (zero: once only). `leeway` is how late a
  /// firing may be to save wake-ups. A firing that finds the queue busy is late, and firings missed meanwhile are not
  /// made up for.
  virtual std::unique_ptr<Timer> startTimer(Seconds first, Seconds period, Seconds leeway,
                                            std::function<void()> fire) = 0;
};

enum class QualityOfService { standard, utility };

/// The queues of one process.
class Dispatch {
 public:
  virtual ~Dispatch() = default;

  /// The queue of the process's main thread: all model state lives on it.
  virtual Queue& mainQueue() = 0;

  /// A queue with a thread of its own. Destroying it waits for the work that is running and drops what has not begun.
  virtual std::unique_ptr<Queue> makeSerialQueue(std::string label, QualityOfService quality) = 0;
};

}  // namespace halcyra
