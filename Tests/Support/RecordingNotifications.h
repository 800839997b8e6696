#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "Platform/Dispatch.h"
#include "Platform/UserNotifications.h"

namespace halcyra::test {

/// Keeps what the user would have been shown. Completions run on a queue of the system's own, not the main one.
class RecordingNotifications : public UserNotifications {
 public:
  explicit RecordingNotifications(Dispatch& dispatch)
      : queue_(dispatch.makeSerialQueue("notification-centre", QualityOfService::utility)) {}

  void requestAuthorization(std::function<void(bool granted, std::optional<Error>)> completion) override;
  void add(UserNotification notification, std::function<void(std::optional<Error>)> completion) override;

  /// The user's answer to requests to come. Granted to begin with.
  void setAuthorization(bool granted, std::optional<Error> error = std::nullopt);
  /// Notifications fail with this error, until it is taken back by nothing.
  void failAdd(std::optional<Error> error) { addError_ = std::move(error); }

  int authorizationRequests() const { return requests_; }
  /// Those that were shown.
  const std::vector<UserNotification>& shown() const { return shown_; }
  /// Those that were asked for, failed ones included.
  int attempts() const { return attempts_; }

 private:
  bool granted_ = true;
  std::optional<Error> authorizationError_;
  std::optional<Error> addError_;
  int requests_ = 0;
  int attempts_ = 0;
  std::vector<UserNotification> shown_;
  std::unique_ptr<Queue> queue_;
};

}  // namespace halcyra::test
