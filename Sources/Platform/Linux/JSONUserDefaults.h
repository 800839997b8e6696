#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "nlohmann/json.hpp"

#include "Platform/Log.h"
#include "Platform/UserDefaults.h"

namespace halcyra {

/// Settings in one JSON file, an object of keys. Data is {"data": text} when it is UTF-8 text and {"bytes": […]}
/// otherwise. Every change is written at once: under a lock (".<name>.lock" beside the file) the file is read again,
/// one key is changed, and the file is replaced as one step, so that processes that share it lose nothing of each
/// other's.
///
/// A file that cannot be understood is moved aside to "<name>.damaged-<n>"; one that cannot be read, or not be moved
/// aside, is left alone, and the settings then live in memory only. A number with a fraction is no integer.
class JSONUserDefaults : public UserDefaults {
 public:
  JSONUserDefaults(const std::filesystem::path& file, LogSink& log);

  std::optional<std::int64_t> integer(std::string_view key) const override;
  std::optional<double> number(std::string_view key) const override;
  std::optional<bool> boolean(std::string_view key) const override;
  std::optional<std::string> string(std::string_view key) const override;
  std::optional<std::string> data(std::string_view key) const override;

  void setInteger(std::string_view key, std::int64_t value) override;
  /// A value that is not finite is refused with a log line; the old one stays.
  void setNumber(std::string_view key, double value) override;
  void setBoolean(std::string_view key, bool value) override;
  /// A string that is no UTF-8 is refused with a log line; the old one stays.
  void setString(std::string_view key, std::string_view value) override;
  void setData(std::string_view key, std::string_view value) override;
  void changeData(std::string_view key,
                  const std::function<std::string(const std::optional<std::string>& stored)>& change) override;
  bool refresh() override;
  std::optional<std::string> saveFailure() const override;

 private:
  /// Which state of the file has been read.
  struct Version {
    std::uint64_t device = 0;
    std::uint64_t file = 0;
    std::int64_t size = -1;
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;
    bool operator==(const Version&) const = default;
  };

  void load();
  void setAside(const std::string& reason);
  std::optional<nlohmann::json> find(std::string_view key) const;
  void set(std::string_view key, nlohmann::json value);
  /// Stores what `make` makes of the newest value.
  void change(std::string_view key, const std::function<nlohmann::json(const nlohmann::json& stored)>& make);
  void takeOverLocked();
  void writeLocked();
  void noteFailureLocked(const std::string& reason);
  Version currentVersion() const;

  std::filesystem::path file_;
  Logger logger_;
  mutable std::mutex mutex_;
  nlohmann::json values_ = nlohmann::json::object();
  /// Changed here and not in the file yet.
  nlohmann::json unsaved_ = nlohmann::json::object();
  Version seen_;
  /// Why the file is not touched.
  std::optional<std::string> readFailure_;
  std::optional<std::string> saveFailure_;
};

}  // namespace halcyra
