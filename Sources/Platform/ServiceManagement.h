#pragma once

#include <string>

namespace halcyra {

/// Registration of the helper daemon and of the login item. Used from any thread; failures of `register` and
/// `unregister` are thrown as `LocalizedError`.
class ServiceManagement {
 public:
  /// `status` values.
  static constexpr int notRegistered = 0;
  static constexpr int enabled = 1;
  static constexpr int requiresApproval = 2;
  static constexpr int notFound = 3;

  virtual ~ServiceManagement() = default;

  /// The status of the daemon whose property list has this name: one of the constants above, or another number on a
  /// system that knows more.
  virtual int daemonStatus(const std::string& plistName) const = 0;
  /// Registering an enabled daemon again does nothing. After the first registration by a user without administrator
  /// rights the status reads `requiresApproval` until an administrator approves; until then the daemon does not start.
  virtual void registerDaemon(const std::string& plistName) = 0;
  virtual void unregisterDaemon(const std::string& plistName) = 0;
  /// Shows the user where to approve.
  virtual void openSystemSettingsLoginItems() = 0;

  /// The application's own login item.
  virtual int mainAppStatus() const = 0;
  virtual void registerMainApp() = 0;
  virtual void unregisterMainApp() = 0;
};

}  // namespace halcyra
