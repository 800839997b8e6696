#pragma once

#include <algorithm>
#include <string>

namespace halcyra {

/// The one method of a service on a message bus.
inline constexpr const char* machServiceMethod = "Call";

/// The object of a service on a message bus: the service's name with slashes.
inline std::string machServiceObjectPath(const std::string& serviceName) {
  std::string path = "/" + serviceName;
  std::replace(path.begin(), path.end(), '.', '/');
  return path;
}

}  // namespace halcyra
