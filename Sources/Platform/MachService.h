#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Platform/Error.h"
#include "Platform/PropertyList.h"

namespace halcyra {

/// The answer of a service: a value (null for none), an error, or both.
struct MachServiceReply {
  PropertyList value;
  std::optional<Error> error;
};

/// The client's end of a connection to a named service. All operations are safe from any thread; the handlers run on
/// a thread of the connection, never on the caller's stack of `call` and never while a lock of the connection is held.
///
/// Two kinds of loss: when the service's process ends (*interruption*), calls that are out fail with
/// `connectionInterruptedCode`, and the next call starts the service again; when the connection itself is gone or the
/// service cannot be started because it is not registered (*invalidation*), calls that are out fail with
/// `connectionInvalidCode`, then the invalidation handler is called, once, and every later call fails the same way.
class MachServiceConnection {
 public:
  using ReplyHandler = std::function<void(MachServiceReply)>;
  using ErrorHandler = std::function<void(Error)>;

  virtual ~MachServiceConnection() = default;

  /// To be set before `resume`.
  virtual void setInvalidationHandler(std::function<void()> handler) = 0;

  /// Makes the connection usable. Nothing is sent before the first call.
  virtual void resume() = 0;

  /// Sends a message. `arguments` is an array. Exactly one of the two handlers is called, exactly once: `reply` with
  /// the service's answer, `failure` when the connection broke before there was one.
  virtual void call(const std::string& selector, PropertyList arguments, ReplyHandler reply, ErrorHandler failure) = 0;

  /// Ends the connection; calls that are out fail with `connectionInvalidCode`, and the invalidation handler is called.
  virtual void invalidate() = 0;
};

enum class MachServiceDomain { user, privileged };

/// How a client finds services.
class MachServices {
 public:
  virtual ~MachServices() = default;

  /// A new connection, not yet resumed. Never fails: a service that cannot be reached fails the calls.
  virtual std::shared_ptr<MachServiceConnection> connect(const std::string& serviceName, MachServiceDomain domain) = 0;
};

/// Who sent a message, as the operating system vouches for it.
struct MachServiceCaller {
  /// Unique among the connections of the moment and never used again.
  std::string connectionName;
  std::uint32_t userID = 0;
  std::int32_t processID = 0;
};

/// The service's end: one name, messages from any number of clients. The handlers are set before `resume` and run on
/// the queue that the listener was made with.
class MachServiceListener {
 public:
  /// Answers one message; to be called exactly once, from any thread.
  using Answer = std::function<void(MachServiceReply)>;
  using MessageHandler =
      std::function<void(const MachServiceCaller&, const std::string& selector, const PropertyList&, Answer)>;

  virtual ~MachServiceListener() = default;

  virtual void setMessageHandler(MessageHandler handler) = 0;
  /// Called with the connection name of a client that is gone.
  virtual void setClientGoneHandler(std::function<void(const std::string& connectionName)> handler) = 0;
  /// Called once when no client can reach the service any more (the bus is gone, or the name was lost).
  virtual void setLostHandler(std::function<void()> handler) = 0;

  /// Takes the name and starts delivering. Throws a `LocalizedError` when the name cannot be had.
  virtual void resume() = 0;
};

}  // namespace halcyra
