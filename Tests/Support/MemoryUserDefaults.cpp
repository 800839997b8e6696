#include "Support/MemoryUserDefaults.h"

#include <cmath>
#include <utility>

namespace halcyra::test {

namespace {

/// The first double beyond the 64-bit integers.
constexpr double integerLimit = 9223372036854775808.0;

}  // namespace

std::optional<MemoryUserDefaults::Value> MemoryUserDefaults::find(std::string_view key) const {
  const std::lock_guard lock(mutex_);
  const auto found = values_.find(key);
  return found == values_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::int64_t> MemoryUserDefaults::integer(std::string_view key) const {
  const auto value = find(key);
  if (!value) {
    return std::nullopt;
  }
  if (const auto* whole = std::get_if<std::int64_t>(&*value)) {
    return *whole;
  }
  const auto* number = std::get_if<double>(&*value);
  const bool fits =
      number != nullptr && *number >= -integerLimit && *number < integerLimit && std::trunc(*number) == *number;
  return fits ? std::optional(static_cast<std::int64_t>(*number)) : std::nullopt;
}

std::optional<double> MemoryUserDefaults::number(std::string_view key) const {
  const auto value = find(key);
  if (!value) {
    return std::nullopt;
  }
  if (const auto* whole = std::get_if<std::int64_t>(&*value)) {
    return static_cast<double>(*whole);
  }
  const auto* number = std::get_if<double>(&*value);
  return number != nullptr ? std::optional(*number) : std::nullopt;
}

std::optional<bool> MemoryUserDefaults::boolean(std::string_view key) const {
  const auto value = find(key);
  const auto* boolean = value ? std::get_if<bool>(&*value) : nullptr;
  return boolean != nullptr ? std::optional(*boolean) : std::nullopt;
}

std::optional<std::string> MemoryUserDefaults::string(std::string_view key) const {
  const auto value = find(key);
  const auto* text = value ? std::get_if<std::string>(&*value) : nullptr;
  return text != nullptr ? std::optional(*text) : std::nullopt;
}

std::optional<std::string> MemoryUserDefaults::data(std::string_view key) const {
  const auto value = find(key);
  const auto* data = value ? std::get_if<Data>(&*value) : nullptr;
  return data != nullptr ? std::optional(data->bytes) : std::nullopt;
}

void MemoryUserDefaults::setInteger(std::string_view key, std::int64_t value) {
  set(key, value);
}

void MemoryUserDefaults::setNumber(std::string_view key, double value) {
  if (std::isfinite(value)) {
    set(key, value);
  }
}

void MemoryUserDefaults::setBoolean(std::string_view key, bool value) {
  set(key, value);
}

void MemoryUserDefaults::setString(std::string_view key, std::string_view value) {
  set(key, std::string(value));
}

void MemoryUserDefaults::setData(std::string_view key, std::string_view value) {
  set(key, Data{std::string(value)});
}

void MemoryUserDefaults::set(std::string_view key, Value value) {
  const std::lock_guard lock(mutex_);
  values_.insert_or_assign(std::string(key), std::move(value));
}

void MemoryUserDefaults::remove(std::string_view key) {
  const std::lock_guard lock(mutex_);
  values_.erase(std::string(key));
}

}  // namespace halcyra::test
