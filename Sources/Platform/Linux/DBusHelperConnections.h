#pragma once

#include <memory>

#include "Platform/FanControlHelper.h"
#include "Platform/Linux/BusThread.h"

namespace halcyra {

/// The helper found on a message bus, which starts it when its activation file says how. The handlers of all
/// connections run on the bus thread: they must not wait for another call.
///
/// A call that is not answered within the call timeout, that the bus or the helper refuses because too much is under
/// way, or whose answer is none of ours, fails as interrupted.
class DBusHelperConnections : public FanControlHelperConnections {
 public:
  /// Longer than two fans' writes may take to latch, one behind the other. Not longer: while an answer that was lost is
  /// waited for, its fan can be told nothing else.
  static constexpr Seconds defaultCallTimeout{25.0};

  /// `bus` must outlive this and all its connections.
  explicit DBusHelperConnections(BusThread& bus, Seconds callTimeout = defaultCallTimeout)
      : bus_(bus), callTimeout_(callTimeout) {}

  std::shared_ptr<FanControlHelperConnection> connect() override;

 private:
  BusThread& bus_;
  Seconds callTimeout_;
};

}  // namespace halcyra
