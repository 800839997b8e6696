#include "Support/RecordingNotifications.h"

#include <utility>

namespace halcyra::test {

void RecordingNotifications::requestAuthorization(std::function<void(bool granted, std::optional<Error>)> completion) {
  ++requests_;
  queue_->async([granted = granted_, error = authorizationError_, completion = std::move(completion)] {
    completion(granted, error);
  });
}

void RecordingNotifications::add(UserNotification notification, std::function<void(std::optional<Error>)> completion) {
  ++attempts_;
  if (!addError_) {
    shown_.push_back(std::move(notification));
  }
  queue_->async([error = addError_, completion = std::move(completion)] { completion(error); });
}

void RecordingNotifications::setAuthorization(bool granted, std::optional<Error> error) {
  granted_ = granted;
  authorizationError_ = std::move(error);
}

}  // namespace halcyra::test
