#include "Helpers/SmartAutoRampDownState.h"

#include <algorithm>

namespace halcyra {

std::int64_t SmartAutoRampDownState::nextTarget(std::int64_t desired, std::int64_t commanded, Instant now,
                                                Seconds delay, std::int64_t maximumStep) {
  if (desired >= commanded) {
    coolingSince_.reset();
    return desired;
  }
  if (!coolingSince_) {
    coolingSince_ = now;
    return commanded;
  }
  if (now - *coolingSince_ < delay) {
    return commanded;
  }
  coolingSince_ = now;
  return std::max(commanded - maximumStep, desired);
}

}  // namespace halcyra
