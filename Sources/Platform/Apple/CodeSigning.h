#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace halcyra {

/// What a program of this one's own signing team must fulfil, in the language of code-signing requirements; nothing
/// when `team` is empty: a build without a signature, which checks nobody.
inline std::optional<std::string> teamRequirement(std::string_view team) {
  if (team.empty()) return std::nullopt;
  return "anchor apple generic and certificate leaf[subject.OU] = \"" + std::string(team) + "\"";
}

/// The signing team that this program was built for (`AEROVANE_SIGNING_TEAM`); empty in a build without a signature.
std::string_view signingTeam();

}  // namespace halcyra
