#include "Platform/UUID.h"

#include <cstddef>
#include <random>

#include "fmt/format.h"

namespace halcyra {

namespace {

constexpr std::size_t textLength = 36;

constexpr bool isDashPosition(std::size_t position) {
  return position == 8 || position == 13 || position == 18 || position == 23;
}

int hexValue(char character) {
  if (character >= '0' && character <= '9') return character - '0';
  if (character >= 'a' && character <= 'f') return character - 'a' + 10;
  if (character >= 'A' && character <= 'F') return character - 'A' + 10;
  return -1;
}

}  // namespace

UUID UUID::random() {
  std::random_device device;
  UUID result;
  for (std::size_t i = 0; i < result.bytes_.size(); i += 4) {
    const std::uint32_t word = device();
    for (std::size_t j = 0; j < 4; ++j) {
      result.bytes_[i + j] = static_cast<std::uint8_t>(word >> (8 * j));
    }
  }
  result.bytes_[6] = static_cast<std::uint8_t>((result.bytes_[6] & 0x0F) | 0x40);
  result.bytes_[8] = static_cast<std::uint8_t>((result.bytes_[8] & 0x3F) | 0x80);
  return result;
}

std::optional<UUID> UUID::parse(std::string_view text) {
  if (text.size() != textLength) {
    return std::nullopt;
  }
  UUID result;
  std::size_t digits = 0;
  for (std::size_t i = 0; i < textLength; ++i) {
    if (isDashPosition(i)) {
      if (text[i] != '-') return std::nullopt;
      continue;
    }
    const int value = hexValue(text[i]);
    if (value < 0) return std::nullopt;
    std::uint8_t& byte = result.bytes_[digits / 2];
    byte = static_cast<std::uint8_t>(byte << 4 | value);
    ++digits;
  }
  return result;
}

std::string UUID::string() const {
  std::string text;
  text.reserve(textLength);
  for (std::size_t i = 0; i < bytes_.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) {
      text += '-';
    }
    text += fmt::format("{:02X}", bytes_[i]);
  }
  return text;
}

}  // namespace halcyra
