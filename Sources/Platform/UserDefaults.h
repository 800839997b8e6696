#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace halcyra {

/// The user's settings: typed values under string keys. Safe to use from any thread. Reading a key that is absent or
/// of another type gives nothing; a number is read as either kind of number. A value that cannot be made durable is
/// kept for the life of the process, and the failure is logged.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;

  virtual std::optional<std::int64_t> integer(std::string_view key) const = 0;
  virtual std::optional<double> number(std::string_view key) const = 0;
  virtual std::optional<bool> boolean(std::string_view key) const = 0;
  virtual std::optional<std::string> string(std::string_view key) const = 0;
  /// Binary data.
  virtual std::optional<std::string> data(std::string_view key) const = 0;

  virtual void setInteger(std::string_view key, std::int64_t value) = 0;
  virtual void setNumber(std::string_view key, double value) = 0;
  virtual void setBoolean(std::string_view key, bool value) = 0;
  virtual void setString(std::string_view key, std::string_view value) = 0;
  virtual void setData(std::string_view key, std::string_view value) = 0;
};

}  // namespace halcyra
