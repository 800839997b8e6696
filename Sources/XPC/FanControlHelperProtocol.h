#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "Platform/Error.h"
#include "Platform/PropertyList.h"

namespace halcyra {

/// The helper as seen through a connection. Every reply block is called exactly once.
class FanControlHelperProtocol {
 public:
  using DictionaryReply = std::function<void(PropertyList dictionary, std::optional<Error> error)>;
  using ErrorReply = std::function<void(std::optional<Error> error)>;

  virtual ~FanControlHelperProtocol() = default;

  /// Needs no session.
  virtual void status(DictionaryReply reply) = 0;
  /// Opens the one session and answers with the status dictionary.
  virtual void beginSession(const std::string& sessionID, DictionaryReply reply) = 0;
  virtual void heartbeat(const std::string& sessionID, ErrorReply reply) = 0;
  virtual void setFanMode(std::int64_t fan, bool manual, const std::string& sessionID, DictionaryReply reply) = 0;
  virtual void setFanTargetRPM(std::int64_t fan, std::int64_t rpm, const std::string& sessionID,
                               DictionaryReply reply) = 0;
  /// Hands every fan back to automatic control and answers with the status dictionary.
  virtual void resetAll(const std::string& sessionID, DictionaryReply reply) = 0;
  /// Ends the session (fans back to automatic).
  virtual void endSession(const std::string& sessionID, ErrorReply reply) = 0;
  virtual void prepareForUninstall(ErrorReply reply) = 0;
};

}  // namespace halcyra
