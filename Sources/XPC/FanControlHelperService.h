#pragma once

#include <cstdint>
#include <string>

#include "Platform/MachService.h"
#include "XPC/FanControlHelperProtocol.h"

namespace halcyra {

/// The helper as the daemon implements it: `FanControlHelperProtocol` with the caller of each message. Called on the
/// listener's queue, with arguments of the right types but not judged otherwise (a fan index may be negative, a session
/// unknown). Every reply block is to be called exactly once, from any thread; further calls are ignored.
class FanControlHelperService {
 public:
  using DictionaryReply = FanControlHelperProtocol::DictionaryReply;
  using ErrorReply = FanControlHelperProtocol::ErrorReply;

  virtual ~FanControlHelperService() = default;

  virtual void status(const MachServiceCaller& caller, DictionaryReply reply) = 0;
  virtual void beginSession(const MachServiceCaller& caller, const std::string& sessionID, DictionaryReply reply) = 0;
  virtual void heartbeat(const MachServiceCaller& caller, const std::string& sessionID, ErrorReply reply) = 0;
  virtual void setFanMode(const MachServiceCaller& caller, int fan, bool manual, const std::string& sessionID,
                          DictionaryReply reply) = 0;
  virtual void setFanTargetRPM(const MachServiceCaller& caller, int fan, std::int64_t rpm, const std::string& sessionID,
                               DictionaryReply reply) = 0;
  virtual void resetAll(const MachServiceCaller& caller, const std::string& sessionID, DictionaryReply reply) = 0;
  virtual void endSession(const MachServiceCaller& caller, const std::string& sessionID, ErrorReply reply) = 0;
  virtual void prepareForUninstall(const MachServiceCaller& caller, ErrorReply reply) = 0;
};

}  // namespace halcyra
