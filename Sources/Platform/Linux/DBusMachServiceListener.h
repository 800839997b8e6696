#pragma once

#include <memory>
#include <string>

#include "Platform/Dispatch.h"
#include "Platform/Linux/BusThread.h"
#include "Platform/Log.h"
#include "Platform/MachService.h"

namespace halcyra {

class MachServiceNameError : public LocalizedError {
 public:
  using LocalizedError::LocalizedError;
  std::string_view domain() const override { return "halcyra.MachServiceListener"; }
};

/// A service on a message bus: interface and bus name are the service's name, the object path is the name with
/// slashes, the one method is `Call(s selector, v arguments) -> v value`. What cannot be decoded, or whose sender the
/// bus does not vouch for, is answered with an error and never reaches the message handler.
class DBusMachServiceListener : public MachServiceListener {
 public:
  /// `bus` (used by nothing else that takes names) and `queue` must outlive the listener. Destruction gives the name
  /// up; not on the bus thread.
  DBusMachServiceListener(BusThread& bus, std::string serviceName, Queue& queue, LogSink& log);
  ~DBusMachServiceListener() override;

  void setMessageHandler(MessageHandler handler) override;
  void setClientGoneHandler(std::function<void(const std::string& connectionName)> handler) override;
  void setLostHandler(std::function<void()> handler) override;
  /// Blocks until the bus has answered. Throws `MachServiceNameError`.
  void resume() override;

 private:
  class State;
  std::shared_ptr<State> state_;
};

}  // namespace halcyra
