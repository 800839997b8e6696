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

JSONTooLarge::JSONTooLarge(const std::string& what) : std::runtime_error(fmt::format("The data {}.", what)) {}

namespace {

/// Counts brackets and commas outside of strings, so that what is not JSON may be refused for its size, too. The
/// parser's own callback would know better, but with one it looks at everything that a list holds whenever an element
/// ends.
void requireHandy(std::string_view text) {
  int depth = 0;
  std::size_t values = 1;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char character = text[i];
    if (character == '"') {
      inString = !inString;
    } else if (inString) {
      i += character == '\\' ? 1 : 0;
    } else if (character == '[' || character == '{') {
      if (++depth > deepestJSON) throw JSONTooLarge(fmt::format("is nested more than {} levels deep", deepestJSON));
      ++values;
    } else if (character == ',') {
      ++values;
    } else if (character == ']' || character == '}') {
      --depth;
    }
    if (values > mostJSONValues) throw JSONTooLarge(fmt::format("holds more than {} values", mostJSONValues));
  }
}

}  // namespace

nlohmann::json parseUntrustedJSON(std::string_view text) {
  requireHandy(text);
  return nlohmann::json::parse(text);
}

}  // namespace halcyra
