#include "Support/FakeServiceManagement.h"

namespace halcyra::test {

int FakeServiceManagement::daemonStatus(const std::string& plistName) const {
  const std::lock_guard lock(mutex_);
  lastPlistName_ = plistName;
  return daemonStatus_;
}

void FakeServiceManagement::registerDaemon(const std::string& plistName) {
  const std::lock_guard lock(mutex_);
  ++counts_.registered;
  lastPlistName_ = plistName;
  if (registerError_) {
    throw *registerError_;
  }
  if (daemonStatus_ != enabled) {
    daemonStatus_ = needsApproval_ ? requiresApproval : enabled;
  }
}

void FakeServiceManagement::unregisterDaemon(const std::string& plistName) {
  const std::lock_guard lock(mutex_);
  ++counts_.unregistered;
  lastPlistName_ = plistName;
  if (unregisterError_) {
    throw *unregisterError_;
  }
  daemonStatus_ = notRegistered;
}

void FakeServiceManagement::openSystemSettingsLoginItems() {
  const std::lock_guard lock(mutex_);
  ++counts_.settingsOpened;
}

int FakeServiceManagement::mainAppStatus() const {
  const std::lock_guard lock(mutex_);
  return mainAppStatus_;
}

void FakeServiceManagement::registerMainApp() {
  const std::lock_guard lock(mutex_);
  ++counts_.mainAppRegistered;
  if (mainAppError_) {
    throw *mainAppError_;
  }
  mainAppStatus_ = enabled;
}

void FakeServiceManagement::unregisterMainApp() {
  const std::lock_guard lock(mutex_);
  ++counts_.mainAppUnregistered;
  if (mainAppError_) {
    throw *mainAppError_;
  }
  mainAppStatus_ = notRegistered;
}

void FakeServiceManagement::setDaemonStatus(int status) {
  const std::lock_guard lock(mutex_);
  daemonStatus_ = status;
}

void FakeServiceManagement::setMainAppStatus(int status) {
  const std::lock_guard lock(mutex_);
  mainAppStatus_ = status;
}

void FakeServiceManagement::setNeedsApproval(bool needsApproval) {
  const std::lock_guard lock(mutex_);
  needsApproval_ = needsApproval;
}

void FakeServiceManagement::failRegister(std::optional<ServiceManagementFailure> error) {
  const std::lock_guard lock(mutex_);
  registerError_ = std::move(error);
}

void FakeServiceManagement::failUnregister(std::optional<ServiceManagementFailure> error) {
  const std::lock_guard lock(mutex_);
  unregisterError_ = std::move(error);
}

void FakeServiceManagement::failMainApp(std::optional<ServiceManagementFailure> error) {
  const std::lock_guard lock(mutex_);
  mainAppError_ = std::move(error);
}

FakeServiceManagement::Counts FakeServiceManagement::counts() const {
  const std::lock_guard lock(mutex_);
  return counts_;
}

std::string FakeServiceManagement::lastPlistName() const {
  const std::lock_guard lock(mutex_);
  return lastPlistName_;
}

}  // namespace halcyra::test
