#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Helpers/FanPreset.h"

/// The words that the commands of a script are made of. Those that throw, throw `std::invalid_argument`.
namespace halcyra::test {

/// A process of another fan utility.
inline constexpr std::int32_t competitorProcess = 9001;
inline constexpr const char* competitorPath = "/Library/PrivilegedHelperTools/com.tunabellysoftware.tgfanhelper";

std::vector<std::string> wordsIn(const std::string& text);
/// What stands between separators, without the blanks around it; empty pieces are left out.
std::vector<std::string> piecesIn(const std::string& text, char separator);
/// `rpm` is what an edit has made of a preset of the user's own.
FanPreset presetNamed(const std::string& name, std::int64_t rpm = 3500);

}  // namespace halcyra::test
