#pragma once

#include <cstdint>
#include <optional>

#include "Platform/FanControlHelper.h"

namespace halcyra {

/// Who may use the helper: the superuser, and the user that it was registered for. The user id is the one that the
/// operating system vouches for, never one that the message claims.
struct CallerPolicy {
  /// Absent: nobody but the superuser.
  std::optional<std::uint32_t> registeredUserID;

  bool allows(const FanControlHelperCaller& caller) const {
    return caller.userID == 0 || (registeredUserID && caller.userID == *registeredUserID);
  }
};

}  // namespace halcyra
