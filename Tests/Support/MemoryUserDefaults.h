#pragma once

#include <functional>
#include <map>
#include <string>
#include <variant>

#include "Platform/UserDefaults.h"

namespace halcyra::test {

/// Settings in memory, which may outlive the application that uses them. One thread at a time.
class MemoryUserDefaults : public UserDefaults {
 public:
  struct Data {
    std::string bytes;
  };
  using Value = std::variant<std::int64_t, double, bool, std::string, Data>;

  std::optional<std::int64_t> integer(std::string_view key) const override;
  std::optional<double> number(std::string_view key) const override;
  std::optional<bool> boolean(std::string_view key) const override { return typed<bool>(key); }
  std::optional<std::string> string(std::string_view key) const override { return typed<std::string>(key); }
  std::optional<std::string> data(std::string_view key) const override;

  void setInteger(std::string_view key, std::int64_t value) override { set(key, value); }
  void setNumber(std::string_view key, double value) override { set(key, value); }
  void setBoolean(std::string_view key, bool value) override { set(key, value); }
  void setString(std::string_view key, std::string_view value) override { set(key, std::string(value)); }
  void setData(std::string_view key, std::string_view value) override { set(key, Data{std::string(value)}); }

  std::map<std::string, Value, std::less<>> values;

 private:
  template <typename T>
  std::optional<T> typed(std::string_view key) const {
    const auto found = values.find(key);
    const T* value = found == values.end() ? nullptr : std::get_if<T>(&found->second);
    return value == nullptr ? std::nullopt : std::optional(*value);
  }
  void set(std::string_view key, Value value) { values.insert_or_assign(std::string(key), std::move(value)); }
};

}  // namespace halcyra::test
