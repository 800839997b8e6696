#include "Platform/Linux/ServiceSupervisor.h"

#include <cstdint>
#include <systemd/sd-daemon.h>

#include "fmt/format.h"

namespace halcyra {

namespace {

/// A manager that cannot be told finds out by itself: it kills what it does not hear of.
void notify(const std::string& state) {
  static_cast<void>(::sd_notify(0, state.c_str()));
}

}  // namespace

void ServiceSupervisor::ready(const std::string& status) {
  notify(fmt::format("READY=1\nSTATUS={}", status));
  std::uint64_t limit = 0;
  if (::sd_watchdog_enabled(0, &limit) > 0) {
    const Seconds period{static_cast<double>(limit) / 1e6 / pingsPerLimit};
    pings_ = queue_.startTimer(Seconds{0}, period, Seconds{0}, [] { notify("WATCHDOG=1"); });
  }
}

void ServiceSupervisor::stopping(const std::string& status) {
  notify(fmt::format("STOPPING=1\nSTATUS={}", status));
}

}  // namespace halcyra
