#include "Platform/Linux/DBusMachServiceListener.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <future>
#include <map>
#include <optional>
#include <utility>

#include "fmt/format.h"

#include "Platform/Linux/MachServiceNames.h"
#include "Platform/Linux/PropertyListCoding.h"
#include "Platform/UnicodeText.h"
#include "sdbus-c++/sdbus-c++.h"

namespace halcyra {

namespace {

constexpr const char* busInterface = "org.freedesktop.DBus";
constexpr const char* invalidArguments = "org.freedesktop.DBus.Error.InvalidArgs";
constexpr const char* limitsExceeded = "org.freedesktop.DBus.Error.LimitsExceeded";
/// Messages that wait for their answer at one time; what comes beyond is refused.
constexpr std::size_t mostPendingMessages = 100;

}  // namespace

class DBusMachServiceListener::State : public std::enable_shared_from_this<State> {
 public:
  State(BusThread& bus, std::string serviceName, Queue& queue, LogSink& log)
      : bus_(bus), serviceName_(std::move(serviceName)), queue_(queue), logger_(log, serviceName_, "Listener") {}

  BusThread& bus() { return bus_; }
  void close() { closed_ = true; }

  // Set before `start`, read on the queue.
  MessageHandler messageHandler;
  std::function<void(const std::string&)> clientGoneHandler;
  std::function<void()> lostHandler;

  // Bus thread only, from here on.

  void start() {
    sdbus::IConnection& connection = bus_.connection();
    bus_.onLoss(weak_from_this(), [this] { lost(); });
    object_ = sdbus::createObject(connection, machServiceObjectPath(serviceName_));
    object_->registerMethod(serviceName_, machServiceMethod, "sv", "v",
                            [this](sdbus::MethodCall call) { receive(std::move(call)); });
    object_->finishRegistration();
    ownerChanges_ = connection.addMatch(
        fmt::format("type='signal',sender='{0}',interface='{0}',member='NameOwnerChanged'", busInterface),
        [this](sdbus::Message& message) { ownerChanged(message); });
    connection.requestName(serviceName_);
    running_ = true;
  }

  /// Gives up whatever belongs to the connection.
  void release() {
    pending_.clear();
    ownerChanges_.reset();
    object_.reset();
  }

  void stop() {
    if (std::exchange(running_, false)) {
      try {
        bus_.connection().releaseName(serviceName_);
      } catch (const sdbus::Error&) {
        // The bus is going; so is the name.
      }
    }
    release();
  }

 private:
  void lost() {
    release();
    if (std::exchange(running_, false)) {
      deliver([](State& self) {
        if (self.lostHandler) self.lostHandler();
      });
    }
  }

  void deliver(std::function<void(State&)> handle) {
    queue_.async([self = shared_from_this(), run = std::move(handle)] {
      if (!self->closed_) {
        run(*self);
      }
    });
  }

  /// Nothing but `sdbus::Error` may be thrown through the bus library.
  void receive(sdbus::MethodCall call) noexcept {
    try {
      accept(call);
    } catch (const sdbus::Error& error) {
      refuse(call, error);
    } catch (const std::exception& error) {
      refuse(call, sdbus::Error(invalidArguments, error.what()));
    }
  }

  void accept(sdbus::MethodCall& call) {
    if (pending_.size() >= mostPendingMessages) {
      throw sdbus::Error(limitsExceeded, "Too many messages wait for an answer.");
    }
    std::string selector;
    call >> selector;
    if (!isPortableText(selector)) {
      throw PropertyListCodingError("The selector is not UTF-8.");
    }
    PropertyList arguments = PropertyListCoding::read(call);
    MachServiceCaller caller = identify(call);
    const std::uint64_t id = ++lastMessage_;
    pending_.emplace(id, std::move(call));
    deliver([caller = std::move(caller), selector = std::move(selector), values = std::move(arguments),
             answer = makeAnswer(id)](State& self) { self.handle(caller, selector, values, answer); });
  }

  void handle(const MachServiceCaller& caller, const std::string& selector, const PropertyList& arguments,
              const Answer& answer) const {
    if (messageHandler) {
      messageHandler(caller, selector, arguments, answer);
    } else {
      answer({nullptr, Error(serviceName_, 0, "The service is not ready.")});
    }
  }

  void refuse(const sdbus::MethodCall& call, const sdbus::Error& error) noexcept {
    logger_.info(fmt::format("message from {} refused: {}", call.getSender(), error.getMessage()));
    reply(call, [&] { call.createErrorReply(error).send(); });
  }

  template <typename Send>
  void reply(const sdbus::MethodCall& call, Send send) noexcept {
    try {
      if (!call.doesntExpectReply()) {
        send();
      }
    } catch (const sdbus::Error&) {
      // The caller is gone, or the bus is; nobody waits for the answer.
    }
  }

  /// Asks the bus who the sender is; it vouches for the answer.
  MachServiceCaller identify(const sdbus::MethodCall& call) {
    const std::string sender = call.getSender();
    if (const auto known = callers_.find(sender); known != callers_.end()) {
      return known->second;
    }
    MachServiceCaller caller{sender, call.getCredsUid(), call.getCredsPid()};
    callers_.emplace(sender, caller);
    return caller;
  }

  Answer makeAnswer(std::uint64_t id) {
    return [weak = weak_from_this(), id](MachServiceReply reply) {
      if (const auto self = weak.lock(); self && !self->closed_) {
        self->bus_.post([weak, id, value = std::move(reply)] {
          if (const auto state = weak.lock()) {
            state->answer(id, value);
          }
        });
      }
    };
  }

  void answer(std::uint64_t id, const MachServiceReply& value) {
    const auto message = pending_.extract(id);
    if (!message) {
      return;
    }
    const sdbus::MethodCall& call = message.mapped();
    reply(call, [&] {
      if (value.error) {
        call.createErrorReply(PropertyListCoding::errorFromReply(value)).send();
        return;
      }
      sdbus::MethodReply answered = call.createReply();
      try {
        PropertyListCoding::append(answered, value.value);
      } catch (const PropertyListCodingError& error) {
        logger_.error(fmt::format("an answer could not be sent: {}", error.what()));
        call.createErrorReply(PropertyListCoding::errorFromReply({nullptr, error.asError()})).send();
        return;
      }
      answered.send();
    });
  }

  void ownerChanged(sdbus::Message& message) noexcept {
    try {
      std::string name;
      std::string before;
      std::string after;
      message >> name >> before >> after;
      if (name == serviceName_ && !before.empty() && running_ && after != bus_.connection().getUniqueName()) {
        lost();
      } else if (after.empty() && callers_.erase(name) == 1) {
        deliver([name](State& self) {
          if (self.clientGoneHandler) self.clientGoneHandler(name);
        });
      }
    } catch (const sdbus::Error& error) {
      logger_.error(fmt::format("a change of owners could not be read: {}", error.getMessage()));
    }
  }

  BusThread& bus_;
  const std::string serviceName_;
  Queue& queue_;
  const Logger logger_;
  std::atomic<bool> closed_{false};

  std::unique_ptr<sdbus::IObject> object_;
  sdbus::Slot ownerChanges_;
  std::map<std::uint64_t, sdbus::MethodCall> pending_;
  /// By unique name, while they are on the bus.
  std::map<std::string, MachServiceCaller> callers_;
  std::uint64_t lastMessage_ = 0;
  bool running_ = false;
};

DBusMachServiceListener::DBusMachServiceListener(BusThread& bus, std::string serviceName, Queue& queue, LogSink& log)
    : state_(std::make_shared<State>(bus, std::move(serviceName), queue, log)) {}

DBusMachServiceListener::~DBusMachServiceListener() {
  state_->close();
  // Owned by the work alone, so that work that a stopped bus thread drops ends the wait.
  auto promise = std::make_shared<std::promise<void>>();
  const auto stopped = promise->get_future();
  state_->bus().post([state = state_, done = std::move(promise)] {
    state->stop();
    done->set_value();
  });
  stopped.wait();
}

void DBusMachServiceListener::setMessageHandler(MessageHandler handler) {
  state_->messageHandler = std::move(handler);
}

void DBusMachServiceListener::setClientGoneHandler(std::function<void(const std::string&)> handler) {
  state_->clientGoneHandler = std::move(handler);
}

void DBusMachServiceListener::setLostHandler(std::function<void()> handler) {
  state_->lostHandler = std::move(handler);
}

void DBusMachServiceListener::resume() {
  auto promise = std::make_shared<std::promise<void>>();
  auto started = promise->get_future();
  state_->bus().post([state = state_, done = std::move(promise)] {
    try {
      state->start();
      done->set_value();
    } catch (const sdbus::Error& error) {
      state->stop();
      done->set_exception(std::make_exception_ptr(MachServiceNameError(
          fmt::format("The service could not be offered on the message bus: {}", error.getMessage()))));
    }
  });
  try {
    started.get();
  } catch (const std::future_error&) {
    throw MachServiceNameError("The service could not be offered on the message bus: it has been ended");
  }
}

}  // namespace halcyra
