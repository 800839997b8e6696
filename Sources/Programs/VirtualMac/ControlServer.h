#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Programs/VirtualMac/Reactor.h"
#include "Programs/VirtualMac/ServerSocket.h"

namespace halcyra {

/// How a command ended: the client's exit status, and the text for its output (or its error output).
struct ControlAnswer {
  int status = 0;
  std::string text;
};

/// The control socket: a client sends one line, {"arguments": [text, …]}, and gets one line back, {"status": n,
/// "text": …}. Whatever else comes is answered with an error and changes nothing.
class ControlServer {
 public:
  /// Carries out a command; answers at once or later, exactly once.
  using Handler =
      std::function<void(const std::vector<std::string>& arguments, std::function<void(ControlAnswer)> answer)>;

  ControlServer(Reactor& reactor, std::filesystem::path socketPath, Handler handler);
  ~ControlServer();
  ControlServer(const ControlServer&) = delete;
  ControlServer& operator=(const ControlServer&) = delete;

  /// Throws `VirtualMacError`.
  void start();

 private:
  struct Client {
    std::uint64_t serial = 0;
    std::string received;
  };

  void accept(int descriptor);
  void receive(int descriptor);
  void handle(int descriptor, const std::string& line);
  void answer(int descriptor, std::uint64_t serial, const ControlAnswer& answer);
  void drop(int descriptor);

  Reactor& reactor_;
  const Handler handler_;
  ServerSocket socket_;
  std::map<int, Client> clients_;
  std::uint64_t lastSerial_ = 0;
};

/// The client's end: sends the command and waits for the answer. Throws `VirtualMacError` when there is no machine.
ControlAnswer sendControlCommand(const std::filesystem::path& socketPath, const std::vector<std::string>& arguments);

}  // namespace halcyra
