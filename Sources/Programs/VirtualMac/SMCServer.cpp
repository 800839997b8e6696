#include "Programs/VirtualMac/SMCServer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

#include "Platform/IOKit.h"
#include "Platform/Linux/LinuxSystemInformation.h"

namespace halcyra {

namespace {

constexpr unsigned everybody = 0666;
constexpr std::ptrdiff_t mostSMCClients = 200;
constexpr std::ptrdiff_t mostStrangers = 150;
constexpr std::ptrdiff_t mostOfOneStranger = 40;

}  // namespace

SMCServer::SMCServer(Reactor& reactor, Machine& machine, const RuntimeLayout& layout)
    : reactor_(reactor),
      machine_(machine),
      helperProgram_(siblingProgram("aerovane-helper")),
      socket_(reactor, layout.smcSocket, [this](int descriptor) { accept(descriptor); }),
      keeper_(reactor, layout, [this] { callHeld(); }) {}

SMCServer::~SMCServer() {
  close();
}

void SMCServer::start() {
  listen();
}

void SMCServer::listen() {
  socket_.listen(SOCK_SEQPACKET, everybody);
}

void SMCServer::close() {
  while (!clients_.empty()) {
    drop(clients_.begin()->first);
  }
  socket_.close();
}

void SMCServer::faultsChanged() {
  const bool gone = machine_.faults().driverGone();
  if (gone) {
    close();
  } else if (!socket_.isListening()) {
    listen();
  }
}

void SMCServer::accept(int descriptor) {
  Client client;
  socklen_t size = sizeof client.peer;
  if (::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &client.peer, &size) != 0 || !hasRoomFor(client.peer.uid)) {
    ::close(descriptor);
    return;
  }
  client.privileged = isPrivileged(client.peer);
  client.serial = ++lastSerial_;
  if (client.privileged) keeper_.follow(client.peer.pid);
  clients_[descriptor] = client;
  watchClient(descriptor);
}

bool SMCServer::isOwner(uid_t user) {
  return user == 0 || user == ::geteuid();
}

bool SMCServer::hasRoomFor(uid_t user) const {
  const auto countIf = [&](auto&& matches) {
    return std::count_if(clients_.begin(), clients_.end(),
                         [&](const auto& entry) { return matches(entry.second.peer.uid); });
  };
  if (isOwner(user)) {
    return countIf([](uid_t) { return true; }) < mostSMCClients;
  }
  return countIf([](uid_t other) { return !isOwner(other); }) < mostStrangers &&
         countIf([&](uid_t other) { return other == user; }) < mostOfOneStranger;
}

bool SMCServer::isPrivileged(const ucred& peer) const {
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
  const Client& client = clients_.at(descriptor);
  if (client.privileged && input.command == SMCParamStruct::writeBytes) {
    if (keeper_.mustWait(client.peer.pid)) {
      reactor_.unwatch(descriptor);
      held_.push_back({descriptor, client.serial, input});
      return;
    }
    keeper_.noteWrite(client.peer.pid);
  }
  call(descriptor, input);
}

void SMCServer::callHeld() {
  for (const HeldWrite& write : std::exchange(held_, {})) {
    const auto found = clients_.find(write.descriptor);
    if (found != clients_.end() && found->second.serial == write.serial) {
      keeper_.noteWrite(found->second.peer.pid);
      watchClient(write.descriptor);
      call(write.descriptor, write.input);
    }
  }
}

void SMCServer::call(int descriptor, const SMCParamStruct& input) {
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
