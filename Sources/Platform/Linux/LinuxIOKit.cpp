#include "Platform/Linux/LinuxIOKit.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>

#include "Platform/Linux/UnixSocket.h"

namespace halcyra {

namespace {

constexpr const char* serviceClass = "AppleSMC";
constexpr io_service_t serviceHandle = 1;
/// The driver's only selector.
constexpr std::uint32_t structMethodSelector = 2;

timeval toTimeval(double seconds) {
  const double whole = std::floor(seconds);
  timeval result{};
  result.tv_sec = static_cast<time_t>(whole);
  result.tv_usec = static_cast<suseconds_t>((seconds - whole) * 1e6);
  return result;
}

bool isTimeout(int error) {
  return error == EAGAIN || error == EWOULDBLOCK;
}

}  // namespace

/// One client connection. Used by one thread at a time.
class LinuxIOKit::Connection {
 public:
  Connection(std::filesystem::path path, double answerTimeout)
      : path_(std::move(path)), answerTimeout_(answerTimeout) {}
  ~Connection() { disconnect(); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  bool connect() {
    const auto address = unixSocketAddress(path_);
    if (!address) {
      return false;
    }
    // Connecting must not wait for a driver that does not take connections.
    socket_ = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (socket_ < 0) {
      return false;
    }
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) {
      disconnect();
      return false;
    }
    const timeval timeout = toTimeval(answerTimeout_);
    ::fcntl(socket_, F_SETFL, 0);
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    ::setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
    return true;
  }

  kern_return_t call(const void* input, std::size_t inputSize, void* output, std::size_t* outputSize) {
    if (socket_ < 0 && !connect()) {
      return kIOReturnNoDevice;
    }
    ssize_t count = 0;
    do {
      count = ::send(socket_, input, inputSize, MSG_NOSIGNAL);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
      return broken(errno);
    }
    // Not cleared: that would cost more than the rest of the call's own work.
    std::array<char, largestPacketSize> answer;
    do {
      count = ::recv(socket_, answer.data(), answer.size(), MSG_TRUNC);
    } while (count < 0 && errno == EINTR);
    if (count <= 0) {
      return broken(count == 0 ? ECONNRESET : errno);
    }
    const auto size = static_cast<std::size_t>(count);
    if (size == statusPacketSize) {
      kern_return_t status = kIOReturnError;
      std::memcpy(&status, answer.data(), sizeof status);
      return status == kIOReturnSuccess ? kIOReturnError : status;
    }
    std::memcpy(output, answer.data(), std::min({size, answer.size(), *outputSize}));
    *outputSize = size;
    return kIOReturnSuccess;
  }

 private:
  /// A late answer would be taken for that of the next call, so that a connection never outlives a failed call.
  kern_return_t broken(int error) {
    disconnect();
    return isTimeout(error) ? kIOReturnTimeout : kIOReturnNoDevice;
  }

  void disconnect() {
    if (socket_ >= 0) {
      ::close(std::exchange(socket_, -1));
    }
  }

  std::filesystem::path path_;
  double answerTimeout_;
  int socket_ = -1;
};

LinuxIOKit::LinuxIOKit(std::filesystem::path smcSocket, double answerTimeout)
    : smcSocket_(std::move(smcSocket)), answerTimeout_(answerTimeout) {}

LinuxIOKit::~LinuxIOKit() = default;

IOMatchingDictionary LinuxIOKit::IOServiceMatching(const char* name) {
  return {name == nullptr ? std::string() : std::string(name)};
}

io_service_t LinuxIOKit::IOServiceGetMatchingService(mach_port_t /*mainPort*/, const IOMatchingDictionary& matching) {
  struct stat status {};
  const bool exists = ::stat(smcSocket_.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
  return matching.providerClass == serviceClass && exists ? serviceHandle : 0;
}

kern_return_t LinuxIOKit::IOServiceOpen(io_service_t service, task_port_t /*owningTask*/, std::uint32_t type,
                                        io_connect_t* connection) {
  if (service != serviceHandle || type != 0 || connection == nullptr) {
    return kIOReturnBadArgument;
  }
  auto opened = std::make_shared<Connection>(smcSocket_, answerTimeout_);
  if (!opened->connect()) {
    return kIOReturnNoDevice;
  }
  const std::lock_guard lock(mutex_);
  *connection = nextConnection_++;
  connections_.emplace(*connection, std::move(opened));
  return kIOReturnSuccess;
}

kern_return_t LinuxIOKit::IOObjectRelease(io_object_t object) {
  return object == serviceHandle ? kIOReturnSuccess : kIOReturnBadArgument;
}

kern_return_t LinuxIOKit::IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                                    std::size_t inputSize, void* output, std::size_t* outputSize) {
  const auto found = find(connection);
  if (!found) {
    return kIOReturnNotOpen;
  }
  const bool badArguments = selector != structMethodSelector || input == nullptr || inputSize == 0 ||
                            inputSize > largestPacketSize || output == nullptr || outputSize == nullptr;
  return badArguments ? kIOReturnBadArgument : found->call(input, inputSize, output, outputSize);
}

kern_return_t LinuxIOKit::IOServiceClose(io_connect_t connection) {
  const std::lock_guard lock(mutex_);
  return connections_.erase(connection) == 1 ? kIOReturnSuccess : kIOReturnNotOpen;
}

std::shared_ptr<LinuxIOKit::Connection> LinuxIOKit::find(io_connect_t connection) {
  const std::lock_guard lock(mutex_);
  const auto found = connections_.find(connection);
  return found == connections_.end() ? nullptr : found->second;
}

}  // namespace halcyra
