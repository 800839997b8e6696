#pragma once

#include <atomic>
#include <string>

#include "Platform/Log.h"
#include "Platform/UserDefaults.h"

namespace halcyra {

/// The user's preferences of one application, as the system keeps them: the same store that `NSUserDefaults` has.
class PreferencesUserDefaults : public UserDefaults {
 public:
  PreferencesUserDefaults(std::string applicationID, LogSink& log);

  std::optional<std::int64_t> integer(std::string_view key) const override;
  std::optional<double> number(std::string_view key) const override;
  std::optional<bool> boolean(std::string_view key) const override;
  std::optional<std::string> string(std::string_view key) const override;
  std::optional<std::string> data(std::string_view key) const override;

  void setInteger(std::string_view key, std::int64_t value) override;
  void setNumber(std::string_view key, double value) override;
  void setBoolean(std::string_view key, bool value) override;
  void setString(std::string_view key, std::string_view value) override;
  void setData(std::string_view key, std::string_view value) override;

  std::optional<std::string> saveFailure() const override {
    return isStored_ ? std::nullopt : std::optional<std::string>("The settings couldn’t be stored in the preferences.");
  }

 private:
  /// `value`: a property list object, which stays the caller's.
  void set(std::string_view key, const void* value);

  const std::string applicationID_;
  Logger logger_;
  std::atomic<bool> isStored_{true};
};

}  // namespace halcyra
