#pragma once

#include <string>

#include "Platform/Linux/RuntimeLayout.h"
#include "Programs/VirtualMac/ChildProgram.h"
#include "Programs/VirtualMac/Reactor.h"

namespace halcyra {

/// The machine's own message bus: a `dbus-daemon` as a child, always at the same address, started again when it dies.
class BusDaemon {
 public:
  BusDaemon(Reactor& reactor, const RuntimeLayout& layout) : reactor_(reactor), layout_(layout) {}

  /// Writes the configuration, starts the bus and waits until it takes connections. Throws `VirtualMacError`.
  void start();
  /// To be called when a child has ended.
  void childEnded();
  void end();

  static std::string configuration(const RuntimeLayout& layout);

 private:
  void launch();
  void launchAgain();

  Reactor& reactor_;
  const RuntimeLayout layout_;
  ChildProgram daemon_;
  bool wanted_ = false;
};

}  // namespace halcyra
