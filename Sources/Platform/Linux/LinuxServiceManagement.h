#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "Platform/Linux/HelperRegistration.h"
#include "Platform/Linux/RuntimeLayout.h"
#include "Platform/Log.h"
#include "Platform/ServiceManagement.h"

namespace halcyra {

class ServiceManagementError : public LocalizedError {
 public:
  using LocalizedError::LocalizedError;
  std::string_view domain() const override { return "halcyra.ServiceManagement"; }
};

struct LinuxServiceManagementOptions {
  RuntimeLayout layout;
  std::filesystem::path helperProgram;
  /// Who registers; 0 needs no approval.
  std::uint32_t userID = 0;
  /// The login item: the application's program, and the autostart entry that starts it.
  std::filesystem::path applicationProgram;
  std::filesystem::path autostartEntry;
  /// Lets an administrator register the daemon for `userID`; returns before it is done, and throws a `LocalizedError`
  /// when it cannot be asked for. Empty: the records are this process's own to write.
  std::function<void()> askAdministrator;
};

/// Registration of the daemon as records in the machine's layout and as a D-Bus activation file, which exists exactly
/// while the daemon is registered and may be started, unless it comes with an installed package. The login item is an
/// XDG autostart entry.
///
/// Where the records are not this process's own, registering writes nothing: the status reads `requiresApproval`, and
/// `openSystemSettingsLoginItems` asks the administrator. Only who the daemon is registered for, and root, see it as
/// registered. The status may be asked for on any thread.
class LinuxServiceManagement : public ServiceManagement {
 public:
  LinuxServiceManagement(LinuxServiceManagementOptions options, LogSink& log);

  int daemonStatus(const std::string& plistName) const override;
  void registerDaemon(const std::string& plistName) override;
  void unregisterDaemon(const std::string& plistName) override;
  void openSystemSettingsLoginItems() override;
  int mainAppStatus() const override;
  void registerMainApp() override;
  void unregisterMainApp() override;

  /// Approves the registered daemon on behalf of an administrator, for the user that it is registered for: it may be
  /// started from now on, also after being registered again. Throws when nothing is registered.
  void approve(const std::string& plistName);

  /// What has to be typed into a terminal to have the helper registered and approved for `userID`: by an administrator
  /// on a machine whose records are the system's, else by the user whose records they are.
  std::string approvalCommand() const;

 private:
  std::filesystem::path activationFile(const std::string& plistName) const;
  bool isActivationPackaged(const std::string& plistName) const;
  void writeActivation(const std::string& plistName, const HelperRegistration& registration);

  LinuxServiceManagementOptions options_;
  LogSink& log_;
  Logger logger_;
  /// Registering was asked for and is the administrator's to do.
  std::atomic<bool> awaitsAdministrator_{false};
};

/// `$XDG_CONFIG_HOME/autostart/aerovane.desktop`, or the same under `~/.config`.
std::filesystem::path autostartEntryPath();

}  // namespace halcyra
