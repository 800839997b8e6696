#include "Programs/AerovaneHelper/Linux/RegisterUser.h"

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <pwd.h>
#include <unistd.h>

#include "fmt/format.h"

#include "Platform/Linux/LinuxServiceManagement.h"
#include "Platform/Linux/LogSinks.h"
#include "XPC/FanControlXPC.h"

namespace halcyra {

namespace {

std::optional<std::uint32_t> number(const std::string& text) {
  std::uint32_t value = 0;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && rest == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

/// Throws `ServiceManagementError` when there is no such user.
std::uint32_t userNamed(const std::string& user) {
  const auto id = number(user);
  const passwd* entry = id ? getpwuid(*id) : getpwnam(user.c_str());
  if (entry == nullptr) {
    throw ServiceManagementError(fmt::format("There is no user “{}”.", user));
  }
  return entry->pw_uid;
}

/// An administrator who reads "let me control the fans" must not let somebody else do so.
void requireAsker(std::uint32_t userID) {
  const char* asker = std::getenv("PKEXEC_UID");
  if (asker != nullptr && number(asker) != userID) {
    throw ServiceManagementError("A user can ask for nobody else's registration.");
  }
}

LinuxServiceManagement management(const RuntimeLayout& layout, std::uint32_t userID, LogSink& log) {
  LinuxServiceManagementOptions options;
  options.layout = layout;
  options.helperProgram = siblingProgram("aerovane-helper");
  options.userID = userID;
  return {std::move(options), log};
}

template <typename Work>
int reporting(const RuntimeLayout& layout, Work work) {
  StandardErrorLogSink log(LogLevel::error);
  try {
    if (layout.isSystem() && geteuid() != 0) {
      throw ServiceManagementError("Only root can do that.");
    }
    work(log);
    return 0;
  } catch (const LocalizedError& error) {
    fmt::print(stderr, "aerovane-helper: {}\n", error.what());
    return 1;
  }
}

}  // namespace

int runRegister(const RuntimeLayout& layout, const std::string& user) {
  return reporting(layout, [&](LogSink& log) {
    const std::uint32_t userID = userNamed(user);
    requireAsker(userID);
    const std::string plist(FanControlXPC::daemonPlistName);
    auto services = management(layout, userID, log);
    services.unregisterDaemon(plist);
    services.registerDaemon(plist);
    services.approve(plist);
    fmt::print("The helper is registered for the user {}.\n", user);
  });
}

int runUnregister(const RuntimeLayout& layout) {
  return reporting(layout, [&](LogSink& log) {
    management(layout, geteuid(), log).unregisterDaemon(std::string(FanControlXPC::daemonPlistName));
    fmt::print("The helper is not registered any more.\n");
  });
}

}  // namespace halcyra
