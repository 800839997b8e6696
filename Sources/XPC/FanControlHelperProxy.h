#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Platform/MachService.h"
#include "XPC/FanControlHelperProtocol.h"

namespace halcyra {

/// The helper at the other end of a connection. Of each call exactly one is called, once: its reply block with the
/// helper's answer, or the error handler when the connection broke before there was one. Both run on a thread of the
/// connection. Safe from any thread; a call outlives the proxy.
class FanControlHelperProxy : public FanControlHelperProtocol {
 public:
  /// Without a connection nothing can be sent, and every call ends at once in the error handler with a helper error
  /// (`internalFailure`).
  FanControlHelperProxy(std::shared_ptr<MachServiceConnection> connection, std::function<void(Error)> errorHandler);

  void status(DictionaryReply reply) override;
  void beginSession(const std::string& sessionID, DictionaryReply reply) override;
  void heartbeat(const std::string& sessionID, ErrorReply reply) override;
  void setFanMode(std::int64_t fan, bool manual, const std::string& sessionID, DictionaryReply reply) override;
  void setFanTargetRPM(std::int64_t fan, std::int64_t rpm, const std::string& sessionID,
                       DictionaryReply reply) override;
  void resetAll(const std::string& sessionID, DictionaryReply reply) override;
  void endSession(const std::string& sessionID, ErrorReply reply) override;
  void prepareForUninstall(ErrorReply reply) override;

 private:
  void send(std::string_view selector, PropertyList arguments, DictionaryReply reply);
  void send(std::string_view selector, PropertyList arguments, ErrorReply reply);
  void call(std::string_view selector, PropertyList arguments, MachServiceConnection::ReplyHandler reply);

  std::shared_ptr<MachServiceConnection> connection_;
  std::function<void(Error)> errorHandler_;
};

}  // namespace halcyra
