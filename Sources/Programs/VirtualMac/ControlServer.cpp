#include "Programs/VirtualMac/ControlServer.h"

#include <array>
#include <cerrno>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "fmt/format.h"
#include "nlohmann/json.hpp"

#include "Platform/Linux/UnixSocket.h"
#include "Programs/VirtualMac/ChildProgram.h"

namespace halcyra {

namespace {

constexpr unsigned ownerOnly = 0600;
constexpr std::size_t longestLine = 65536;
constexpr std::size_t mostClients = 50;
/// Longer than any command takes.
constexpr time_t answerTimeoutSeconds = 30;

std::optional<std::vector<std::string>> parseCommand(const std::string& line) {
  try {
    return nlohmann::json::parse(line).at("arguments").get<std::vector<std::string>>();
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

std::string answerLine(const ControlAnswer& answer) {
  const nlohmann::json record = {{"status", answer.status}, {"text", answer.text}};
  return record.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) + '\n';
}

/// The descriptor of a connected client; throws.
int connectTo(const std::filesystem::path& path) {
  const auto address = unixSocketAddress(path);
  const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const timeval timeout{answerTimeoutSeconds, 0};
  ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  if (!address || ::connect(descriptor, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) {
    const std::string reason = std::generic_category().message(address ? errno : ENAMETOOLONG);
    ::close(descriptor);
    throw VirtualMacError(fmt::format("No simulated Mac answers in “{}”: {}", path.parent_path().string(), reason));
  }
  return descriptor;
}

}  // namespace

ControlServer::ControlServer(Reactor& reactor, std::filesystem::path socketPath, Handler handler)
    : reactor_(reactor),
      handler_(std::move(handler)),
      socket_(reactor, std::move(socketPath), [this](int descriptor) { accept(descriptor); }) {}

ControlServer::~ControlServer() {
  while (!clients_.empty()) {
    drop(clients_.begin()->first);
  }
}

void ControlServer::start() {
  socket_.listen(SOCK_STREAM, ownerOnly);
}

void ControlServer::accept(int descriptor) {
  if (clients_.size() >= mostClients) {
    ::close(descriptor);
    return;
  }
  clients_[descriptor] = {++lastSerial_, {}};
  reactor_.watch(descriptor, POLLIN, [this, descriptor](short) { receive(descriptor); });
}

void ControlServer::drop(int descriptor) {
  reactor_.unwatch(descriptor);
  ::close(descriptor);
  clients_.erase(descriptor);
}

void ControlServer::receive(int descriptor) {
  std::array<char, 4096> buffer{};
  const ssize_t count = ::recv(descriptor, buffer.data(), buffer.size(), 0);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
    return;
  }
  if (count <= 0) {
    drop(descriptor);
    return;
  }
  Client& client = clients_.at(descriptor);
  client.received.append(buffer.data(), static_cast<std::size_t>(count));
  const auto end = client.received.find('\n');
  if (end != std::string::npos) {
    const std::string line = client.received.substr(0, end);
    handle(descriptor, line);
  } else if (client.received.size() > longestLine) {
    answer(descriptor, client.serial, {1, "The command is too long."});
  }
}

void ControlServer::handle(int descriptor, const std::string& line) {
  const std::uint64_t serial = clients_.at(descriptor).serial;
  // One command per connection; only the client's end is of interest until it is answered.
  reactor_.watch(descriptor, 0, [this, descriptor](short) { drop(descriptor); });
  const auto arguments = parseCommand(line);
  if (!arguments) {
    answer(descriptor, serial, {1, "This is no command."});
    return;
  }
  try {
    handler_(*arguments,
             [this, descriptor, serial](const ControlAnswer& result) { answer(descriptor, serial, result); });
  } catch (const std::exception& error) {
    answer(descriptor, serial, {1, error.what()});
  }
}

void ControlServer::answer(int descriptor, std::uint64_t serial, const ControlAnswer& answer) {
  const auto found = clients_.find(descriptor);
  if (found == clients_.end() || found->second.serial != serial) {
    return;
  }
  const std::string line = answerLine(answer);
  // Answers are far smaller than a socket's buffer; a client that left is no concern.
  [[maybe_unused]] const ssize_t sent = ::send(descriptor, line.data(), line.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  drop(descriptor);
}

ControlAnswer sendControlCommand(const std::filesystem::path& socketPath, const std::vector<std::string>& arguments) {
  const nlohmann::json command = {{"arguments", arguments}};
  const std::string line = command.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) + '\n';
  const int descriptor = connectTo(socketPath);
  std::string received;
  if (::send(descriptor, line.data(), line.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(line.size())) {
    std::array<char, 4096> buffer{};
    for (ssize_t count = 1; count > 0;) {
      count = ::recv(descriptor, buffer.data(), buffer.size(), 0);
      received.append(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    }
  }
  ::close(descriptor);
  try {
    const auto answer = nlohmann::json::parse(received);
    return {answer.at("status").get<int>(), answer.at("text").get<std::string>()};
  } catch (const nlohmann::json::exception&) {
    throw VirtualMacError("The simulated Mac did not answer.");
  }
}

}  // namespace halcyra
