#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "FuzzTargets.h"
#include "Platform/PropertyList.h"
#include "Platform/UntrustedText.h"

namespace halcyra::fuzz {

inline std::string textOf(Bytes input) {
  return {input.begin(), input.end()};
}

/// The text between line feeds; a text that does not end in one has a last line without it.
inline std::vector<std::string_view> linesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const auto end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

/// Removes and returns what comes before the next blank.
inline std::string_view takeWord(std::string_view& line) {
  const auto end = std::min(line.find(' '), line.size());
  const std::string_view word = line.substr(0, end);
  line.remove_prefix(std::min(end + 1, line.size()));
  return word;
}

/// What a message could hold: the connection bounds the depth itself.
inline std::optional<PropertyList> propertyListOf(std::string_view text) {
  try {
    return parseUntrustedJSON(text);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace halcyra::fuzz
