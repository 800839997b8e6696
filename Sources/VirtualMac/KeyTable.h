#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "SMC/SMCKey.h"

namespace halcyra {

/// Where the value of a key comes from.
enum class KeySource {
  keyCount,
  /// `index` is a position in `sensorTraits()`.
  temperature,
  /// `index` is a fan.
  fanActual,
  fanMinimum,
  fanMaximum,
  fanMode,
  fanTarget,
  fanTestFlag,
  diePower,
  systemPower,
  /// `number`.
  constantNumber,
  /// `text`.
  constantText,
};

/// One key as the firmware's table has it.
struct KeyEntry {
  SMCKey key;
  /// Four-character type, blanks included.
  std::string_view type;
  std::uint32_t size = 0;
  /// 0x80 readable, 0x40 writable; the lower bits mean nothing to callers.
  std::uint8_t attributes = 0;
  KeySource source = KeySource::constantNumber;
  std::size_t index = 0;
  double number = 0;
  std::string_view text;

  bool isWritable() const { return (attributes & SMCKeyInfo::writableAttribute) != 0; }
  std::uint32_t typeCode() const { return SMCKey::fromString(type).rawValue; }
};

/// The key table of a Mac15,11, ascending by key code as the firmware keeps it.
class KeyTable {
 public:
  static constexpr int fanCount = 2;

  static const KeyTable& shared();

  const std::vector<KeyEntry>& entries() const { return entries_; }
  /// Null when the machine has no such key.
  const KeyEntry* find(SMCKey key) const;

 private:
  KeyTable();

  std::vector<KeyEntry> entries_;
};

/// Whether values of the type are numbers.
bool isNumericType(std::string_view type);
/// Least and greatest value of a numeric type.
struct NumericRange {
  double least = 0;
  double greatest = 0;
};
NumericRange rangeOfType(std::string_view type);

/// The bytes of a number in a numeric type of that size: floats in host byte order, everything else big-endian but
/// "ioft" (16 fraction bits, little-endian). Limited to what the type can hold; NaN and infinity survive in floats.
std::vector<std::uint8_t> encodeNumber(double value, std::string_view type, std::uint32_t size);
/// The reverse for "flt " and for unsigned integers of at most four bytes; nothing for other types or too few bytes.
std::optional<double> decodeNumber(std::span<const std::uint8_t> bytes, std::string_view type);

}  // namespace halcyra
