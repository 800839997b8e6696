#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace halcyra {

/// The user's settings: typed values under string keys. Safe to use from any thread. Reading a key that is absent or
/// of another type gives nothing; a number is read as either kind of number. A value that cannot be made durable is
/// kept for the life of the process, and the failure is logged and told by `saveFailure`.
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
  /// Stores what `change` makes of the data that is stored under `key` (nothing: none), as one step for every process
  /// that shares the settings. What `change` throws comes through, and nothing is stored.
  virtual void changeData(std::string_view key,
                          const std::function<std::string(const std::optional<std::string>& stored)>& change) {
    setData(key, change(data(key)));
  }

  /// Takes over what other processes have stored meanwhile, and stores what could not be stored so far. Cheap when
  /// there is neither. Whether a value has been taken over.
  virtual bool refresh() { return false; }
  /// Why a change is not durable yet; nothing when all of them are. A text for the user.
  virtual std::optional<std::string> saveFailure() const { return std::nullopt; }
};

}  // namespace halcyra
