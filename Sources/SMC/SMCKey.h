#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "Platform/Precondition.h"

namespace halcyra {

/// A key of the System Management Controller: four ASCII characters, packed with the first in the most significant
/// byte ("TC0P" is 0x54433050).
struct SMCKey {
  std::uint32_t rawValue = 0;

  constexpr SMCKey() = default;
  constexpr explicit SMCKey(std::uint32_t raw) : rawValue(raw) {}

  /// `text` must be exactly four bytes; anything else is a programming error and stops the program.
  static constexpr SMCKey fromString(std::string_view text) {
    precondition(text.size() == 4, "an SMC key has exactly four bytes");
    std::uint32_t raw = 0;
    for (const char character : text) {
      raw = raw << 8 | static_cast<std::uint8_t>(character);
    }
    return SMCKey(raw);
  }

  /// The key of one fan: "F", the index and the suffix ("Ac" actual speed, "Mn" minimum, "Mx" maximum, "Md" mode,
  /// "Tg" target). The index must lie in 0…9 and the suffix must have two bytes; anything else stops the program.
  static constexpr SMCKey fan(int index, std::string_view suffix) {
    precondition(index >= 0 && index <= 9, "a fan index lies in 0...9");
    precondition(suffix.size() == 2, "a fan key suffix has exactly two bytes");
    const char text[4] = {'F', static_cast<char>('0' + index), suffix[0], suffix[1]};
    return fromString(std::string_view(text, 4));
  }

  constexpr auto operator<=>(const SMCKey&) const = default;

  static const SMCKey cpuProximity, cpuCore, gpuProximity, palmRest, batteryTemp;
  static const SMCKey fan0ActualRPM, fan0MinRPM, fan0MaxRPM, fan0Mode, fan0TargetRPM;
  static const SMCKey fan1ActualRPM, fan1MinRPM, fan1MaxRPM, fan1Mode, fan1TargetRPM;
  static const SMCKey fanTestMode;
};

inline constexpr SMCKey SMCKey::cpuProximity = SMCKey::fromString("TC0P");
inline constexpr SMCKey SMCKey::cpuCore = SMCKey::fromString("TC0c");
inline constexpr SMCKey SMCKey::gpuProximity = SMCKey::fromString("TG0P");
inline constexpr SMCKey SMCKey::palmRest = SMCKey::fromString("Ts0P");
inline constexpr SMCKey SMCKey::batteryTemp = SMCKey::fromString("TB0T");
inline constexpr SMCKey SMCKey::fan0ActualRPM = SMCKey::fan(0, "Ac");
inline constexpr SMCKey SMCKey::fan0MinRPM = SMCKey::fan(0, "Mn");
inline constexpr SMCKey SMCKey::fan0MaxRPM = SMCKey::fan(0, "Mx");
inline constexpr SMCKey SMCKey::fan0Mode = SMCKey::fan(0, "Md");
inline constexpr SMCKey SMCKey::fan0TargetRPM = SMCKey::fan(0, "Tg");
inline constexpr SMCKey SMCKey::fan1ActualRPM = SMCKey::fan(1, "Ac");
inline constexpr SMCKey SMCKey::fan1MinRPM = SMCKey::fan(1, "Mn");
inline constexpr SMCKey SMCKey::fan1MaxRPM = SMCKey::fan(1, "Mx");
inline constexpr SMCKey SMCKey::fan1Mode = SMCKey::fan(1, "Md");
inline constexpr SMCKey SMCKey::fan1TargetRPM = SMCKey::fan(1, "Tg");
inline constexpr SMCKey SMCKey::fanTestMode = SMCKey::fromString("Ftst");

/// Four-character codes (keys and data types) as text: most significant byte first, blanks kept, "????" when a byte
/// is not ASCII.
std::string stringFromCode(std::uint32_t code);
inline std::string stringFromKey(SMCKey key) {
  return stringFromCode(key.rawValue);
}

/// A type code's text without the ASCII white space around it ("flt " and "flt" are both "flt").
std::string trimmedTypeName(std::uint32_t typeCode);

/// The metadata of one key, as the SMC reports it.
struct SMCKeyInfo {
  /// Attribute bit of a key that may be written.
  static constexpr std::uint8_t writableAttribute = 0x40;

  SMCKey key;
  /// Length of the value in bytes.
  std::uint32_t dataSize = 0;
  /// Four-character type code, packed like a key ("flt " is 0x666C7420).
  std::uint32_t dataType = 0;
  std::uint8_t dataAttributes = 0;
  std::string keyName = {};

  bool operator==(const SMCKeyInfo&) const = default;
};

}  // namespace halcyra

template <>
struct std::hash<halcyra::SMCKey> {
  std::size_t operator()(halcyra::SMCKey key) const noexcept { return std::hash<std::uint32_t>{}(key.rawValue); }
};
