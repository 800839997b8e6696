#include "Programs/VirtualMac/ServerSocket.h"

#include <cerrno>
#include <sys/socket.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "fmt/format.h"

#include "Platform/Linux/UnixSocket.h"
#include "Programs/VirtualMac/ChildProgram.h"

namespace halcyra {

namespace {

/// A full queue turns away everybody, whoever filled it.
constexpr int backlog = 1024;
constexpr int mostAtOnce = 256;
/// A connection that cannot be accepted keeps the socket ready.
constexpr Seconds shortageDelay{0.1};

}  // namespace

ServerSocket::ServerSocket(Reactor& reactor, std::filesystem::path path, std::function<void(int descriptor)> accepted)
    : reactor_(reactor), path_(std::move(path)), accepted_(std::move(accepted)) {}

ServerSocket::~ServerSocket() {
  close();
}

void ServerSocket::listen(int type, unsigned mode) {
  const auto address = unixSocketAddress(path_);
  const int descriptor = ::socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  ::unlink(path_.c_str());
  const bool listening = address && descriptor >= 0 &&
                         ::bind(descriptor, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0 &&
                         ::chmod(path_.c_str(), mode) == 0 && ::listen(descriptor, backlog) == 0;
  if (!listening) {
    const std::string reason = std::generic_category().message(address ? errno : ENAMETOOLONG);
    if (descriptor >= 0) {
      ::close(descriptor);
    }
    throw VirtualMacError(fmt::format("The socket “{}” could not be made: {}", path_.string(), reason));
  }
  listener_ = descriptor;
  watch();
}

void ServerSocket::close() {
  if (listener_ >= 0) {
    reactor_.unwatch(listener_);
    ::close(std::exchange(listener_, -1));
    ::unlink(path_.c_str());
  }
}

void ServerSocket::watch() {
  reactor_.watch(listener_, POLLIN, [this](short) { accept(); });
}

void ServerSocket::accept() {
  for (int count = 0; count < mostAtOnce && isListening(); ++count) {
    const int descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (descriptor >= 0) {
      accepted_(descriptor);
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      return;
    } else if (errno != EINTR && errno != ECONNABORTED) {
      // No more descriptors, or no memory.
      reactor_.unwatch(listener_);
      reactor_.after(shortageDelay, [this] {
        if (isListening()) watch();
      });
      return;
    }
  }
}

}  // namespace halcyra
