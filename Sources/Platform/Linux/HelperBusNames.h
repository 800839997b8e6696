#pragma once

namespace halcyra {

/// The helper's object; its bus name is its interface's.
inline constexpr const char* helperObjectPath = "/com/norwick/Halcyra/helper";

inline constexpr const char* busDriverName = "org.freedesktop.DBus";
inline constexpr const char* busDriverPath = "/org/freedesktop/DBus";
inline constexpr const char* limitsExceededName = "org.freedesktop.DBus.Error.LimitsExceeded";

}  // namespace halcyra
