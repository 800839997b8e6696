#pragma once

#include <cstdint>
#include <string_view>

#include "Platform/Time.h"

/// What application and helper must agree on.
namespace halcyra::FanControlXPC {

inline constexpr std::string_view machServiceName = "com.norwick.Halcyra.helper";
inline constexpr std::string_view daemonPlistName = "com.norwick.Halcyra.helper.plist";
inline constexpr std::string_view clientBundleIdentifier = "com.norwick.Halcyra";
inline constexpr std::int64_t protocolVersion = 1;
/// Period of the client's heartbeat.
inline constexpr Seconds heartbeatSeconds{4.0};
/// A session without a heartbeat for this long is ended by the helper.
inline constexpr Seconds watchdogSeconds{12.0};
static_assert(watchdogSeconds == 3 * heartbeatSeconds);

}  // namespace halcyra::FanControlXPC
