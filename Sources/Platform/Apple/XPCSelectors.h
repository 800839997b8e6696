#pragma once

#include <string_view>

/// The names of the helper's messages, as they travel. The arguments are those of `FanControlHelperProtocol`, in order,
/// without the reply.
namespace halcyra::XPCSelectors {

inline constexpr std::string_view status = "statusWithReply:";
inline constexpr std::string_view beginSession = "beginSession:reply:";
inline constexpr std::string_view heartbeat = "heartbeat:reply:";
inline constexpr std::string_view setFanMode = "setFanMode:manual:sessionID:reply:";
inline constexpr std::string_view setFanTargetRPM = "setFanTargetRPM:rpm:sessionID:reply:";
inline constexpr std::string_view resetAll = "resetAll:reply:";
inline constexpr std::string_view endSession = "endSession:reply:";
inline constexpr std::string_view prepareForUninstall = "prepareForUninstallWithReply:";

}  // namespace halcyra::XPCSelectors
