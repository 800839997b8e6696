#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace halcyra {

/// A decoded SMC value. Equality is per case: floats compare as IEEE numbers (a NaN equals nothing), bytes byte for
/// byte.
class SMCValue {
 public:
  using Bytes = std::vector<std::uint8_t>;
  using Storage = std::variant<float, std::uint8_t, std::uint32_t, Bytes>;

  static SMCValue makeFloat(float value) { return SMCValue(Storage(std::in_place_index<0>, value)); }
  static SMCValue makeUInt8(std::uint8_t value) { return SMCValue(Storage(std::in_place_index<1>, value)); }
  static SMCValue makeUInt32(std::uint32_t value) { return SMCValue(Storage(std::in_place_index<2>, value)); }
  static SMCValue makeBytes(Bytes value) { return SMCValue(Storage(std::in_place_index<3>, std::move(value))); }

  /// The payload when the value is of that case, else null.
  const float* asFloat() const { return std::get_if<0>(&storage_); }
  const std::uint8_t* asUInt8() const { return std::get_if<1>(&storage_); }
  const std::uint32_t* asUInt32() const { return std::get_if<2>(&storage_); }
  const Bytes* asBytes() const { return std::get_if<3>(&storage_); }

  /// For audit records: a float as the shortest decimal that reads back the same, with at least one fraction digit
  /// (2000.0); integers in decimal; bytes as two upper-case hexadecimal digits each (0A1B).
  std::string description() const;

  bool operator==(const SMCValue&) const = default;

 private:
  explicit SMCValue(Storage storage) : storage_(std::move(storage)) {}

  Storage storage_;
};

}  // namespace halcyra
