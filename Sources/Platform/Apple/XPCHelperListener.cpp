#include "Platform/Apple/XPCHelperListener.h"

#include <atomic>
#include <dispatch/dispatch.h>
#include <map>
#include <mutex>
#include <utility>

#include "fmt/format.h"

#include "Platform/Apple/HelperMessageInbox.h"
#include "Platform/Apple/XPCCoding.h"

namespace halcyra {

namespace {

class XPCListenerError : public LocalizedError {
 public:
  using LocalizedError::LocalizedError;
  std::string_view domain() const override { return "halcyra.XPC"; }
};

/// The answer to one message: given once.
class OneReply {
 public:
  OneReply(xpc_connection_t client, xpc_object_t message)
      : client_(XPCValue::retaining(client)), reply_(xpc_dictionary_create_reply(message)) {}

  /// False when it was given already.
  bool give(const HelperReply& answer) {
    if (isGiven_.exchange(true)) return false;
    // A message that wants no answer gets none.
    if (reply_) {
      XPCCoding::encode(answer, reply_.get());
      xpc_connection_send_message(static_cast<xpc_connection_t>(client_.get()), reply_.get());
    }
    return true;
  }

 private:
  const XPCValue client_;
  const XPCValue reply_;
  std::atomic<bool> isGiven_{false};
};

}  // namespace

/// Shared with the blocks that XPC holds, and with work on the queue. XPC's events come on a serial queue of its own.
class XPCHelperListener::State : public std::enable_shared_from_this<State> {
 public:
  State(std::string serviceName, std::optional<std::string> requirement, Queue& queue, LogSink& log)
      : serviceName_(std::move(serviceName)),
        requirement_(std::move(requirement)),
        queue_(queue),
        logger_(log, serviceName_, "Listener"),
        events_(dispatch_queue_create("com.norwick.Halcyra.helper-listener", nullptr)) {}
  ~State() { dispatch_release(events_); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  // Set before `resume`, read on the queue.
  std::weak_ptr<FanControlHelperService> service;
  std::function<void(const std::string&)> clientGoneHandler;
  std::function<void()> lostHandler;

  void resume() {
    const std::lock_guard lock(mutex_);
    XPCValue listener(
        xpc_connection_create_mach_service(serviceName_.c_str(), events_, XPC_CONNECTION_MACH_SERVICE_LISTENER));
    const auto connection = static_cast<xpc_connection_t>(listener.get());
    const auto self = shared_from_this();
    xpc_connection_set_event_handler(connection, ^(xpc_object_t event) {
      self->receive(event);
    });
    xpc_connection_resume(connection);
    listener_ = std::move(listener);
    isRunning_ = true;
  }

  /// Nothing reaches the handlers any more.
  void close() {
    isClosed_ = true;
    const std::lock_guard lock(mutex_);
    isRunning_ = false;
    if (listener_) xpc_connection_cancel(static_cast<xpc_connection_t>(listener_.get()));
    listener_ = XPCValue();
    for (const auto& [name, client] : clients_) xpc_connection_cancel(static_cast<xpc_connection_t>(client.get()));
    clients_.clear();
  }

 private:
  bool guard(xpc_connection_t connection) const {
    return !requirement_ || xpc_connection_set_peer_code_signing_requirement(connection, requirement_->c_str()) == 0;
  }

  void receive(xpc_object_t event) {
    if (xpc_get_type(event) == XPC_TYPE_CONNECTION) {
      accept(static_cast<xpc_connection_t>(event));
    } else if (event == XPC_ERROR_CONNECTION_INVALID) {
      lost();
    }
  }

  void lost() {
    {
      const std::lock_guard lock(mutex_);
      if (!std::exchange(isRunning_, false)) return;
    }
    post([](State& self) {
      if (self.lostHandler) self.lostHandler();
    });
  }

  void accept(xpc_connection_t client) {
    std::string name;
    {
      const std::lock_guard lock(mutex_);
      name = fmt::format("xpc.{}", ++lastClient_);
      if (isRunning_) clients_.emplace(name, XPCValue::retaining(client));
    }
    const FanControlHelperCaller caller{name, xpc_connection_get_euid(client), xpc_connection_get_pid(client)};
    // Every message is checked; one that does not fulfil the requirement is not delivered. Set here and not on the
    // listener: a connection is given a requirement once, and might have the listener's already.
    const bool isGuarded = guard(client);
    if (!isGuarded) logger_.error("a client's signature cannot be checked; it is not served");
    const auto self = shared_from_this();
    xpc_connection_set_target_queue(client, events_);
    xpc_connection_set_event_handler(client, ^(xpc_object_t event) {
      self->receiveFrom(caller, event);
    });
    xpc_connection_resume(client);
    if (!isGuarded || isClosed_) xpc_connection_cancel(client);
  }

  void receiveFrom(const FanControlHelperCaller& caller, xpc_object_t event) {
    if (xpc_get_type(event) == XPC_TYPE_DICTIONARY) {
      receiveMessage(caller, event);
    } else if (event == XPC_ERROR_CONNECTION_INVALID) {
      forget(caller.connectionName);
    }
  }

  void forget(const std::string& name) {
    XPCValue client;
    {
      const std::lock_guard lock(mutex_);
      const auto found = clients_.extract(name);
      if (!found) return;
      client = std::move(found.mapped());
    }
    inbox_.clientGone(name);
    post([name](State& self) {
      if (self.clientGoneHandler) self.clientGoneHandler(name);
    });
  }

  void receiveMessage(const FanControlHelperCaller& caller, xpc_object_t object) {
    const auto reply = std::make_shared<OneReply>(xpc_dictionary_get_remote_connection(object), object);
    const auto refuse = [&](const char* reason) {
      logger_.info(fmt::format("message of process {} refused: {}", caller.processID, reason));
      reply->give({nullptr, XPCListenerError(reason).asError()});
    };
    auto message = XPCCoding::decodeMessage(object);
    if (!message) return refuse("This is no message of the helper.");
    if (!inbox_.admit(caller.connectionName, mostOfConnection, mostOfAll)) {
      return refuse("Too many messages wait for an answer.");
    }
    const auto answer = [weak = weak_from_this(), reply, name = caller.connectionName,
                         selector = message->selector](const HelperReply& given) {
      if (!reply->give(given)) return;
      if (const auto self = weak.lock()) {
        self->inbox_.noteAnswer(name, selector, given.error.has_value());
        self->inbox_.answered(name);
      }
    };
    inbox_.put({caller, std::move(*message), answer});
    post([](State& self) { self.handleNext(); });
  }

  void handleNext() {
    const auto next = inbox_.take();
    if (!next) return;
    const auto receiver = service.lock();
    if (!receiver) {
      next->reply({nullptr, Error(cocoaErrorDomain, connectionInterruptedCode, "The helper has ended.")});
      return;
    }
    try {
      if (auto refusal = deliver(next->message, next->caller, *receiver, next->reply)) {
        next->reply({nullptr, std::move(refusal)});
      }
    } catch (const std::exception&) {
      // Without an answer the client would wait for good.
      next->reply({nullptr, currentExceptionAsError()});
    }
  }

  void post(std::function<void(State&)> handle) {
    queue_.async([self = shared_from_this(), run = std::move(handle)] {
      if (!self->isClosed_) run(*self);
    });
  }

  const std::string serviceName_;
  const std::optional<std::string> requirement_;
  Queue& queue_;
  const Logger logger_;
  const dispatch_queue_t events_;
  HelperMessageInbox inbox_;
  std::atomic<bool> isClosed_{false};
  std::mutex mutex_;
  XPCValue listener_;
  /// By connection name, until XPC says that they are gone.
  std::map<std::string, XPCValue> clients_;
  std::uint64_t lastClient_ = 0;
  bool isRunning_ = false;
};

XPCHelperListener::XPCHelperListener(std::string serviceName, std::optional<std::string> requirement, Queue& queue,
                                     LogSink& log)
    : state_(std::make_shared<State>(std::move(serviceName), std::move(requirement), queue, log)) {}

XPCHelperListener::~XPCHelperListener() {
  state_->close();
}

void XPCHelperListener::setService(std::weak_ptr<FanControlHelperService> service) {
  state_->service = std::move(service);
}

void XPCHelperListener::setClientGoneHandler(std::function<void(const std::string& connectionName)> handler) {
  state_->clientGoneHandler = std::move(handler);
}

void XPCHelperListener::setLostHandler(std::function<void()> handler) {
  state_->lostHandler = std::move(handler);
}

void XPCHelperListener::resume() {
  state_->resume();
}

}  // namespace halcyra
