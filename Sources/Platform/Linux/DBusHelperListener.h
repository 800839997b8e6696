#pragma once

#include <memory>
#include <string>

#include "Platform/Clock.h"
#include "Platform/Dispatch.h"
#include "Platform/FanControlHelper.h"
#include "Platform/Linux/BusThread.h"
#include "Platform/Log.h"

namespace halcyra {

class HelperNameError : public LocalizedError {
 public:
  using LocalizedError::LocalizedError;
  std::string_view domain() const override { return "halcyra.FanControlHelperListener"; }
};

/// The helper on a message bus. A message is refused with `LimitsExceeded` when its session ID is longer than one can
/// be, or when too many others are under way (`MessageAdmission`); the log tells of refusals from time to time. One
/// message at a time is held in memory besides those that have been taken on.
class DBusHelperListener : public FanControlHelperListener {
 public:
  /// `bus` (used by nothing else that takes names), `queue` and `clock` must outlive the listener. Destruction gives
  /// the name up; not on the bus thread.
  DBusHelperListener(BusThread& bus, Queue& queue, const Clock& clock, LogSink& log);
  ~DBusHelperListener() override;

  void setService(std::weak_ptr<FanControlHelperService> service) override;
  void setClientGoneHandler(std::function<void(const std::string& connectionName)> handler) override;
  void setLostHandler(std::function<void()> handler) override;
  /// Blocks until the bus has answered. Throws `HelperNameError`.
  void resume() override;

 private:
  class State;
  std::shared_ptr<State> state_;
};

}  // namespace halcyra
