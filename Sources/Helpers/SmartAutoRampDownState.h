#pragma once

#include <cstdint>
#include <optional>

#include "Platform/Time.h"

namespace halcyra {

/// Lets one fan's Smart Auto target fall only in steps, each after a full delay. Main thread only.
class SmartAutoRampDownState {
 public:
  /// The target to command now. `desired` is what Smart Auto asks for in this poll, `commanded` what the fan was last
  /// sent, `maximumStep` in RPM (at least 1). Rises and holds take effect at once and end the cooling period.
  std::int64_t nextTarget(std::int64_t desired, std::int64_t commanded, Instant now, Seconds delay,
                          std::int64_t maximumStep);

  /// When the waiting period of the current downward step began.
  std::optional<Instant> coolingSince() const { return coolingSince_; }

 private:
  std::optional<Instant> coolingSince_;
};

}  // namespace halcyra
