#pragma once

#include <string>

namespace halcyra {

/// Where the processes of one machine meet: the helper by its Mach service, and the control lock.
struct AppleRuntimeLayout {
  /// The layout of the machine that the program runs on.
  static AppleRuntimeLayout system() { return {}; }

  std::string lockFile = "/var/run/com.norwick.Halcyra.fan-control.lock";
};

}  // namespace halcyra
