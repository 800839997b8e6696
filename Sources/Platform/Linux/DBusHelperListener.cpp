#include "Platform/Linux/DBusHelperListener.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <exception>
#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "fmt/format.h"

#include "Platform/Linux/HelperAdaptor.h"
#include "Platform/Linux/HelperBusCoding.h"
#include "Platform/Linux/HelperBusNames.h"
#include "Platform/Linux/MessageAdmission.h"
#include "XPC/HelperXPCError.h"

namespace halcyra {

namespace {

using HelperBusCoding::Dictionary;
using Adaptor = com::norwick::Halcyra::helper_adaptor;
using Caller = FanControlHelperCaller;

/// A UUID has 36 characters.
constexpr std::size_t longestSessionID = 64;
/// Between two lines of the log about refused messages.
constexpr Seconds refusalReportPeriod{10.0};

/// What an answer says about who holds the session.
enum class Role { other, begins, ends };

/// Hands a message to the service.
using Delivery = std::function<void(FanControlHelperService&, const Caller&, HelperDictionaryReply)>;

HelperErrorReply errorOnly(HelperDictionaryReply reply) {
  return [reply = std::move(reply)](std::optional<Error> error) { reply(nullptr, std::move(error)); };
}

}  // namespace

class DBusHelperListener::State : public std::enable_shared_from_this<State> {
 public:
  State(BusThread& bus, Queue& queue, const Clock& clock, LogSink& log)
      : bus_(bus), queue_(queue), clock_(clock), logger_(log, Adaptor::INTERFACE_NAME, "Listener") {}

  BusThread& bus() { return bus_; }
  void close() { closed_ = true; }

  // Set before `start`, read on the queue.
  std::weak_ptr<FanControlHelperService> service;
  std::function<void(const std::string&)> clientGoneHandler;
  std::function<void()> lostHandler;

  // Bus thread only, from here on.

  void start();
  void stop();
  /// Takes on a message whose bus handler is running, or refuses it.
  template <typename... Values>
  void accept(sdbus::Result<Values...>&& result, Role role, std::size_t textSize, Delivery deliver) noexcept;

 private:
  struct Pending {
    std::string sender;
    Role role = Role::other;
    Delivery deliver;
    std::function<void(const PropertyList&, const std::optional<Error>&)> send;
  };
  struct Ready {
    std::uint64_t message = 0;
    Caller caller;
    Delivery deliver;
  };

  void release();
  void lost();
  void post(std::function<void(State&)> handle);
  void take(const std::string& sender, std::uint64_t message);
  void identify(const std::string& sender);
  void identified(const std::string& sender, const sdbus::Error* error, const Dictionary& credentials) noexcept;
  void makeReady(const Caller& caller, std::uint64_t message);
  void answer(std::uint64_t message, const PropertyList& dictionary, const std::optional<Error>& error) noexcept;
  void noteHolder(const Pending& answered, const std::optional<Error>& error);
  void noteRefusal(const std::string& sender, const std::string& reason);
  void ownerChanged(sdbus::Message& message) noexcept;
  void clientGone(const std::string& name);

  // On the queue.
  void handleNext();
  HelperDictionaryReply replyTo(std::uint64_t message);

  BusThread& bus_;
  Queue& queue_;
  const Clock& clock_;
  const Logger logger_;
  std::atomic<bool> closed_{false};

  std::mutex mutex_;
  /// For the queue, in the order in which they came.
  std::deque<Ready> ready_;
  std::string preferred_;

  std::unique_ptr<Object> object_;
  std::unique_ptr<sdbus::IProxy> driver_;
  sdbus::Slot ownerChanges_;
  MessageAdmission admission_;
  /// Of senders that the bus is being asked about.
  std::map<std::string, std::vector<std::uint64_t>> unidentified_;
  std::map<std::uint64_t, Pending> pending_;
  std::uint64_t lastMessage_ = 0;
  std::uint64_t refusals_ = 0;
  std::optional<Instant> refusalsReported_;
  bool running_ = false;
};

/// The object on the bus. No handler throws.
class DBusHelperListener::Object final : public sdbus::AdaptorInterfaces<Adaptor> {
 public:
  Object(sdbus::IConnection& connection, State& state)
      : AdaptorInterfaces(connection, helperObjectPath), state_(state) {
    registerAdaptor();
  }
  ~Object() { unregisterAdaptor(); }
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  std::string sender() const { return getObject().getCurrentlyProcessedMessage()->getSender(); }

 private:
  using Service = FanControlHelperService;
  using DictionaryResult = sdbus::Result<Dictionary>;
  using Reply = HelperDictionaryReply;

  void Status(DictionaryResult&& result) override {
    state_.accept(std::move(result), Role::other, 0, [](Service& service, const Caller& caller, Reply reply) {
      service.status(caller, std::move(reply));
    });
  }
  void BeginSession(DictionaryResult&& result, std::string id) override {
    state_.accept(std::move(result), Role::begins, id.size(),
                  [id](Service& service, const Caller& caller, Reply reply) {
                    service.beginSession(caller, id, std::move(reply));
                  });
  }
  void Heartbeat(sdbus::Result<>&& result, std::string id) override {
    state_.accept(std::move(result), Role::other, id.size(), [id](Service& service, const Caller& caller, Reply reply) {
      service.heartbeat(caller, id, errorOnly(std::move(reply)));
    });
  }
  void SetFanMode(DictionaryResult&& result, std::int64_t fan, bool manual, std::string id) override {
    state_.accept(std::move(result), Role::other, id.size(), [=](Service& service, const Caller& caller, Reply reply) {
      service.setFanMode(caller, fan, manual, id, std::move(reply));
    });
  }
  void SetFanTargetRPM(DictionaryResult&& result, std::int64_t fan, std::int64_t rpm, std::string id) override {
    state_.accept(std::move(result), Role::other, id.size(), [=](Service& service, const Caller& caller, Reply reply) {
      service.setFanTargetRPM(caller, fan, rpm, id, std::move(reply));
    });
  }
  void ResetAll(DictionaryResult&& result, std::string id) override {
    state_.accept(std::move(result), Role::other, id.size(), [id](Service& service, const Caller& caller, Reply reply) {
      service.resetAll(caller, id, std::move(reply));
    });
  }
  void EndSession(sdbus::Result<>&& result, std::string id) override {
    state_.accept(std::move(result), Role::ends, id.size(), [id](Service& service, const Caller& caller, Reply reply) {
      service.endSession(caller, id, errorOnly(std::move(reply)));
    });
  }
  void PrepareForUninstall(sdbus::Result<>&& result) override {
    state_.accept(std::move(result), Role::ends, 0, [](Service& service, const Caller& caller, Reply reply) {
      service.prepareForUninstall(caller, errorOnly(std::move(reply)));
    });
  }

  State& state_;
};

void DBusHelperListener::State::start() {
  sdbus::IConnection& connection = bus_.connection();
  bus_.onLoss(weak_from_this(), [this] { lost(); });
  driver_ = sdbus::createProxy(connection, busDriverName, busDriverPath);
  ownerChanges_ = connection.addMatch(
      fmt::format("type='signal',sender='{0}',interface='{0}',member='NameOwnerChanged'", busDriverName),
      [this](sdbus::Message& message) { ownerChanged(message); });
  object_ = std::make_unique<Object>(connection, *this);
  connection.requestName(Adaptor::INTERFACE_NAME);
  running_ = true;
}

/// Gives up whatever belongs to the connection.
void DBusHelperListener::State::release() {
  pending_.clear();
  unidentified_.clear();
  ownerChanges_.reset();
  object_.reset();
  driver_.reset();
}

void DBusHelperListener::State::stop() {
  if (std::exchange(running_, false)) {
    try {
      bus_.connection().releaseName(Adaptor::INTERFACE_NAME);
    } catch (const sdbus::Error&) {
      // The bus is going; so is the name.
    }
  }
  release();
}

void DBusHelperListener::State::lost() {
  release();
  if (std::exchange(running_, false)) {
    post([](State& self) {
      if (self.lostHandler) self.lostHandler();
    });
  }
}

void DBusHelperListener::State::post(std::function<void(State&)> handle) {
  queue_.async([self = shared_from_this(), run = std::move(handle)] {
    if (!self->closed_) {
      run(*self);
    }
  });
}

template <typename... Values>
void DBusHelperListener::State::accept(sdbus::Result<Values...>&& result, Role role, std::size_t textSize,
                                       Delivery deliver) noexcept {
  const auto answered = std::make_shared<sdbus::Result<Values...>>(std::move(result));
  const std::string sender = object_->sender();
  std::optional<std::string> reason;
  if (textSize > longestSessionID) {
    reason = "The session ID is too long.";
  } else {
    reason = admission_.refusal(sender, clock_.steadyNow());
  }
  if (reason) {
    noteRefusal(sender, *reason);
    try {
      answered->returnError({limitsExceededName, *reason});
    } catch (const sdbus::Error&) {
      // Nobody waits for the answer.
    }
    return;
  }
  const auto send = [answered](const PropertyList& dictionary, const std::optional<Error>& error) {
    if (error) {
      answered->returnError(HelperBusCoding::encoded(*error));
    } else if constexpr (sizeof...(Values) == 0) {
      answered->returnResults();
    } else {
      answered->returnResults(HelperBusCoding::encoded(dictionary));
    }
  };
  pending_.emplace(++lastMessage_, Pending{sender, role, std::move(deliver), send});
  take(sender, lastMessage_);
}

/// The user is who the bus says. It is asked without waiting: whoever waits holds all that comes meanwhile in memory.
void DBusHelperListener::State::take(const std::string& sender, std::uint64_t message) {
  if (const Caller* const known = admission_.caller(sender)) {
    makeReady(*known, message);
    return;
  }
  auto& waiting = unidentified_[sender];
  waiting.push_back(message);
  if (waiting.size() == 1) {
    identify(sender);
  }
}

void DBusHelperListener::State::identify(const std::string& sender) {
  const auto answered = [this, sender](const sdbus::Error* error, const Dictionary& credentials) {
    identified(sender, error, credentials);
  };
  try {
    driver_->callMethodAsync("GetConnectionCredentials")
        .onInterface(busDriverName)
        .withArguments(sender)
        .uponReplyInvoke(answered);
  } catch (const sdbus::Error& error) {
    identified(sender, &error, {});
  }
}

void DBusHelperListener::State::identified(const std::string& sender, const sdbus::Error* error,
                                           const Dictionary& credentials) noexcept {
  const auto found = unidentified_.extract(sender);
  if (!found) return;
  std::optional<Caller> caller;
  try {
    if (error == nullptr) {
      caller = Caller{sender, credentials.at("UnixUserID").get<std::uint32_t>(),
                      static_cast<std::int32_t>(credentials.at("ProcessID").get<std::uint32_t>())};
    }
  } catch (const std::exception&) {
    // A sender of no known user is refused like one that is gone.
  }
  if (caller) {
    admission_.identified(*caller);
  }
  for (const std::uint64_t message : found.mapped()) {
    if (caller) {
      makeReady(*caller, message);
    } else {
      answer(message, nullptr, HelperXPCError::make(HelperXPCError::Code::unauthorizedClient));
    }
  }
}

void DBusHelperListener::State::makeReady(const Caller& caller, std::uint64_t message) {
  {
    const std::lock_guard lock(mutex_);
    ready_.push_back({message, caller, std::move(pending_.at(message).deliver)});
  }
  post([](State& self) { self.handleNext(); });
}

void DBusHelperListener::State::handleNext() {
  Ready next;
  {
    const std::lock_guard lock(mutex_);
    auto chosen = std::find_if(ready_.begin(), ready_.end(),
                               [this](const Ready& each) { return each.caller.connectionName == preferred_; });
    if (chosen == ready_.end()) chosen = ready_.begin();
    next = std::move(*chosen);
    ready_.erase(chosen);
  }
  const auto receiver = service.lock();
  const HelperDictionaryReply reply = replyTo(next.message);
  if (!receiver) {
    reply(nullptr, Error(cocoaErrorDomain, connectionInterruptedCode, "The helper has ended."));
    return;
  }
  try {
    next.deliver(*receiver, next.caller, reply);
  } catch (const std::exception& error) {
    // Without an answer the client would wait until its patience ends.
    reply(nullptr, HelperXPCError::make(HelperXPCError::Code::internalFailure, error.what()));
  }
}

HelperDictionaryReply DBusHelperListener::State::replyTo(std::uint64_t message) {
  return [weak = weak_from_this(), message](PropertyList dictionary, std::optional<Error> error) {
    if (const auto self = weak.lock(); self && !self->closed_) {
      self->bus_.post([weak, message, value = std::move(dictionary), failure = std::move(error)] {
        if (const auto state = weak.lock()) state->answer(message, value, failure);
      });
    }
  };
}

void DBusHelperListener::State::answer(std::uint64_t message, const PropertyList& dictionary,
                                       const std::optional<Error>& error) noexcept {
  const auto found = pending_.extract(message);
  if (!found) return;
  const Pending& answered = found.mapped();
  admission_.answered(answered.sender);
  noteHolder(answered, error);
  try {
    answered.send(dictionary, error);
  } catch (const sdbus::Error& failure) {
    logger_.error(fmt::format("an answer could not be sent: {}", failure.getMessage()));
    try {
      answered.send(nullptr, HelperXPCError::make(HelperXPCError::Code::internalFailure));
    } catch (const sdbus::Error&) {
      // The caller is gone, or the bus is.
    }
  }
}

void DBusHelperListener::State::noteHolder(const Pending& answered, const std::optional<Error>& error) {
  const bool holds = answered.sender == admission_.holder();
  if (answered.role == Role::begins && !error) {
    admission_.setHolder(answered.sender);
  } else if (holds && (error ? HelperXPCError::isInvalidSession(*error) : answered.role == Role::ends)) {
    admission_.setHolder({});
  }
  const std::lock_guard lock(mutex_);
  preferred_ = admission_.holder();
}

void DBusHelperListener::State::noteRefusal(const std::string& sender, const std::string& reason) {
  ++refusals_;
  const Instant now = clock_.steadyNow();
  if (refusalsReported_ && now - *refusalsReported_ < refusalReportPeriod) return;
  refusalsReported_ = now;
  logger_.error(
      fmt::format("{} message(s) refused, the last one of {}: {}", std::exchange(refusals_, 0), sender, reason));
}

void DBusHelperListener::State::ownerChanged(sdbus::Message& message) noexcept {
  try {
    // Anybody may send a signal to one connection; only the bus itself sends it under this name.
    if (message.getSender() != busDriverName) return;
    std::string name;
    std::string before;
    std::string after;
    message >> name >> before >> after;
    if (name == Adaptor::INTERFACE_NAME && !before.empty() && running_ && after != bus_.connection().getUniqueName()) {
      lost();
    } else if (after.empty()) {
      clientGone(name);
    }
  } catch (const sdbus::Error& error) {
    logger_.error(fmt::format("a change of owners could not be read: {}", error.getMessage()));
  }
}

void DBusHelperListener::State::clientGone(const std::string& name) {
  unidentified_.erase(name);
  std::erase_if(pending_, [&](const auto& each) { return each.second.sender == name; });
  if (admission_.caller(name) != nullptr) {
    post([name](State& self) {
      if (self.clientGoneHandler) self.clientGoneHandler(name);
    });
  }
  admission_.gone(name);
}

DBusHelperListener::DBusHelperListener(BusThread& bus, Queue& queue, const Clock& clock, LogSink& log)
    : state_(std::make_shared<State>(bus, queue, clock, log)) {}

DBusHelperListener::~DBusHelperListener() {
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

void DBusHelperListener::setService(std::weak_ptr<FanControlHelperService> service) {
  state_->service = std::move(service);
}

void DBusHelperListener::setClientGoneHandler(std::function<void(const std::string&)> handler) {
  state_->clientGoneHandler = std::move(handler);
}

void DBusHelperListener::setLostHandler(std::function<void()> handler) {
  state_->lostHandler = std::move(handler);
}

void DBusHelperListener::resume() {
  auto promise = std::make_shared<std::promise<void>>();
  auto started = promise->get_future();
  state_->bus().post([state = state_, done = std::move(promise)] {
    try {
      state->start();
      done->set_value();
    } catch (const sdbus::Error& error) {
      state->stop();
      done->set_exception(std::make_exception_ptr(
          HelperNameError(fmt::format("The service could not be offered on the message bus: {}", error.getMessage()))));
    }
  });
  try {
    started.get();
  } catch (const std::future_error&) {
    throw HelperNameError("The service could not be offered on the message bus: it has been ended");
  }
}

}  // namespace halcyra
