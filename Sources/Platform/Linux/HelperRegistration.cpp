#include "Platform/Linux/HelperRegistration.h"

#include <algorithm>
#include <limits>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "fmt/format.h"
#include "nlohmann/json.hpp"

#include "Platform/Linux/LinuxFiles.h"
#include "Platform/PropertyList.h"

namespace halcyra {

namespace {

constexpr std::int64_t recordVersion = 1;
constexpr unsigned recordMode = 0644;

Logger logger(LogSink& log) {
  return {log, "com.norwick.Halcyra", "Registration"};
}

/// The reason why a record must not be believed; empty when it may be.
std::string mistrust(const std::filesystem::path& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    return std::generic_category().message(errno);
  }
  if (!S_ISREG(status.st_mode)) {
    return "it is not a regular file";
  }
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    return "others may write it";
  }
  if (status.st_uid != 0 && status.st_uid != ::geteuid()) {
    return "it belongs to another user";
  }
  return {};
}

/// The record's object; null when there is none or it cannot be believed.
nlohmann::json readRecord(const std::filesystem::path& path, LogSink& log) {
  std::error_code error;
  if (std::filesystem::symlink_status(path, error).type() == std::filesystem::file_type::not_found) {
    return nullptr;
  }
  std::string reason = mistrust(path);
  if (reason.empty()) {
    try {
      auto record = nlohmann::json::parse(readFile(path));
      if (integerEntry(record, "version") == recordVersion) {
        return record;
      }
      reason = "it has no known version";
    } catch (const std::exception& failure) {
      reason = failure.what();
    }
  }
  logger(log).error(fmt::format("the record “{}” is ignored: {}", path.string(), reason));
  return nullptr;
}

void writeRecord(const std::filesystem::path& path, const nlohmann::json& record) {
  std::error_code error;
  std::filesystem::create_directories(path.parent_path(), error);
  writeFileAtomically(path, record.dump(2) + '\n', recordMode);
}

std::optional<std::uint32_t> userIDFrom(std::optional<std::int64_t> number) {
  const bool fits = number && *number >= 0 && *number <= std::numeric_limits<std::uint32_t>::max();
  return fits ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
}

std::optional<std::string> stringEntry(const nlohmann::json& record, std::string_view key) {
  const nlohmann::json* value = entry(record, key);
  return value != nullptr && value->is_string() ? std::optional(value->get<std::string>()) : std::nullopt;
}

std::vector<std::uint32_t> approvedUsers(const RuntimeLayout& layout, LogSink& log) {
  const nlohmann::json record = readRecord(layout.approval, log);
  const nlohmann::json* list = entry(record, "uids");
  std::vector<std::uint32_t> result;
  if (list == nullptr || !list->is_array()) {
    return result;
  }
  for (const nlohmann::json& item : *list) {
    if (const auto userID = userIDFrom(integerEntry({{"uid", item}}, "uid"))) {
      result.push_back(*userID);
    }
  }
  return result;
}

}  // namespace

std::optional<HelperRegistration> readRegistration(const RuntimeLayout& layout, LogSink& log) {
  const nlohmann::json record = readRecord(layout.registration, log);
  if (record.is_null()) {
    return std::nullopt;
  }
  const auto userID = userIDFrom(integerEntry(record, "uid"));
  const auto program = stringEntry(record, "program");
  const auto plistName = stringEntry(record, "plist");
  if (!userID || !program || !plistName) {
    logger(log).error(fmt::format("the record “{}” is ignored: it is incomplete", layout.registration.string()));
    return std::nullopt;
  }
  return HelperRegistration{*userID, *program, *plistName};
}

void writeRegistration(const RuntimeLayout& layout, const HelperRegistration& registration) {
  writeRecord(layout.registration, {{"version", recordVersion},
                                    {"uid", registration.userID},
                                    {"program", registration.program.string()},
                                    {"plist", registration.plistName}});
}

void removeRegistration(const RuntimeLayout& layout) {
  std::error_code error;
  std::filesystem::remove(layout.registration, error);
  if (error) {
    throw FileError(
        fmt::format("The file “{}” couldn’t be removed: {}.", layout.registration.string(), error.message()));
  }
}

bool isApproved(const RuntimeLayout& layout, std::uint32_t userID, LogSink& log) {
  const auto approved = approvedUsers(layout, log);
  return std::find(approved.begin(), approved.end(), userID) != approved.end();
}

void recordApproval(const RuntimeLayout& layout, std::uint32_t userID, LogSink& log) {
  auto approved = approvedUsers(layout, log);
  if (std::find(approved.begin(), approved.end(), userID) == approved.end()) {
    approved.push_back(userID);
  }
  // A mistrusted record goes away whole, with its mode.
  if (!mistrust(layout.approval).empty()) {
    std::error_code ignored;
    std::filesystem::remove(layout.approval, ignored);
  }
  writeRecord(layout.approval, {{"version", recordVersion}, {"uids", approved}});
}

std::optional<std::uint32_t> registeredUser(const RuntimeLayout& layout, LogSink& log) {
  const auto registration = readRegistration(layout, log);
  return registration ? std::optional(registration->userID) : std::nullopt;
}

bool mayStart(const RuntimeLayout& layout, LogSink& log) {
  const auto userID = registeredUser(layout, log);
  return userID && (*userID == 0 || isApproved(layout, *userID, log));
}

}  // namespace halcyra
