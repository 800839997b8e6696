#pragma once

#include <string>

namespace halcyra {

/// "Left Fan (F0)", "Right Fan (F1)", "Fan 3 (F2)".
std::string fanLabel(int fan);
/// "Left Fan", "Right Fan", "Fan 3".
std::string shortFanLabel(int fan);
/// "Left zone", "Right zone", "Fan 3 zone".
std::string zoneLabel(int fan);

}  // namespace halcyra
