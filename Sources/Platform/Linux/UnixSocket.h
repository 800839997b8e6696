#pragma once

#include <cstring>
#include <filesystem>
#include <optional>
#include <sys/socket.h>
#include <sys/un.h>

namespace halcyra {

/// Nothing when the path is too long for a socket.
inline std::optional<sockaddr_un> unixSocketAddress(const std::filesystem::path& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.native().size() >= sizeof address.sun_path) {
    return std::nullopt;
  }
  std::memcpy(address.sun_path, path.c_str(), path.native().size() + 1);
  return address;
}

}  // namespace halcyra
