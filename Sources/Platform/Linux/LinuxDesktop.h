#pragma once

#include <optional>
#include <string>

#include "Platform/Linux/BusThread.h"
#include "Platform/UserNotifications.h"

namespace halcyra {

/// Notifications through `org.freedesktop.Notifications`. Authorization is granted where that service
/// answers, not granted where there is none for this program; a service that fails to answer is an error.
class DBusUserNotifications : public UserNotifications {
 public:
  /// `sessionBus` must outlive this.
  explicit DBusUserNotifications(BusThread& sessionBus) : bus_(sessionBus) {}

  void requestAuthorization(std::function<void(bool granted, std::optional<Error>)> completion) override;
  void add(UserNotification notification, std::function<void(std::optional<Error>)> completion) override;

 private:
  BusThread& bus_;
};

/// A program without a desktop: nothing is chosen in a panel, and there is nothing to bring to the front.
class ConsoleWorkspace : public Workspace {
 public:
  std::optional<std::string> runSavePanel(const std::string&) override { return std::nullopt; }
  std::optional<std::string> runOpenPanel() override { return std::nullopt; }
  void activateApplication() override {}
};

}  // namespace halcyra
