#include "Programs/VirtualMac/ServerSocket.h"

#include <cerrno>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "fmt/format.h"

#include "Platform/Linux/UnixSocket.h"
#include "Programs/VirtualMac/ChildProgram.h"

namespace halcyra {

int makeServerSocket(const std::filesystem::path& path, int type, unsigned mode) {
  constexpr int backlog = 64;
  const auto address = unixSocketAddress(path);
  const int descriptor = ::socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  ::unlink(path.c_str());
  const bool listening = address && descriptor >= 0 &&
                         ::bind(descriptor, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0 &&
                         ::chmod(path.c_str(), mode) == 0 && ::listen(descriptor, backlog) == 0;
  if (!listening) {
    const std::string reason = std::generic_category().message(address ? errno : ENAMETOOLONG);
    if (descriptor >= 0) {
      ::close(descriptor);
    }
    throw VirtualMacError(fmt::format("The socket “{}” could not be made: {}", path.string(), reason));
  }
  return descriptor;
}

}  // namespace halcyra
