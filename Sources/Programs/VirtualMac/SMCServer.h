#pragma once

#include <cstdint>
#include <filesystem>
#include <map>

#include "Platform/Linux/RuntimeLayout.h"
#include "Programs/VirtualMac/Machine.h"
#include "Programs/VirtualMac/Reactor.h"

namespace halcyra {

/// The machine's SMC driver: a SOCK_SEQPACKET socket that anybody may open. Packets of a wrong size are answered with
/// an error status. Only root may write keys; on a machine that an ordinary user started, that user's own helper
/// program as well.
class SMCServer {
 public:
  SMCServer(Reactor& reactor, Machine& machine, const RuntimeLayout& layout);
  ~SMCServer();
  SMCServer(const SMCServer&) = delete;
  SMCServer& operator=(const SMCServer&) = delete;

  /// Throws `VirtualMacError`.
  void start();
  /// To be called when the machine's faults have changed: a driver that is gone closes its socket and connections.
  void faultsChanged();
  bool hasClients() const { return !clients_.empty(); }

 private:
  struct Client {
    bool privileged = false;
    std::uint64_t serial = 0;
  };

  void listen();
  void close();
  void accept();
  void receive(int descriptor);
  void answer(int descriptor, const void* packet, std::size_t size);
  void answerLater(int descriptor, const VirtualSMCReply& reply);
  void send(int descriptor, const VirtualSMCReply& reply);
  void watchClient(int descriptor);
  void drop(int descriptor);
  bool isPrivileged(int descriptor) const;

  Reactor& reactor_;
  Machine& machine_;
  const std::filesystem::path socketPath_;
  const std::filesystem::path helperProgram_;
  int listener_ = -1;
  std::map<int, Client> clients_;
  std::uint64_t lastSerial_ = 0;
};

}  // namespace halcyra
