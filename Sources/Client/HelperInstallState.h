#pragma once

#include <string_view>

namespace halcyra {

enum class HelperInstallState { notRegistered, enabled, requiresApproval, notFound, unknown };

/// From a `ServiceManagement` status.
HelperInstallState helperInstallStateFromStatus(int status);
/// The text shown to the user ("Not installed", "Approved", …).
std::string_view rawValue(HelperInstallState state);

}  // namespace halcyra
