#include "Platform/Linux/JSONUserDefaults.h"

#include <cerrno>
#include <chrono>
#include <cmath>
#include <fcntl.h>
#include <limits>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include "fmt/format.h"

#include "Platform/Linux/LinuxFiles.h"
#include "Platform/UnicodeText.h"
#include "Platform/UntrustedText.h"

namespace halcyra {

namespace {

constexpr const char* textKey = "data";
constexpr const char* bytesKey = "bytes";
/// Exactly representable; the first double beyond the 64-bit integers.
constexpr double integerLimit = 9223372036854775808.0;

std::optional<std::string> decodeData(const nlohmann::json& value) {
  if (!value.is_object() || value.size() != 1) {
    return std::nullopt;
  }
  if (const auto text = value.find(textKey); text != value.end() && text->is_string()) {
    return text->get<std::string>();
  }
  const auto bytes = value.find(bytesKey);
  if (bytes == value.end() || !bytes->is_array()) {
    return std::nullopt;
  }
  std::string result;
  for (const nlohmann::json& byte : *bytes) {
    if (!byte.is_number_unsigned() || byte.get<std::uint64_t>() > 0xFF) {
      return std::nullopt;
    }
    result += static_cast<char>(byte.get<std::uint8_t>());
  }
  return result;
}

nlohmann::json encodeData(std::string_view value) {
  if (isPortableText(value)) {
    return {{textKey, value}};
  }
  nlohmann::json bytes = nlohmann::json::array();
  for (const char byte : value) {
    bytes.push_back(static_cast<std::uint8_t>(byte));
  }
  return {{bytesKey, std::move(bytes)}};
}

/// Held while the file is read, changed and replaced. A process that is stopped meanwhile must not stop the others: who
/// has something to store waits for a second only, and tries again later.
class SettingsLock {
 public:
  SettingsLock(const std::filesystem::path& file, int tries) {
    const auto path = file.parent_path() / ("." + file.filename().string() + ".lock");
    descriptor_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    if (descriptor_ < 0) {
      // Whoever may not create it may not replace the file either, and hears why from that.
      return;
    }
    for (int attempt = 0; attempt < tries; ++attempt) {
      if (::flock(descriptor_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) {
        return;
      }
      if (attempt + 1 < tries) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    isBusy_ = true;
  }
  ~SettingsLock() {
    if (descriptor_ >= 0) {
      ::close(descriptor_);
    }
  }
  SettingsLock(const SettingsLock&) = delete;
  SettingsLock& operator=(const SettingsLock&) = delete;
  bool isBusy() const { return isBusy_; }

 private:
  int descriptor_ = -1;
  bool isBusy_ = false;
};

std::filesystem::path resolved(const std::filesystem::path& file) {
  std::error_code error;
  auto result = std::filesystem::weakly_canonical(file, error);
  return error ? file : result;
}

}  // namespace

JSONUserDefaults::JSONUserDefaults(const std::filesystem::path& file, LogSink& log)
    // Replacing a symbolic link would cut the user's own arrangement.
    : file_(resolved(file)), logger_(log, "com.norwick.Halcyra", "Settings") {
  load();
}

void JSONUserDefaults::load() {
  std::error_code error;
  const auto status = std::filesystem::symlink_status(file_, error);
  if (status.type() == std::filesystem::file_type::not_found) {
    return;
  }
  std::string text;
  seen_ = currentVersion();
  try {
    text = readFile(file_);
  } catch (const FileError& failure) {
    readFailure_ = fmt::format("settings are kept in memory only: {}", failure.what());
    logger_.error(*readFailure_);
    return;
  }
  try {
    auto values = parseUntrustedJSON(text);
    if (!values.is_object()) {
      setAside("it is no JSON object");
      return;
    }
    values_ = std::move(values);
  } catch (const std::exception& failure) {
    setAside(failure.what());
  }
}

void JSONUserDefaults::setAside(const std::string& reason) {
  constexpr int mostCopies = 1000;
  std::error_code error;
  for (int number = 1; number <= mostCopies; ++number) {
    auto target = file_;
    target += fmt::format(".damaged-{}", number);
    // A hard link never replaces what is there already, as a rename would.
    std::filesystem::create_hard_link(file_, target, error);
    if (error == std::errc::file_exists) {
      continue;
    }
    if (!error && std::filesystem::remove(file_, error)) {
      logger_.error(fmt::format("the settings file “{}” is damaged ({}); it was moved to “{}”", file_.string(), reason,
                                target.string()));
      return;
    }
    break;
  }
  readFailure_ = fmt::format(
      "the settings file “{}” is damaged ({}) and could not be moved aside: {}; settings are kept in memory only",
      file_.string(), reason, error ? error.message() : "too many damaged copies");
  logger_.error(*readFailure_);
}

std::optional<nlohmann::json> JSONUserDefaults::find(std::string_view key) const {
  const std::lock_guard lock(mutex_);
  const auto found = values_.find(key);
  return found == values_.end() ? std::nullopt : std::optional<nlohmann::json>(*found);
}

std::optional<std::int64_t> JSONUserDefaults::integer(std::string_view key) const {
  const auto value = find(key);
  if (!value || !value->is_number()) {
    return std::nullopt;
  }
  if (value->is_number_float()) {
    const auto number = value->get<double>();
    const bool fits = number >= -integerLimit && number < integerLimit && std::trunc(number) == number;
    return fits ? std::optional(static_cast<std::int64_t>(number)) : std::nullopt;
  }
  const bool tooLarge =
      value->is_number_unsigned() &&
      value->get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  return tooLarge ? std::nullopt : std::optional(value->get<std::int64_t>());
}

std::optional<double> JSONUserDefaults::number(std::string_view key) const {
  const auto value = find(key);
  return value && value->is_number() ? std::optional(value->get<double>()) : std::nullopt;
}

std::optional<bool> JSONUserDefaults::boolean(std::string_view key) const {
  const auto value = find(key);
  return value && value->is_boolean() ? std::optional(value->get<bool>()) : std::nullopt;
}

std::optional<std::string> JSONUserDefaults::string(std::string_view key) const {
  const auto value = find(key);
  return value && value->is_string() ? std::optional(value->get<std::string>()) : std::nullopt;
}

std::optional<std::string> JSONUserDefaults::data(std::string_view key) const {
  const auto value = find(key);
  return value ? decodeData(*value) : std::nullopt;
}

void JSONUserDefaults::setInteger(std::string_view key, std::int64_t value) {
  set(key, value);
}

void JSONUserDefaults::setNumber(std::string_view key, double value) {
  if (!std::isfinite(value)) {
    logger_.error(fmt::format("the setting “{}” cannot be stored: it is not a finite number", key));
    return;
  }
  set(key, value);
}

void JSONUserDefaults::setBoolean(std::string_view key, bool value) {
  set(key, value);
}

void JSONUserDefaults::setString(std::string_view key, std::string_view value) {
  if (!isPortableText(value)) {
    logger_.error(fmt::format("the setting “{}” cannot be stored: it is not UTF-8 text", key));
    return;
  }
  set(key, value);
}

void JSONUserDefaults::setData(std::string_view key, std::string_view value) {
  set(key, encodeData(value));
}

void JSONUserDefaults::set(std::string_view key, nlohmann::json value) {
  change(key, [&](const nlohmann::json&) { return std::move(value); });
}

void JSONUserDefaults::changeData(std::string_view key,
                                  const std::function<std::string(const std::optional<std::string>& stored)>& change) {
  this->change(key, [&](const nlohmann::json& stored) { return encodeData(change(decodeData(stored))); });
}

void JSONUserDefaults::change(std::string_view key,
                              const std::function<nlohmann::json(const nlohmann::json& stored)>& make) {
  const std::lock_guard lock(mutex_);
  std::error_code ignored;
  std::filesystem::create_directories(file_.parent_path(), ignored);
  const SettingsLock fileLock(file_, 100);
  if (!readFailure_) takeOverLocked();
  const auto found = values_.find(key);
  nlohmann::json value = make(found == values_.end() ? nlohmann::json() : *found);
  values_[std::string(key)] = value;
  unsaved_[std::string(key)] = std::move(value);
  if (readFailure_) {
    saveFailure_ = readFailure_;
  } else if (fileLock.isBusy()) {
    noteFailureLocked(fmt::format("another process keeps “{}” locked", file_.string()));
  } else {
    writeLocked();
  }
}

bool JSONUserDefaults::refresh() {
  const std::lock_guard lock(mutex_);
  if (readFailure_) {
    return false;
  }
  const bool isNew = currentVersion() != seen_;
  if (!isNew && unsaved_.empty()) {
    return false;
  }
  const nlohmann::json before = values_;
  const SettingsLock fileLock(file_, 1);
  takeOverLocked();
  if (!unsaved_.empty() && !fileLock.isBusy()) {
    writeLocked();
  }
  return values_ != before;
}

std::optional<std::string> JSONUserDefaults::saveFailure() const {
  const std::lock_guard lock(mutex_);
  return saveFailure_;
}

JSONUserDefaults::Version JSONUserDefaults::currentVersion() const {
  struct stat status {};
  if (::stat(file_.c_str(), &status) != 0) {
    return {};
  }
  return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

void JSONUserDefaults::takeOverLocked() {
  const Version current = currentVersion();
  if (current == seen_) {
    return;
  }
  try {
    auto stored = parseUntrustedJSON(readFile(file_));
    if (stored.is_object()) {
      stored.update(unsaved_);
      values_ = std::move(stored);
    }
  } catch (const std::exception&) {
    // Gone or damaged meanwhile: what is known here is written anew.
  }
  seen_ = current;
}

void JSONUserDefaults::writeLocked() {
  try {
    writeFileAtomically(file_, values_.dump(2) + '\n', 0600);
    unsaved_ = nlohmann::json::object();
    saveFailure_.reset();
    seen_ = currentVersion();
  } catch (const std::exception& failure) {
    noteFailureLocked(failure.what());
  }
}

void JSONUserDefaults::noteFailureLocked(const std::string& reason) {
  const bool isFirst = !saveFailure_;
  saveFailure_ = fmt::format("settings are kept in memory only for now: {}", reason);
  if (isFirst) {
    logger_.error(*saveFailure_);
  }
}

}  // namespace halcyra
