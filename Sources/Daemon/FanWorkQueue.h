#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "Platform/Dispatch.h"
#include "Platform/Time.h"

namespace halcyra {

/// Counts the hand-backs that were asked for. Work that was asked for in an earlier epoch than the current one must
/// write nothing any more. Knows until when the session counts as alive, too: a process that was stopped goes on in the
/// middle of a write, before its watchdog gets to fire. Safe to use from any thread.
class HandBackEpoch {
 public:
  std::uint64_t current() const { return value_.load(); }
  void advance() { value_.fetch_add(1); }

  /// Before the first session: never.
  Instant sessionDeadline() const { return sessionDeadline_.load(); }
  void setSessionDeadline(Instant deadline) { sessionDeadline_.store(deadline); }

 private:
  std::atomic<std::uint64_t> value_{0};
  std::atomic<Instant> sessionDeadline_{Instant::min()};
};

/// The serial queue of everything that touches the SMC. A hand-back runs next, before all work that has not begun, and
/// opens a new epoch, by which the work that is running notices that it has to stop.
class FanWorkQueue {
 public:
  explicit FanWorkQueue(std::unique_ptr<Queue> queue);
  /// Lets the work that is running stop at its next step, waits for it, and drops what has not begun.
  ~FanWorkQueue();
  FanWorkQueue(const FanWorkQueue&) = delete;
  FanWorkQueue& operator=(const FanWorkQueue&) = delete;

  const HandBackEpoch& epoch() const { return epoch_; }
  /// No fan is driven for the session at or after `deadline`.
  void setSessionDeadline(Instant deadline) { epoch_.setSessionDeadline(deadline); }

  /// Runs `work` after everything asked for so far. From any thread.
  void async(std::function<void()> work);
  /// Runs `handBack` after the hand-backs asked for so far and before all else. From any thread.
  void asyncHandBack(std::function<void()> handBack);

 private:
  void runNext();

  HandBackEpoch epoch_;
  std::mutex mutex_;
  std::deque<std::function<void()>> handBacks_;
  std::deque<std::function<void()>> work_;
  /// Last, so that it stops before anything that its work uses is gone.
  std::unique_ptr<Queue> queue_;
};

}  // namespace halcyra
