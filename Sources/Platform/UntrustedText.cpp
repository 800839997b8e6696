#include "Platform/UntrustedText.h"

#include "fmt/format.h"

namespace halcyra {

std::string quotedText(std::string_view text) {
  constexpr std::size_t longest = 24;
  std::string shown = "\"";
  for (const char character : text.substr(0, longest)) {
    shown += character >= ' ' && character <= '~' ? character : '?';
  }
  return shown + (text.size() > longest ? "...\"" : "\"");
}

JSONTooDeep::JSONTooDeep()
    : std::runtime_error(fmt::format("The data is nested more than {} levels deep.", deepestJSON)) {}

nlohmann::json parseUntrustedJSON(std::string_view text) {
  return nlohmann::json::parse(text, [](int depth, nlohmann::json::parse_event_t, const nlohmann::json&) {
    return depth > deepestJSON ? throw JSONTooDeep() : true;
  });
}

}  // namespace halcyra
