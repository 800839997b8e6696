#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Platform/Dispatch.h"
#include "Platform/FanControlHelper.h"
#include "Platform/Log.h"

namespace halcyra {

/// The helper's end of the link over XPC: the Mach service that the launch daemon's property list names. A client's
/// user and process are those that the kernel tells of its connection.
class XPCHelperListener : public FanControlHelperListener {
 public:
  /// Messages of one client, and of all, that may wait for their answers; what comes beyond is answered with an error.
  static constexpr std::size_t mostOfConnection = 24;
  static constexpr std::size_t mostOfAll = 128;

  /// `requirement`: what a client's code signature must fulfil, in the language of code-signing requirements; nothing
  /// in a build without a signature, which then serves every program. `queue` and `log` outlive the listener.
  XPCHelperListener(std::string serviceName, std::optional<std::string> requirement, Queue& queue, LogSink& log);
  ~XPCHelperListener() override;
  XPCHelperListener(const XPCHelperListener&) = delete;
  XPCHelperListener& operator=(const XPCHelperListener&) = delete;

  void setService(std::weak_ptr<FanControlHelperService> service) override;
  void setClientGoneHandler(std::function<void(const std::string& connectionName)> handler) override;
  void setLostHandler(std::function<void()> handler) override;
  void resume() override;

 private:
  class State;
  const std::shared_ptr<State> state_;
};

}  // namespace halcyra
