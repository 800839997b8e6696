#include "Support/MemoryUserDefaults.h"

#include <cmath>

namespace halcyra::test {

std::optional<std::int64_t> MemoryUserDefaults::integer(std::string_view key) const {
  if (const auto value = typed<std::int64_t>(key)) {
    return value;
  }
  const auto value = typed<double>(key);
  const bool isWhole = value && std::abs(*value) < 9.0e18 && *value == std::floor(*value);
  return isWhole ? std::optional(static_cast<std::int64_t>(*value)) : std::nullopt;
}

std::optional<double> MemoryUserDefaults::number(std::string_view key) const {
  if (const auto value = typed<std::int64_t>(key)) {
    return static_cast<double>(*value);
  }
  return typed<double>(key);
}

std::optional<std::string> MemoryUserDefaults::data(std::string_view key) const {
  const auto value = typed<Data>(key);
  return value ? std::optional(value->bytes) : std::nullopt;
}

}  // namespace halcyra::test
