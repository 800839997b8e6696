#include "Platform/Linux/LinuxDesktop.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "Platform/Linux/BusCall.h"

namespace halcyra {

namespace {

/// One of the freedesktop sound names.
constexpr const char* standardSound = "message-new-instant";

BusCallTarget notificationCall(const char* method) {
  return {"org.freedesktop.Notifications", "/org/freedesktop/Notifications", "org.freedesktop.Notifications", method};
}

/// Whether there is nobody who shows notifications to this program, rather than a service that failed to answer.
bool meansNoService(const sdbus::Error& error) {
  constexpr std::array names{"org.freedesktop.DBus.Error.AccessDenied", "org.freedesktop.DBus.Error.ServiceUnknown",
                             "org.freedesktop.DBus.Error.NameHasNoOwner", "org.freedesktop.DBus.Error.FileNotFound",
                             "org.freedesktop.DBus.Error.NoServer"};
  // The last two: the service could not be started; the bus could not be reached.
  const std::string& name = error.getName();
  return std::find(names.begin(), names.end(), name) != names.end() ||
         name.starts_with("org.freedesktop.DBus.Error.Spawn.") || name.starts_with("System.Error.");
}

std::optional<Error> asError(const sdbus::Error& error) {
  return Error(error.getName(), 0, error.getMessage());
}

}  // namespace

void DBusUserNotifications::requestAuthorization(std::function<void(bool, std::optional<Error>)> completion) {
  sendBusCall(
      bus_, notificationCall("GetServerInformation"), [](sdbus::Message&) {},
      [done = std::move(completion)](sdbus::MethodReply* reply, const sdbus::Error* error) {
        done(reply != nullptr, error == nullptr || meansNoService(*error) ? std::nullopt : asError(*error));
      });
}

void DBusUserNotifications::add(UserNotification notification, std::function<void(std::optional<Error>)> completion) {
  sendBusCall(
      bus_, notificationCall("Notify"),
      [note = std::move(notification)](sdbus::Message& message) {
        const std::uint32_t replacesNothing = 0;
        const std::int32_t standardTimeout = -1;
        const std::map<std::string, sdbus::Variant> hints{{"sound-name", sdbus::Variant(std::string(standardSound))}};
        message << std::string("Aerovane") << replacesNothing << std::string() << note.title << note.body
                << std::vector<std::string>{} << hints << standardTimeout;
      },
      [done = std::move(completion)](sdbus::MethodReply*, const sdbus::Error* error) {
        done(error == nullptr ? std::nullopt : asError(*error));
      });
}

}  // namespace halcyra
