#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <poll.h>
#include <vector>

#include "Platform/Time.h"

namespace halcyra {

/// The program's one event loop: file descriptors, timers, signals, and work handed in by other threads. All handlers
/// run in the thread that calls `run`; everything but `post` and `stop` is for that thread only. One per process.
class Reactor {
 public:
  Reactor();
  ~Reactor();
  Reactor(const Reactor&) = delete;
  Reactor& operator=(const Reactor&) = delete;

  /// Calls `ready` whenever one of `events` (as for poll) or an error is there, until `unwatch`. Replaces an earlier
  /// watch of the same descriptor.
  void watch(int descriptor, short events, std::function<void(short events)> ready);
  void unwatch(int descriptor);

  void after(Seconds delay, std::function<void()> work);
  /// From any thread.
  void post(std::function<void()> work);
  /// Calls `handler` when the signal has come. SIGCHLD comes once for any number of children.
  void onSignal(int signal, std::function<void()> handler);

  void run();
  /// From any thread.
  void stop();

 private:
  using Time = std::chrono::steady_clock::time_point;
  struct Watch {
    short events = 0;
    std::uint64_t serial = 0;
    std::shared_ptr<std::function<void(short)>> ready;
  };

  void runReadyWork();
  void pollOnce();
  int timeout();
  void readSignals();
  void wake() const;

  int signalReadEnd_ = -1;
  int wakeUp_ = -1;
  std::map<int, Watch> watches_;
  std::uint64_t lastSerial_ = 0;
  /// What one round waits for; kept for their room.
  std::vector<pollfd> descriptors_;
  std::vector<std::uint64_t> serials_;
  std::multimap<Time, std::function<void()>> timers_;
  std::map<int, std::function<void()>> signalHandlers_;

  std::mutex mutex_;
  std::deque<std::function<void()>> posted_;
  bool stopping_ = false;
};

}  // namespace halcyra
