#include "Platform/Apple/AppleServiceManagement.h"

#import <Foundation/Foundation.h>
#import <ServiceManagement/ServiceManagement.h>

#include "Platform/Apple/FoundationError.h"

namespace halcyra {

namespace {

class ServiceManagementError : public LocalizedError {
 public:
  explicit ServiceManagementError(const Error& error)
      : LocalizedError(error.localizedDescription()), domain_(error.domain), code_(error.code) {}
  std::string_view domain() const override { return domain_; }
  std::int64_t code() const override { return code_; }

 private:
  std::string domain_;
  std::int64_t code_;
};

SMAppService* daemonNamed(const std::string& plistName) {
  NSString* const name = [NSString stringWithUTF8String:plistName.c_str()];
  return [SMAppService daemonServiceWithPlistName:name != nil ? name : @""];
}

void registerService(SMAppService* service) {
  NSError* error = nil;
  // A service that awaits its approval is registered: the system says so by an error.
  if (![service registerAndReturnError:&error] && service.status != SMAppServiceStatusRequiresApproval) {
    throw ServiceManagementError(errorOf(error));
  }
}

void unregisterService(SMAppService* service) {
  NSError* error = nil;
  if (![service unregisterAndReturnError:&error]) throw ServiceManagementError(errorOf(error));
}

}  // namespace

static_assert(SMAppServiceStatusNotRegistered == ServiceManagement::notRegistered);
static_assert(SMAppServiceStatusEnabled == ServiceManagement::enabled);
static_assert(SMAppServiceStatusRequiresApproval == ServiceManagement::requiresApproval);
static_assert(SMAppServiceStatusNotFound == ServiceManagement::notFound);

int AppleServiceManagement::daemonStatus(const std::string& plistName) const {
  @autoreleasepool {
    return static_cast<int>(daemonNamed(plistName).status);
  }
}

void AppleServiceManagement::registerDaemon(const std::string& plistName) {
  @autoreleasepool {
    SMAppService* const service = daemonNamed(plistName);
    if (service.status != SMAppServiceStatusEnabled) registerService(service);
  }
}

void AppleServiceManagement::unregisterDaemon(const std::string& plistName) {
  @autoreleasepool {
    unregisterService(daemonNamed(plistName));
  }
}

void AppleServiceManagement::openSystemSettingsLoginItems() {
  @autoreleasepool {
    [SMAppService openSystemSettingsLoginItems];
  }
}

int AppleServiceManagement::mainAppStatus() const {
  @autoreleasepool {
    return static_cast<int>(SMAppService.mainAppService.status);
  }
}

void AppleServiceManagement::registerMainApp() {
  @autoreleasepool {
    registerService(SMAppService.mainAppService);
  }
}

void AppleServiceManagement::unregisterMainApp() {
  @autoreleasepool {
    unregisterService(SMAppService.mainAppService);
  }
}

}  // namespace halcyra
