#include "SMC/SMCInterface.h"

#include <cmath>

namespace halcyra {

namespace {

template <typename Matches>
bool pollUntil(SMCInterface& smc, SMCKey key, Seconds timeout, Matches matches) {
  Clock& clock = smc.clock();
  const Instant deadline = clock.steadyNow() + timeout;
  while (clock.steadyNow() < deadline) {
    try {
      if (matches(smc.readKey(key))) {
        return true;
      }
    } catch (const SMCError&) {
      // A key that cannot be read has not latched yet.
    }
    clock.sleep(SMCInterface::pollingPeriod);
  }
  return false;
}

}  // namespace

bool SMCInterface::waitForFloat(SMCKey key, float expected, float tolerance, Seconds timeout) {
  return pollUntil(*this, key, timeout, [expected, tolerance](const SMCValue& value) {
    const float* actual = value.asFloat();
    return actual != nullptr && std::fabs(*actual - expected) <= tolerance;
  });
}

bool SMCInterface::waitForUInt8(SMCKey key, std::uint8_t expected, Seconds timeout) {
  return pollUntil(*this, key, timeout, [expected](const SMCValue& value) {
    const std::uint8_t* actual = value.asUInt8();
    return actual != nullptr && *actual == expected;
  });
}

}  // namespace halcyra
