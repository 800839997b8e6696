#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Platform/Error.h"
#include "Platform/PropertyList.h"

/// The link between the application and its privileged helper: the helper's eight messages, typed, at both ends.
namespace halcyra {

/// `dictionary` is a dictionary when there is no error, else null. A service that answers with neither is read as one
/// that answers with an empty dictionary.
using HelperDictionaryReply = std::function<void(PropertyList dictionary, std::optional<Error> error)>;
using HelperErrorReply = std::function<void(std::optional<Error> error)>;

/// The helper as seen through a connection. Every reply block is called exactly once: with the helper's answer, or,
/// when the connection breaks before there is one, with an error of `cocoaErrorDomain` whose code is
/// `connectionInterruptedCode` or `connectionInvalidCode`.
class FanControlHelperProtocol {
 public:
  using DictionaryReply = HelperDictionaryReply;
  using ErrorReply = HelperErrorReply;

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

/// The application's end. All operations are safe from any thread; reply blocks and the invalidation handler run on a
/// thread of the connection, never on the caller's stack and never while a lock of the connection is held.
///
/// Two kinds of loss: when the helper's process ends (*interruption*), calls that are out fail with
/// `connectionInterruptedCode`, and the next call starts the helper again; when the connection itself is gone or the
/// helper cannot be started because it is not registered (*invalidation*), calls that are out fail with
/// `connectionInvalidCode`, then the invalidation handler is called, once, and every later call fails the same way.
/// A connection that is released is invalidated, without its handler being called.
class FanControlHelperConnection : public FanControlHelperProtocol {
 public:
  /// To be set before `resume`.
  virtual void setInvalidationHandler(std::function<void()> handler) = 0;

  /// Makes the connection usable; to be called before the first message. Nothing is sent by it.
  virtual void resume() = 0;

  /// Ends the connection; calls that are out fail with `connectionInvalidCode`, and the invalidation handler is called.
  virtual void invalidate() = 0;
};

/// How the application finds its helper.
class FanControlHelperConnections {
 public:
  virtual ~FanControlHelperConnections() = default;

  /// A new connection, not yet resumed. Never fails: a helper that cannot be reached fails the calls.
  virtual std::shared_ptr<FanControlHelperConnection> connect() = 0;
};

/// Who sent a message, as the operating system vouches for it.
struct FanControlHelperCaller {
  /// Unique among the connections of the moment and never used again.
  std::string connectionName;
  std::uint32_t userID = 0;
  std::int32_t processID = 0;

  bool operator==(const FanControlHelperCaller&) const = default;
};

/// The helper as the daemon implements it: `FanControlHelperProtocol` with the caller of each message. Called on the
/// listener's queue, with arguments of the right types but not judged otherwise: a fan index may be any number, a
/// session ID any text. Every reply block is to be called exactly once, from any thread; further calls are ignored.
class FanControlHelperService {
 public:
  using Caller = FanControlHelperCaller;
  using DictionaryReply = HelperDictionaryReply;
  using ErrorReply = HelperErrorReply;

  virtual ~FanControlHelperService() = default;

  virtual void status(const Caller& caller, DictionaryReply reply) = 0;
  virtual void beginSession(const Caller& caller, const std::string& sessionID, DictionaryReply reply) = 0;
  virtual void heartbeat(const Caller& caller, const std::string& sessionID, ErrorReply reply) = 0;
  virtual void setFanMode(const Caller& caller, std::int64_t fan, bool manual, const std::string& sessionID,
                          DictionaryReply reply) = 0;
  virtual void setFanTargetRPM(const Caller& caller, std::int64_t fan, std::int64_t rpm, const std::string& sessionID,
                               DictionaryReply reply) = 0;
  virtual void resetAll(const Caller& caller, const std::string& sessionID, DictionaryReply reply) = 0;
  virtual void endSession(const Caller& caller, const std::string& sessionID, ErrorReply reply) = 0;
  virtual void prepareForUninstall(const Caller& caller, ErrorReply reply) = 0;
};

/// The daemon's end: messages from any number of clients, delivered on the queue that the listener was made with.
/// A listener
/// - refuses a sender that the operating system does not vouch for, and whatever is not one of the eight messages with
///   arguments of its types; neither reaches the service;
/// - delivers the messages of one client in the order in which they were sent, and those of the client whose session is
///   open before those of others;
/// - answers a message in whose handling the service throws before it has replied, with that error;
/// - answers messages that find the service gone with `connectionInterruptedCode`.
class FanControlHelperListener {
 public:
  virtual ~FanControlHelperListener() = default;

  /// All three are to be set before `resume`. The listener may outlive the service.
  virtual void setService(std::weak_ptr<FanControlHelperService> service) = 0;
  /// Called on the queue with the connection name of a client that is gone.
  virtual void setClientGoneHandler(std::function<void(const std::string& connectionName)> handler) = 0;
  /// Called on the queue, once, when no client can reach the helper any more (its name was lost, say).
  virtual void setLostHandler(std::function<void()> handler) = 0;

  /// Takes the helper's name and starts delivering. Throws a `LocalizedError` when the name cannot be had.
  virtual void resume() = 0;
};

}  // namespace halcyra
