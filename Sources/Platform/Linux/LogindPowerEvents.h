#pragma once

#include <memory>

#include "Platform/Dispatch.h"
#include "Platform/Linux/BusThread.h"
#include "Platform/Log.h"
#include "Platform/PowerEvents.h"

namespace halcyra {

/// Sleep and wake as logind announces them. A delay inhibitor makes the machine wait until the sleep has been allowed
/// (logind waits 5 s at most); it is taken again at every wake. Where there is no logind the log says so once, and it
/// is looked for again from time to time. Announcements of others are ignored, and what is announced is asked of logind
/// itself before it is passed on.
class LogindPowerEvents : public PowerEvents {
 public:
  /// `bus` and `mainQueue` must outlive this.
  LogindPowerEvents(BusThread& bus, Queue& mainQueue, LogSink& log);
  ~LogindPowerEvents() override;

  void observe(std::function<void(std::function<void()> allowSleep)> willSleep, std::function<void()> didWake) override;

 private:
  class State;
  BusThread& bus_;
  std::shared_ptr<State> state_;
};

}  // namespace halcyra
