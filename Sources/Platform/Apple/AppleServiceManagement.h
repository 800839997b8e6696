#pragma once

#include "Platform/ServiceManagement.h"

namespace halcyra {

/// Launch daemon and login item of the application's bundle, as the system's service management has them. A program
/// outside of a bundle has neither: its daemon reads `notFound`, and registering fails with the system's own error.
class AppleServiceManagement : public ServiceManagement {
 public:
  int daemonStatus(const std::string& plistName) const override;
  void registerDaemon(const std::string& plistName) override;
  void unregisterDaemon(const std::string& plistName) override;
  void openSystemSettingsLoginItems() override;

  int mainAppStatus() const override;
  void registerMainApp() override;
  void unregisterMainApp() override;
};

}  // namespace halcyra
