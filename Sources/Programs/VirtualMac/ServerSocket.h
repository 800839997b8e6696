#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>

#include "Programs/VirtualMac/Reactor.h"

namespace halcyra {

/// A listening Unix socket and what comes in on it. Loop thread only.
class ServerSocket {
 public:
  /// `accepted` gets the descriptor of each connection, non-blocking, which it then owns.
  ServerSocket(Reactor& reactor, std::filesystem::path path, std::function<void(int descriptor)> accepted);
  ~ServerSocket();
  ServerSocket(const ServerSocket&) = delete;
  ServerSocket& operator=(const ServerSocket&) = delete;

  /// Listens in place of a stale socket, with these permissions. `type` as for `socket`. Throws `VirtualMacError`.
  void listen(int type, unsigned mode);
  bool isListening() const { return listener_ >= 0; }
  /// Removes the socket.
  void close();

 private:
  void watch();
  void accept();

  Reactor& reactor_;
  const std::filesystem::path path_;
  const std::function<void(int)> accepted_;
  int listener_ = -1;
};

}  // namespace halcyra
