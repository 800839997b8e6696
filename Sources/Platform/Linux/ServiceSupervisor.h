#pragma once

#include <memory>
#include <string>

#include "Platform/Dispatch.h"

namespace halcyra {

/// The service manager that started this process, if one did and wants to hear of it (`NOTIFY_SOCKET`); else every call
/// does nothing. When it watches the process (`WATCHDOG_USEC`), it is pinged from the given queue and from nowhere
/// else, so that a ping proves that the queue runs: once the queue hangs the pings stop, and the manager kills the
/// process.
class ServiceSupervisor {
 public:
  /// How many pings go into the manager's time limit.
  static constexpr int pingsPerLimit = 4;

  /// `queue` must outlive this.
  explicit ServiceSupervisor(Queue& queue) : queue_(queue) {}

  /// The service is up. The pings start.
  void ready(const std::string& status);
  /// The service is about to end.
  void stopping(const std::string& status);

 private:
  Queue& queue_;
  std::unique_ptr<Timer> pings_;
};

}  // namespace halcyra
