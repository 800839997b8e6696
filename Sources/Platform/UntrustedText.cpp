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

std::string onOneLine(std::string_view text) {
  std::string line(text);
  unsigned char before = 0;
  for (char& character : line) {
    const auto byte = static_cast<unsigned char>(character);
    // U+0080 to U+009F are two bytes, the first of which is 0xC2.
    const bool isSecondary = before == 0xC2 && byte >= 0x80 && byte <= 0x9F;
    if (isSecondary) *(&character - 1) = ' ';
    if (isSecondary || byte < 0x20 || byte == 0x7F) character = ' ';
    before = byte;
  }
  return line;
}

JSONTooDeep::JSONTooDeep()
    : std::runtime_error(fmt::format("The data is nested more than {} levels deep.", deepestJSON)) {}

nlohmann::json parseUntrustedJSON(std::string_view text) {
  return nlohmann::json::parse(text, [](int depth, nlohmann::json::parse_event_t, const nlohmann::json&) {
    return depth > deepestJSON ? throw JSONTooDeep() : true;
  });
}

}  // namespace halcyra
