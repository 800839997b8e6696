#pragma once

#include "Platform/UserNotifications.h"

namespace halcyra {

/// The system's notification centre. It knows applications by their bundles: a program outside of one is not granted
/// anything, and what it adds is an error.
class AppleUserNotifications : public UserNotifications {
 public:
  void requestAuthorization(std::function<void(bool granted, std::optional<Error>)> completion) override;
  void add(UserNotification notification, std::function<void(std::optional<Error>)> completion) override;
};

}  // namespace halcyra
