#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "Platform/UserDefaults.h"

namespace halcyra::test {

/// Settings in memory with the typing rules of the real store.
class MemoryUserDefaults : public UserDefaults {
 public:
  std::optional<std::int64_t> integer(std::string_view key) const override;
  std::optional<double> number(std::string_view key) const override;
  std::optional<bool> boolean(std::string_view key) const override;
  std::optional<std::string> string(std::string_view key) const override;
  std::optional<std::string> data(std::string_view key) const override;

  void setInteger(std::string_view key, std::int64_t value) override;
  /// A value that is not finite is refused; the old one stays.
  void setNumber(std::string_view key, double value) override;
  void setBoolean(std::string_view key, bool value) override;
  void setString(std::string_view key, std::string_view value) override;
  void setData(std::string_view key, std::string_view value) override;

  void remove(std::string_view key);

  bool refresh() override { return std::exchange(isChanged, false); }
  std::optional<std::string> saveFailure() const override { return failure; }

  /// Another process has stored something.
  bool isChanged = false;
  std::optional<std::string> failure;

 private:
  struct Data {
    std::string bytes;
  };
  using Value = std::variant<std::int64_t, double, bool, std::string, Data>;
  using Values = std::map<std::string, Value, std::less<>>;

  std::optional<Value> find(std::string_view key) const;
  void set(std::string_view key, Value value);

  mutable std::mutex mutex_;
  Values values_;
};

}  // namespace halcyra::test
