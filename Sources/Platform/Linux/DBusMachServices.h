#pragma once

#include <memory>

#include "Platform/Linux/BusThread.h"
#include "Platform/MachService.h"

namespace halcyra {

/// Services found on a message bus; both domains are that one bus. The handlers of all connections run on the bus
/// thread: they must not wait for another call. A service called by name is started by the bus when its activation
/// file says how.
///
/// A call that is not answered within the call timeout fails as interrupted.
class DBusMachServices : public MachServices {
 public:
  /// Longer than two fans' writes may take to latch, one behind the other. Not longer: while an answer that was lost is
  /// waited for, its fan can be told nothing else.
  static constexpr Seconds defaultCallTimeout{25.0};

  /// `bus` must outlive this and all its connections.
  explicit DBusMachServices(BusThread& bus, Seconds callTimeout = defaultCallTimeout)
      : bus_(bus), callTimeout_(callTimeout) {}

  std::shared_ptr<MachServiceConnection> connect(const std::string& serviceName, MachServiceDomain domain) override;

 private:
  BusThread& bus_;
  Seconds callTimeout_;
};

}  // namespace halcyra
