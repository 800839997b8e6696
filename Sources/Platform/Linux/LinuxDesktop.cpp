#include "Platform/Linux/LinuxDesktop.h"

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "Platform/Linux/BusCall.h"

namespace halcyra {

namespace {

BusCallTarget notificationCall(const char* method) {
  return {"org.freedesktop.Notifications", "/org/freedesktop/Notifications", "org.freedesktop.Notifications", method};
}

}  // namespace

void DBusUserNotifications::requestAuthorization(std::function<void(bool, std::optional<Error>)> completion) {
  sendBusCall(
      bus_, notificationCall("GetServerInformation"), [](sdbus::Message&) {},
      [done = std::move(completion)](sdbus::MethodReply* reply, const sdbus::Error*) {
        done(reply != nullptr, std::nullopt);
      });
}

void DBusUserNotifications::add(UserNotification notification, std::function<void(std::optional<Error>)> completion) {
  sendBusCall(
      bus_, notificationCall("Notify"),
      [note = std::move(notification)](sdbus::Message& message) {
        const std::uint32_t replacesNothing = 0;
        const std::int32_t standardTimeout = -1;
        message << std::string("Aerovane") << replacesNothing << std::string() << note.title << note.body
                << std::vector<std::string>{} << std::map<std::string, sdbus::Variant>{} << standardTimeout;
      },
      [done = std::move(completion)](sdbus::MethodReply*, const sdbus::Error* error) {
        done(error == nullptr ? std::nullopt : std::optional(Error(error->getName(), 0, error->getMessage())));
      });
}

}  // namespace halcyra
