#include "Platform/Apple/XPCHelperConnections.h"

#include <dispatch/dispatch.h>
#include <map>
#include <mutex>
#include <utility>

#include "Platform/Apple/XPCCoding.h"
#include "Platform/Apple/XPCSelectors.h"

namespace halcyra {

namespace {

using ReplyHandler = std::function<void(HelperReply)>;

HelperReply brokenConnection(std::int64_t code) {
  const bool isInterrupted = code == connectionInterruptedCode;
  return {nullptr, Error(cocoaErrorDomain, code,
                         isInterrupted ? "The connection to the helper was interrupted."
                                       : "The connection to the helper is invalid.")};
}

/// Shared with the blocks that XPC holds. Everything but the calls of the application runs on the connection's queue.
class ClientState : public std::enable_shared_from_this<ClientState> {
 public:
  ClientState(std::string serviceName, std::optional<std::string> requirement)
      : serviceName_(std::move(serviceName)),
        requirement_(std::move(requirement)),
        queue_(dispatch_queue_create("com.norwick.Halcyra.helper-connection", nullptr)) {}
  ~ClientState() { dispatch_release(queue_); }
  ClientState(const ClientState&) = delete;
  ClientState& operator=(const ClientState&) = delete;

  void setInvalidationHandler(std::function<void()> handler) {
    const std::lock_guard lock(mutex_);
    invalidationHandler_ = std::move(handler);
  }

  void resume() {
    const std::lock_guard lock(mutex_);
    if (connection_ || isInvalid_) return;
    connection_ = XPCValue(
        xpc_connection_create_mach_service(serviceName_.c_str(), queue_, XPC_CONNECTION_MACH_SERVICE_PRIVILEGED));
    const bool isGuarded =
        !requirement_ || xpc_connection_set_peer_code_signing_requirement(xpcConnection(), requirement_->c_str()) == 0;
    const auto self = shared_from_this();
    xpc_connection_set_event_handler(xpcConnection(), ^(xpc_object_t event) {
      self->receive(event);
    });
    xpc_connection_resume(xpcConnection());
    // Nothing is said to a helper that cannot be checked.
    if (!isGuarded) xpc_connection_cancel(xpcConnection());
  }

  void send(const HelperMessage& message, ReplyHandler reply) {
    const std::lock_guard lock(mutex_);
    const std::uint64_t id = ++lastCall_;
    calls_.emplace(id, std::move(reply));
    if (isInvalid_ || !connection_) {
      later([self = shared_from_this(), id] { self->answer(id, brokenConnection(connectionInvalidCode)); });
      return;
    }
    const XPCValue object = XPCCoding::encode(message);
    const auto self = shared_from_this();
    xpc_connection_send_message_with_reply(xpcConnection(), object.get(), queue_, ^(xpc_object_t answered) {
      self->receiveReply(id, answered);
    });
  }

  void invalidate() {
    const std::lock_guard lock(mutex_);
    if (isInvalid_) return;
    if (connection_) {
      // The event that follows does the rest.
      xpc_connection_cancel(xpcConnection());
    } else {
      later([self = shared_from_this()] { self->end(); });
    }
  }

 private:
  xpc_connection_t xpcConnection() const { return static_cast<xpc_connection_t>(connection_.get()); }

  void receive(xpc_object_t event) {
    // After an interruption the next message starts the helper again; each call that was out learns of it by itself.
    if (event == XPC_ERROR_CONNECTION_INVALID) {
      end();
    } else if (xpc_get_type(event) == XPC_TYPE_ERROR && event != XPC_ERROR_CONNECTION_INTERRUPTED) {
      invalidate();
    }
  }

  void receiveReply(std::uint64_t id, xpc_object_t answered) {
    if (xpc_get_type(answered) == XPC_TYPE_DICTIONARY) {
      answer(id, XPCCoding::decodeReply(answered));
    } else if (answered == XPC_ERROR_CONNECTION_INTERRUPTED) {
      answer(id, brokenConnection(connectionInterruptedCode));
    } else if (answered == XPC_ERROR_CONNECTION_INVALID) {
      // Calls that are out fail together, and before the invalidation handler is called.
      end();
    } else {
      // Whoever answered is not the helper that was asked for.
      answer(id, brokenConnection(connectionInvalidCode));
      invalidate();
    }
  }

  void answer(std::uint64_t id, HelperReply reply) {
    ReplyHandler handler;
    {
      const std::lock_guard lock(mutex_);
      const auto call = calls_.extract(id);
      if (!call) return;
      handler = std::move(call.mapped());
    }
    handler(std::move(reply));
  }

  void end() {
    std::map<std::uint64_t, ReplyHandler> calls;
    std::function<void()> handler;
    XPCValue connection;
    {
      const std::lock_guard lock(mutex_);
      if (std::exchange(isInvalid_, true)) return;
      calls.swap(calls_);
      handler = std::move(invalidationHandler_);
      std::swap(connection, connection_);
    }
    if (connection) xpc_connection_cancel(static_cast<xpc_connection_t>(connection.get()));
    for (const auto& [id, reply] : calls) reply(brokenConnection(connectionInvalidCode));
    if (handler) handler();
  }

  void later(std::function<void()> work) {
    dispatch_async_f(queue_, new std::function<void()>(std::move(work)), [](void* context) {
      const std::unique_ptr<std::function<void()>> owned(static_cast<std::function<void()>*>(context));
      (*owned)();
    });
  }

  const std::string serviceName_;
  const std::optional<std::string> requirement_;
  const dispatch_queue_t queue_;
  std::mutex mutex_;
  XPCValue connection_;
  std::function<void()> invalidationHandler_;
  std::map<std::uint64_t, ReplyHandler> calls_;
  std::uint64_t lastCall_ = 0;
  bool isInvalid_ = false;
};

class XPCHelperConnection : public FanControlHelperConnection {
 public:
  XPCHelperConnection(std::string serviceName, std::optional<std::string> requirement)
      : state_(std::make_shared<ClientState>(std::move(serviceName), std::move(requirement))) {}
  ~XPCHelperConnection() override {
    state_->setInvalidationHandler({});
    state_->invalidate();
  }
  XPCHelperConnection(const XPCHelperConnection&) = delete;
  XPCHelperConnection& operator=(const XPCHelperConnection&) = delete;

  void setInvalidationHandler(std::function<void()> handler) override {
    state_->setInvalidationHandler(std::move(handler));
  }
  void resume() override { state_->resume(); }
  void invalidate() override { state_->invalidate(); }

  void status(DictionaryReply reply) override { send(XPCSelectors::status, {}, std::move(reply)); }
  void beginSession(const std::string& sessionID, DictionaryReply reply) override {
    send(XPCSelectors::beginSession, {sessionID}, std::move(reply));
  }
  void heartbeat(const std::string& sessionID, ErrorReply reply) override {
    send(XPCSelectors::heartbeat, {sessionID}, std::move(reply));
  }
  void setFanMode(std::int64_t fan, bool manual, const std::string& sessionID, DictionaryReply reply) override {
    send(XPCSelectors::setFanMode, {fan, manual, sessionID}, std::move(reply));
  }
  void setFanTargetRPM(std::int64_t fan, std::int64_t rpm, const std::string& sessionID,
                       DictionaryReply reply) override {
    send(XPCSelectors::setFanTargetRPM, {fan, rpm, sessionID}, std::move(reply));
  }
  void resetAll(const std::string& sessionID, DictionaryReply reply) override {
    send(XPCSelectors::resetAll, {sessionID}, std::move(reply));
  }
  void endSession(const std::string& sessionID, ErrorReply reply) override {
    send(XPCSelectors::endSession, {sessionID}, std::move(reply));
  }
  void prepareForUninstall(ErrorReply reply) override { send(XPCSelectors::prepareForUninstall, {}, std::move(reply)); }

 private:
  void send(std::string_view selector, std::vector<PropertyList> arguments, DictionaryReply reply) {
    state_->send({std::string(selector), std::move(arguments)}, [reply = std::move(reply)](HelperReply answer) {
      reply(std::move(answer.dictionary), std::move(answer.error));
    });
  }
  void send(std::string_view selector, std::vector<PropertyList> arguments, ErrorReply reply) {
    state_->send({std::string(selector), std::move(arguments)},
                 [reply = std::move(reply)](HelperReply answer) { reply(std::move(answer.error)); });
  }

  const std::shared_ptr<ClientState> state_;
};

}  // namespace

XPCHelperConnections::XPCHelperConnections(std::string serviceName, std::optional<std::string> requirement)
    : serviceName_(std::move(serviceName)), requirement_(std::move(requirement)) {}

std::shared_ptr<FanControlHelperConnection> XPCHelperConnections::connect() {
  return std::make_shared<XPCHelperConnection>(serviceName_, requirement_);
}

}  // namespace halcyra
