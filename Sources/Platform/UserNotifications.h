#pragma once

#include <functional>
#include <optional>
#include <string>

#include "Platform/Error.h"

namespace halcyra {

struct UserNotification {
  std::string identifier;
  std::string title;
  std::string body;
};

/// Notifications on the desktop. Completions may come on any thread.
class UserNotifications {
 public:
  virtual ~UserNotifications() = default;
  /// Asks for permission to show alerts with sound.
  virtual void requestAuthorization(std::function<void(bool granted, std::optional<Error>)> completion) = 0;
  /// Shows the notification at once, with the default sound.
  virtual void add(UserNotification notification, std::function<void(std::optional<Error>)> completion) = 0;
};

/// The application's dealings with the desktop. Main queue only.
class Workspace {
 public:
  virtual ~Workspace() = default;
  /// Modal file panels for JSON files; nothing when the user cancels.
  virtual std::optional<std::string> runSavePanel(const std::string& suggestedName) = 0;
  virtual std::optional<std::string> runOpenPanel() = 0;
  /// Brings the application to the front, ignoring other applications.
  virtual void activateApplication() = 0;
};

/// Whole files. Any thread; failures are thrown as `LocalizedError`.
class Files {
 public:
  virtual ~Files() = default;
  virtual std::string read(const std::string& path) = 0;
  /// Replaces the file as one step: afterwards it holds the old content or the new one.
  virtual void writeAtomically(const std::string& path, const std::string& content) = 0;
};

}  // namespace halcyra
