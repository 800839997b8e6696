#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "Platform/Dispatch.h"

namespace halcyra {

/// Turns process signals into work on a queue. At most one at a time in a process; destruction puts the earlier
/// signal actions back. To be made before the signals can come (first thing in `main`).
class SignalWatcher {
 public:
  /// `handler` is called on `queue`, which must outlive the watcher, with the number of each signal of `numbers` that
  /// comes (SIGINT, SIGTERM, …); signals of one number that come close together may be reported once.
  SignalWatcher(Queue& queue, const std::vector<int>& numbers, std::function<void(int signal)> handler);
  ~SignalWatcher();
  SignalWatcher(const SignalWatcher&) = delete;
  SignalWatcher& operator=(const SignalWatcher&) = delete;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace halcyra
