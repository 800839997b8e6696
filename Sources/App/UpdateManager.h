#pragma once

#include <functional>
#include <string>

namespace halcyra {

/// The update framework. Main queue only.
class Updater {
 public:
  virtual ~Updater() = default;
  /// Begins to work; once, after launch.
  virtual void start() = 0;
  virtual bool canCheckForUpdates() const = 0;
  /// The check that a user asked for; shows its own result and its own errors.
  virtual void checkForUpdates() = 0;
};

/// A warning with one button. Main queue only.
struct Warning {
  std::string message;
  std::string informativeText;
  std::string button;
};

class UpdateManager {
 public:
  /// Starts `updater`, which must outlive this. `showWarning` shows its argument modally.
  UpdateManager(Updater& updater, std::function<void(const Warning&)> showWarning);

  void checkForUpdates();

 private:
  Updater& updater_;
  std::function<void(const Warning&)> showWarning_;
};

}  // namespace halcyra
