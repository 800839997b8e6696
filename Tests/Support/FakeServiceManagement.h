#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "Platform/Error.h"
#include "Platform/ServiceManagement.h"

namespace halcyra::test {

class ServiceManagementFailure : public LocalizedError {
 public:
  explicit ServiceManagementFailure(const std::string& description, std::int64_t code = 1)
      : LocalizedError(description), code_(code) {}
  std::string_view domain() const override { return "SMAppServiceErrorDomain"; }
  std::int64_t code() const override { return code_; }

 private:
  std::int64_t code_;
};

/// Registrations in memory, and what was asked for. Any thread.
class FakeServiceManagement : public ServiceManagement {
 public:
  int daemonStatus(const std::string& plistName) const override;
  void registerDaemon(const std::string& plistName) override;
  void unregisterDaemon(const std::string& plistName) override;
  void openSystemSettingsLoginItems() override;
  int mainAppStatus() const override;
  void registerMainApp() override;
  void unregisterMainApp() override;

  /// Any number, also one that the interface does not know. `notRegistered` to begin with.
  void setDaemonStatus(int status);
  void setMainAppStatus(int status);
  /// A first registration reads `requiresApproval` until `approve`. Off to begin with.
  void setNeedsApproval(bool needsApproval);
  void approve() { setDaemonStatus(enabled); }

  /// These operations fail with the error, until it is taken back by nothing.
  void failRegister(std::optional<ServiceManagementFailure> error);
  void failUnregister(std::optional<ServiceManagementFailure> error);
  void failMainApp(std::optional<ServiceManagementFailure> error);

  struct Counts {
    int registered = 0;
    int unregistered = 0;
    int settingsOpened = 0;
    int mainAppRegistered = 0;
    int mainAppUnregistered = 0;
  };
  /// Attempts, failed ones included.
  Counts counts() const;
  /// The name last asked about or changed.
  std::string lastPlistName() const;

 private:
  mutable std::mutex mutex_;
  int daemonStatus_ = notRegistered;
  int mainAppStatus_ = notRegistered;
  bool needsApproval_ = false;
  std::optional<ServiceManagementFailure> registerError_;
  std::optional<ServiceManagementFailure> unregisterError_;
  std::optional<ServiceManagementFailure> mainAppError_;
  Counts counts_;
  mutable std::string lastPlistName_;
};

}  // namespace halcyra::test
