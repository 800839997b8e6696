#include <algorithm>
#include <cmath>
#include <cstring>

#include "VirtualMac/KeyTable.h"

namespace halcyra {

namespace {

struct NumericType {
  std::string_view name;
  NumericRange range;
  /// What one unit of the stored integer is a fraction of; 0 for floats.
  double scale;
};

constexpr NumericType numericTypes[] = {
    {"flt ", {-3.4028234663852886e38, 3.4028234663852886e38}, 0},
    {"sp78", {-128.0, 127.99609375}, 256},
    {"fpe2", {0.0, 16383.75}, 4},
    {"ioft", {-1.0e9, 1.0e9}, 65536},
    {"flag", {0.0, 1.0}, 1},
    {"si8 ", {-128.0, 127.0}, 1},
    {"si16", {-32768.0, 32767.0}, 1},
    {"ui8 ", {0.0, 255.0}, 1},
    {"ui16", {0.0, 65535.0}, 1},
    {"ui32", {0.0, 4294967295.0}, 1},
};

const NumericType* numericType(std::string_view name) {
  const auto* const found = std::find_if(std::begin(numericTypes), std::end(numericTypes),
                                         [&](const auto& type) { return type.name == name; });
  return found == std::end(numericTypes) ? nullptr : found;
}

}  // namespace

bool isNumericType(std::string_view type) {
  return numericType(type) != nullptr;
}

NumericRange rangeOfType(std::string_view type) {
  const NumericType* const known = numericType(type);
  return known != nullptr ? known->range : NumericRange{};
}

std::vector<std::uint8_t> encodeNumber(double value, std::string_view type, std::uint32_t size) {
  std::vector<std::uint8_t> bytes(size, 0);
  const NumericType* const known = numericType(type);
  if (known == nullptr) {
    return bytes;
  }
  const double limited = std::clamp(value, known->range.least, known->range.greatest);
  if (known->scale == 0) {
    const auto narrow = std::isfinite(value) ? static_cast<float>(limited) : static_cast<float>(value);
    std::memcpy(bytes.data(), &narrow, std::min<std::size_t>(size, sizeof narrow));
    return bytes;
  }
  const std::int64_t raw = std::isnan(value) ? 0 : std::llround(limited * known->scale);
  const bool littleEndian = type == "ioft";
  for (std::uint32_t place = 0; place < size; ++place) {
    const std::uint32_t position = littleEndian ? place : size - 1 - place;
    bytes[position] = static_cast<std::uint8_t>(static_cast<std::uint64_t>(raw) >> (8 * place) & 0xFF);
  }
  return bytes;
}

std::optional<double> decodeNumber(std::span<const std::uint8_t> bytes, std::string_view type) {
  if (type == "flt ") {
    float value = 0;
    if (bytes.size() < sizeof value) {
      return std::nullopt;
    }
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
  }
  if (type.substr(0, 2) != "ui" || bytes.empty() || bytes.size() > 4) {
    return std::nullopt;
  }
  std::uint32_t value = 0;
  for (const std::uint8_t byte : bytes) {
    value = value << 8 | byte;
  }
  return value;
}

}  // namespace halcyra
