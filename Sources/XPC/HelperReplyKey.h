#pragma once

#include <string_view>

/// Keys of the helper's reply dictionaries.
namespace halcyra::HelperReplyKey {

inline constexpr std::string_view protocolVersion = "protocolVersion";
inline constexpr std::string_view fanCount = "fanCount";
inline constexpr std::string_view fanTestMode = "fanTestMode";
inline constexpr std::string_view fans = "fans";

inline constexpr std::string_view fanIndex = "index";
inline constexpr std::string_view fanMode = "mode";
inline constexpr std::string_view fanActual = "actual";
inline constexpr std::string_view fanMinimum = "minimum";
inline constexpr std::string_view fanMaximum = "maximum";
inline constexpr std::string_view fanTarget = "target";
inline constexpr std::string_view fanControllable = "controllable";

inline constexpr std::string_view fan0Mode = "fan0Mode";
inline constexpr std::string_view fan1Mode = "fan1Mode";
inline constexpr std::string_view fan0Actual = "fan0Actual";
inline constexpr std::string_view fan1Actual = "fan1Actual";
inline constexpr std::string_view fan0Minimum = "fan0Minimum";
inline constexpr std::string_view fan1Minimum = "fan1Minimum";
inline constexpr std::string_view fan0Maximum = "fan0Maximum";
inline constexpr std::string_view fan1Maximum = "fan1Maximum";
inline constexpr std::string_view fan0Target = "fan0Target";
inline constexpr std::string_view fan1Target = "fan1Target";

}  // namespace halcyra::HelperReplyKey
