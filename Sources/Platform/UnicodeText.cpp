#include "Platform/UnicodeText.h"

#include <cstddef>
#include <cstdint>

namespace halcyra {

namespace {

struct Character {
  char32_t value = 0;
  std::size_t length = 1;
  bool isValid = false;
};

/// The character at the start of `text`, which is not empty; one byte that is not valid when there is none.
Character firstCharacter(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  const std::uint8_t lead = byte(0);
  if (lead < 0x80) return {lead, 1, true};
  const std::size_t length = lead >= 0xC2 && lead <= 0xDF   ? 2
                             : (lead & 0xF0) == 0xE0        ? 3
                             : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                            : 0;
  if (length == 0 || text.size() < length) return {};
  char32_t value = lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return {};
    value = value << 6 | (byte(i) & 0x3FU);
  }
  const bool isOverlong = (length == 3 && value < 0x800) || (length == 4 && value < 0x10000);
  const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
  if (isOverlong || isSurrogate || value > 0x10FFFF) return {};
  return {value, length, true};
}

/// Separators of every kind, tab, and the control characters that end a line.
bool isWhiteSpaceOrNewline(char32_t value) {
  return (value >= 0x09 && value <= 0x0D) || value == 0x20 || value == 0x85 || value == 0xA0 || value == 0x1680 ||
         (value >= 0x2000 && value <= 0x200A) || value == 0x2028 || value == 0x2029 || value == 0x202F ||
         value == 0x205F || value == 0x3000;
}

}  // namespace

bool isValidUTF8(std::string_view text) {
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    if (!character.isValid) return false;
    text.remove_prefix(character.length);
  }
  return true;
}

bool isPortableText(std::string_view text) {
  return text.find('\0') == std::string_view::npos && isValidUTF8(text);
}

std::string_view trimmed(std::string_view text) {
  std::size_t begin = text.size();
  std::size_t end = 0;
  for (std::size_t i = 0; i < text.size();) {
    const Character character = firstCharacter(text.substr(i));
    if (!character.isValid || !isWhiteSpaceOrNewline(character.value)) {
      if (end == 0) begin = i;
      end = i + character.length;
    }
    i += character.length;
  }
  return end == 0 ? std::string_view() : text.substr(begin, end - begin);
}

}  // namespace halcyra
