#pragma once

#include <set>
#include <string_view>

#include "Platform/Clock.h"
#include "Platform/IOKit.h"
#include "VirtualMac/VirtualMac.h"

namespace halcyra::test {

/// The driver interface over a simulated machine in the same process. Several of these may share one machine: one per
/// simulated process, privileged or not. Time at the machine is the clock's steady time since power-on at zero; every
/// call first advances it. A call that takes long sleeps on the clock. Calls must not overlap in real time with calls
/// through another instance on the same machine (the virtual-time scheduler runs one thing at a time).
class VirtualMacIOKit : public IOKit {
 public:
  VirtualMacIOKit(VirtualMac& machine, Clock& clock, bool privileged);

  IOMatchingDictionary IOServiceMatching(const char* name) override;
  io_service_t IOServiceGetMatchingService(mach_port_t mainPort, const IOMatchingDictionary& matching) override;
  kern_return_t IOServiceOpen(io_service_t service, task_port_t owningTask, std::uint32_t type,
                              io_connect_t* connection) override;
  kern_return_t IOObjectRelease(io_object_t object) override;
  kern_return_t IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                          std::size_t inputSize, void* output, std::size_t* outputSize) override;
  kern_return_t IOServiceClose(io_connect_t connection) override;

  /// Brings the machine to the clock's time, then carries out a fault command.
  void applyFault(std::string_view command);
  /// Brings the machine to the clock's time and says how it is.
  VirtualMacState state();

  /// A connection that has met the driver gone stays dead when the driver is back. Else it works again, as it does over
  /// the machine's socket.
  bool connectionsDie = false;

  std::size_t openConnections() const { return connections_.size(); }
  /// Services looked up and not yet released.
  std::size_t heldServices() const { return services_.size(); }

 private:
  void advance();

  VirtualMac& machine_;
  Clock& clock_;
  bool privileged_;
  io_object_t nextHandle_ = 0x1000;
  std::set<io_object_t> services_;
  std::set<io_object_t> connections_;
};

}  // namespace halcyra::test
