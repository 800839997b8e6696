#include "Programs/VirtualMac/SMCServer.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

#include "Platform/IOKit.h"
#include "Platform/Linux/LinuxSystemInformation.h"
#include "Programs/VirtualMac/ServerSocket.h"

namespace halcyra {

namespace {

constexpr unsigned everybody = 0666;
constexpr std::size_t mostSMCClients = 200;

}  // namespace

SMCServer::SMCServer(Reactor& reactor, Machine& machine, const RuntimeLayout& layout)
    : reactor_(reactor),
      machine_(machine),
      socketPath_(layout.smcSocket),
      helperProgram_(siblingProgram("aerovane-helper")) {}

SMCServer::~SMCServer() {
  close();
}

void SMCServer::start() {
  listen();
}

void SMCServer::listen() {
  listener_ = makeServerSocket(socketPath_, SOCK_SEQPACKET, everybody);
  reactor_.watch(listener_, POLLIN, [this](short) { accept(); });
}

void SMCServer::close() {
  while (!clients_.empty()) {
    drop(clients_.begin()->first);
  }
  if (listener_ >= 0) {
    reactor_.unwatch(listener_);
    ::close(std::exchange(listener_, -1));
    ::unlink(socketPath_.c_str());
  }
}

void SMCServer::faultsChanged() {
  const bool gone = machine_.faults().driverGone();
  if (gone) {
    close();
  } else if (listener_ < 0) {
    listen();
  }
}

void SMCServer::accept() {
  const int descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (descriptor < 0) {
    return;
  }
  if (clients_.size() >= mostSMCClients) {
    ::close(descriptor);
    return;
  }
  clients_[descriptor] = {isPrivileged(descriptor), ++lastSerial_};
  watchClient(descriptor);
}

bool SMCServer::isPrivileged(int descriptor) const {
  ucred peer{};
  socklen_t size = sizeof peer;
  if (::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
    return false;
  }
  if (peer.uid == 0) {
    return true;
  }
  return ::geteuid() != 0 && peer.uid == ::geteuid() &&
         LinuxSystemInformation::executablePath(peer.pid) == helperProgram_.string();
}

void SMCServer::watchClient(int descriptor) {
  reactor_.watch(descriptor, POLLIN, [this, descriptor](short) { receive(descriptor); });
}

void SMCServer::drop(int descriptor) {
  reactor_.unwatch(descriptor);
  ::close(descriptor);
  clients_.erase(descriptor);
}

void SMCServer::receive(int descriptor) {
  SMCParamStruct input;
  const ssize_t size = ::recv(descriptor, &input, sizeof input, MSG_TRUNC);
  if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
    return;
  }
  if (size <= 0) {
    drop(descriptor);
    return;
  }
  if (size != static_cast<ssize_t>(sizeof input)) {
    answer(descriptor, &kIOReturnBadArgument, sizeof kIOReturnBadArgument);
    return;
  }
  const VirtualSMCReply reply = machine_.call(input, clients_.at(descriptor).privileged);
  if (reply.delay > Seconds::zero()) {
    answerLater(descriptor, reply);
  } else {
    send(descriptor, reply);
  }
}

void SMCServer::answerLater(int descriptor, const VirtualSMCReply& reply) {
  // The driver serves a connection's calls one after the other.
  reactor_.unwatch(descriptor);
  reactor_.after(reply.delay, [this, descriptor, reply, serial = clients_.at(descriptor).serial] {
    const auto found = clients_.find(descriptor);
    if (found != clients_.end() && found->second.serial == serial) {
      watchClient(descriptor);
      send(descriptor, reply);
    }
  });
}

void SMCServer::send(int descriptor, const VirtualSMCReply& reply) {
  if (reply.status != kIOReturnSuccess) {
    answer(descriptor, &reply.status, sizeof reply.status);
  } else {
    answer(descriptor, &reply.output, sizeof reply.output);
  }
}

void SMCServer::answer(int descriptor, const void* packet, std::size_t size) {
  // A client that does not take its answers is not waited for.
  if (::send(descriptor, packet, size, MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
    drop(descriptor);
  }
}

}  // namespace halcyra
