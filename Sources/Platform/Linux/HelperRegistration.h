#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "Platform/Linux/RuntimeLayout.h"
#include "Platform/Log.h"

namespace halcyra {

/// Who registered the helper daemon, and as what.
struct HelperRegistration {
  std::uint32_t userID = 0;
  std::filesystem::path program;
  std::string plistName;

  bool operator==(const HelperRegistration&) const = default;
};

/// The registration record. A record that is damaged, or that others than its owner could have written, counts as none
/// and is reported to `log`. Any thread.
std::optional<HelperRegistration> readRegistration(const RuntimeLayout& layout, LogSink& log);
/// Throw `LocalizedError` when the record cannot be written.
void writeRegistration(const RuntimeLayout& layout, const HelperRegistration& registration);
void removeRegistration(const RuntimeLayout& layout);

bool isApproved(const RuntimeLayout& layout, std::uint32_t userID, LogSink& log);
void recordApproval(const RuntimeLayout& layout, std::uint32_t userID, LogSink& log);

/// The user whose requests the helper accepts besides root's; nothing when it is not registered.
std::optional<std::uint32_t> registeredUser(const RuntimeLayout& layout, LogSink& log);
/// Whether the helper may run at all: it is registered, and by root or with an administrator's approval.
bool mayStart(const RuntimeLayout& layout, LogSink& log);

}  // namespace halcyra
