#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>

#include "Platform/Linux/BusThread.h"
#include "Platform/Linux/RuntimeLayout.h"
#include "Programs/VirtualMac/Reactor.h"

namespace halcyra {

/// The machine's sleep and wake, announced as logind does on the machine's own bus: delay inhibitors hold the sleep
/// up, for 5 seconds at most. Loop thread only.
class SleepManager {
 public:
  SleepManager(Reactor& reactor, const RuntimeLayout& layout);
  ~SleepManager();
  SleepManager(const SleepManager&) = delete;
  SleepManager& operator=(const SleepManager&) = delete;

  /// Takes the name on the bus, and again whenever the bus is back. `ready` is called when it has it for the first
  /// time.
  void start(std::function<void()> ready);

  /// Announces the sleep; `done` is called once the machine is asleep, with whether every inhibitor was given up in
  /// time. Throws `VirtualMacError` when it sleeps already.
  void sleep(std::function<void(bool allowed)> done);
  /// Throws `VirtualMacError` when it is awake.
  void wake();
  bool isAsleep() const { return phase_ == Phase::asleep; }

 private:
  enum class Phase { awake, fallingAsleep, asleep };
  class Service;

  void addInhibitor(int readEnd);
  void inhibitorClosed(int readEnd);
  void fallAsleep(bool allowed);

  Reactor& reactor_;
  Phase phase_ = Phase::awake;
  std::uint64_t sleeps_ = 0;
  /// Read ends of the pipes whose other ends are the delay inhibitors.
  std::set<int> inhibitors_;
  std::function<void(bool)> whenAsleep_;
  std::function<void()> whenReady_;
  std::unique_ptr<BusThread> bus_;
  std::shared_ptr<Service> service_;
};

}  // namespace halcyra
