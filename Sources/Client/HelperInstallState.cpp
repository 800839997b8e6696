#include "Client/HelperInstallState.h"

#include "Platform/ServiceManagement.h"

namespace halcyra {

HelperInstallState helperInstallStateFromStatus(int status) {
  switch (status) {
    case ServiceManagement::notRegistered:
      return HelperInstallState::notRegistered;
    case ServiceManagement::enabled:
      return HelperInstallState::enabled;
    case ServiceManagement::requiresApproval:
      return HelperInstallState::requiresApproval;
    case ServiceManagement::notFound:
      return HelperInstallState::notFound;
    default:
      return HelperInstallState::unknown;
  }
}

std::string_view rawValue(HelperInstallState state) {
  switch (state) {
    case HelperInstallState::notRegistered:
      return "Not installed";
    case HelperInstallState::enabled:
      return "Approved";
    case HelperInstallState::requiresApproval:
      return "Approval required";
    case HelperInstallState::notFound:
      return "Not set up";
    case HelperInstallState::unknown:
      break;
  }
  return "Unknown";
}

}  // namespace halcyra
