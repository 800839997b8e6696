#pragma once

#include <optional>
#include <string>

#include "Platform/FanControlHelper.h"

namespace halcyra {

/// The application's end of the link over XPC, to a launch daemon's Mach service.
class XPCHelperConnections : public FanControlHelperConnections {
 public:
  /// `requirement`: what the helper's code signature must fulfil, in the language of code-signing requirements; nothing
  /// in a build without a signature, which then trusts whoever has the service's name.
  XPCHelperConnections(std::string serviceName, std::optional<std::string> requirement);

  std::shared_ptr<FanControlHelperConnection> connect() override;

 private:
  const std::string serviceName_;
  const std::optional<std::string> requirement_;
};

}  // namespace halcyra
