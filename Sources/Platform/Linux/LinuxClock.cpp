#include "Platform/Linux/LinuxClock.h"

#include <thread>

namespace halcyra {

Date LinuxClock::now() const {
  return Date{std::chrono::system_clock::now().time_since_epoch()};
}

Instant LinuxClock::steadyNow() const {
  return Instant{std::chrono::steady_clock::now().time_since_epoch()};
}

void LinuxClock::sleep(Seconds duration) {
  if (duration > Seconds::zero()) {
    std::this_thread::sleep_for(duration);
  }
}

}  // namespace halcyra
