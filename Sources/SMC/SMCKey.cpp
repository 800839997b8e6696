#include "SMC/SMCKey.h"

namespace halcyra {

std::string stringFromCode(std::uint32_t code) {
  std::string text(4, '\0');
  for (int position = 0; position < 4; ++position) {
    const auto byte = static_cast<std::uint8_t>(code >> (24 - 8 * position));
    if (byte > 0x7F) {
      return "????";
    }
    text[static_cast<std::size_t>(position)] = static_cast<char>(byte);
  }
  return text;
}

std::string trimmedTypeName(std::uint32_t typeCode) {
  constexpr std::string_view whiteSpace = " \t\n\v\f\r";
  const std::string text = stringFromCode(typeCode);
  const std::size_t first = text.find_first_not_of(whiteSpace);
  if (first == std::string::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(whiteSpace) - first + 1);
}

}  // namespace halcyra
