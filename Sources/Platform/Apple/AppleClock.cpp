#include "Platform/Apple/AppleClock.h"

#include <mach/mach_time.h>
#include <thread>

namespace halcyra {

Date AppleClock::now() const {
  return Date{std::chrono::system_clock::now().time_since_epoch()};
}

Instant AppleClock::steadyNow() const {
  static const double secondsPerTick = [] {
    mach_timebase_info_data_t base{};
    mach_timebase_info(&base);
    return static_cast<double>(base.numer) / static_cast<double>(base.denom) * 1e-9;
  }();
  return Instant{Seconds{static_cast<double>(mach_continuous_time()) * secondsPerTick}};
}

void AppleClock::sleep(Seconds duration) {
  if (duration > Seconds::zero()) {
    std::this_thread::sleep_for(duration);
  }
}

}  // namespace halcyra
