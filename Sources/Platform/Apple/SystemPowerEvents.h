#pragma once

#include <memory>

#include "Platform/Dispatch.h"
#include "Platform/Log.h"
#include "Platform/PowerEvents.h"

namespace halcyra {

/// Sleep and wake as the kernel announces them. The kernel waits about thirty seconds for the answer to a sleep that it
/// has decided on, and goes to sleep without it; a sleep that it only asks about is never refused.
class SystemPowerEvents : public PowerEvents {
 public:
  /// `main` and `log` must outlive this.
  SystemPowerEvents(Queue& main, LogSink& log);
  ~SystemPowerEvents() override;
  SystemPowerEvents(const SystemPowerEvents&) = delete;
  SystemPowerEvents& operator=(const SystemPowerEvents&) = delete;

  void observe(std::function<void(std::function<void()> allowSleep)> willSleep, std::function<void()> didWake) override;

 private:
  class State;
  std::shared_ptr<State> state_;
};

}  // namespace halcyra
