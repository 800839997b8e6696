#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <sys/socket.h>
#include <vector>

#include "Platform/Linux/RuntimeLayout.h"
#include "Programs/VirtualMac/HelperKeeper.h"
#include "Programs/VirtualMac/Machine.h"
#include "Programs/VirtualMac/Reactor.h"
#include "Programs/VirtualMac/ServerSocket.h"

namespace halcyra {

/// The machine's SMC driver: a SOCK_SEQPACKET socket that anybody may open. Packets of a wrong size are answered with
/// an error status. Only root may write keys; on a machine that an ordinary user started, that user's own helper
/// program as well, and what becomes of the fans when such a process ends is the keeper's. Strangers have a limit each
/// and one for all, so that those who may write always get in.
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
  HelperKeeper& keeper() { return keeper_; }

 private:
  struct Client {
    ucred peer{};
    /// May write.
    bool privileged = false;
    std::uint64_t serial = 0;
  };
  /// A write that waits until the fans of a process that has ended are handed back.
  struct HeldWrite {
    int descriptor = -1;
    std::uint64_t serial = 0;
    SMCParamStruct input;
  };

  void listen();
  void close();
  void accept(int descriptor);
  bool hasRoomFor(uid_t user) const;
  void call(int descriptor, const SMCParamStruct& input);
  void callHeld();
  void receive(int descriptor);
  void answer(int descriptor, const void* packet, std::size_t size);
  void answerLater(int descriptor, const VirtualSMCReply& reply);
  void send(int descriptor, const VirtualSMCReply& reply);
  void watchClient(int descriptor);
  void drop(int descriptor);
  bool isPrivileged(const ucred& peer) const;
  static bool isOwner(uid_t user);

  Reactor& reactor_;
  Machine& machine_;
  const std::filesystem::path helperProgram_;
  ServerSocket socket_;
  HelperKeeper keeper_;
  std::map<int, Client> clients_;
  std::vector<HeldWrite> held_;
  std::uint64_t lastSerial_ = 0;
};

}  // namespace halcyra
