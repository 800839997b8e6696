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

#include "Platform/Linux/BusCall.h"
#include "Platform/Linux/HelperAdaptor.h"
#include "Platform/Linux/HelperBusCoding.h"
#include "Platform/Linux/MessageAdmission.h"
#include "XPC/HelperXPCError.h"

namespace halcyra {

namespace {

using HelperBusCoding::Dictionary;
using Adaptor = com::norwick::Halcyra::helper_adaptor;
using Service = FanControlHelperService;
using Caller = FanControlHelperCaller;

/// A UUID has 36 characters.
constexpr std::size_t longestSessionID = 64;
/// Between two lines of the log about refused messages.
constexpr Seconds refusalReportPeriod{10.0};

/// What a message does to the session when it succeeds.
enum class Effect { none, begins, ends };

/// A message that has come.
struct Arrival {
  std::string sender;
  Effect effect = Effect::none;
  std::size_t textSize = 0;
  std::function<void(Service&, const Caller&, HelperDictionaryReply)> deliver;
  /// Throws `sdbus::Error` when it cannot be sent.
  std::function<void(const PropertyList&, const sdbus::Error*)> answer;
};

/// The object on the bus.
// Final, and the bus library keeps its own destructors protected: nobody can destroy it as anything else.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor)
class HelperObject final : public sdbus::AdaptorInterfaces<Adaptor> {
 public:
  /// `arrive` does not throw.
  HelperObject(sdbus::IConnection& connection, std::function<void(Arrival)> arrive)
      : AdaptorInterfaces(connection, HelperBusCoding::objectPath), arrive_(std::move(arrive)) {
    registerAdaptor();
  }
  ~HelperObject() { unregisterAdaptor(); }
  HelperObject(const HelperObject&) = delete;
  HelperObject& operator=(const HelperObject&) = delete;

 private:
  using DictionaryResult = sdbus::Result<Dictionary>;

  void Status(DictionaryResult&& result) override {
    take(std::move(result), Effect::none, {}, [](auto& to, auto& from, auto reply) { to.status(from, reply); });
  }
  void BeginSession(DictionaryResult&& result, std::string id) override {
    take(std::move(result), Effect::begins, id,
         [id](auto& to, auto& from, auto reply) { to.beginSession(from, id, reply); });
  }
  void Heartbeat(sdbus::Result<>&& result, std::string id) override {
    take(std::move(result), Effect::none, id,
         [id](auto& to, auto& from, auto reply) { to.heartbeat(from, id, reply); });
  }
  void SetFanMode(DictionaryResult&& result, std::int64_t fan, bool manual, std::string id) override {
    take(std::move(result), Effect::none, id,
         [=](auto& to, auto& from, auto reply) { to.setFanMode(from, fan, manual, id, reply); });
  }
  void SetFanTargetRPM(DictionaryResult&& result, std::int64_t fan, std::int64_t rpm, std::string id) override {
    take(std::move(result), Effect::none, id,
         [=](auto& to, auto& from, auto reply) { to.setFanTargetRPM(from, fan, rpm, id, reply); });
  }
  void ResetAll(DictionaryResult&& result, std::string id) override {
    take(std::move(result), Effect::none, id, [id](auto& to, auto& from, auto reply) { to.resetAll(from, id, reply); });
  }
  void EndSession(sdbus::Result<>&& result, std::string id) override {
    take(std::move(result), Effect::ends, id,
         [id](auto& to, auto& from, auto reply) { to.endSession(from, id, reply); });
  }
  void PrepareForUninstall(sdbus::Result<>&& result) override {
    take(std::move(result), Effect::ends, {},
         [](auto& to, auto& from, auto reply) { to.prepareForUninstall(from, reply); });
  }

  template <typename... Values, typename Deliver>
  void take(sdbus::Result<Values...>&& result, Effect effect, const std::string& text, Deliver deliver) {
    constexpr bool hasDictionary = sizeof...(Values) > 0;
    const auto shared = std::make_shared<sdbus::Result<Values...>>(std::move(result));
    const auto deliverTyped = [deliver](Service& to, const Caller& from, const HelperDictionaryReply& reply) {
      if constexpr (hasDictionary) {
        deliver(to, from, reply);
      } else {
        deliver(to, from, [reply](std::optional<Error> error) { reply(nullptr, std::move(error)); });
      }
    };
    const auto answer = [shared](const PropertyList& dictionary, const sdbus::Error* error) {
      if (error != nullptr) {
        shared->returnError(*error);
      } else if constexpr (hasDictionary) {
        shared->returnResults(HelperBusCoding::encoded(dictionary));
      } else {
        shared->returnResults();
      }
    };
    arrive_({getObject().getCurrentlyProcessedMessage()->getSender(), effect, text.size(), deliverTyped, answer});
  }

  std::function<void(Arrival)> arrive_;
};

}  // namespace

class DBusHelperListener::State : public std::enable_shared_from_this<State> {
 public:
  State(BusThread& bus, Queue& queue, const Clock& clock, LogSink& log)
      : bus_(bus), queue_(queue), clock_(clock), logger_(log, Adaptor::INTERFACE_NAME, "Listener") {}

  BusThread& bus() { return bus_; }
  void close() { closed_ = true; }

  // Set before `start`, read on the queue.
  std::weak_ptr<Service> service;
  std::function<void(const std::string&)> clientGoneHandler;
  std::function<void()> lostHandler;

  // Bus thread only, from here on.

  void start() {
    sdbus::IConnection& connection = bus_.connection();
    bus_.onLoss(weak_from_this(), [this] { lost(); });
    driver_ = sdbus::createProxy(connection, busDriverName, busDriverPath);
    ownerChanges_ = connection.addMatch(
        fmt::format("type='signal',sender='{0}',interface='{0}',member='NameOwnerChanged'", busDriverName),
        [this](sdbus::Message& message) { ownerChanged(message); });
    object_ = std::make_unique<HelperObject>(connection, [this](Arrival message) { receive(std::move(message)); });
    connection.requestName(Adaptor::INTERFACE_NAME);
    running_ = true;
  }

  void stop() {
    if (std::exchange(running_, false)) {
      try {
        bus_.connection().releaseName(Adaptor::INTERFACE_NAME);
      } catch (const sdbus::Error&) {
        // The bus is going; so is the name.
      }
    }
    release();
  }

 private:
  struct Ready {
    std::uint64_t message = 0;
    Caller caller;
    decltype(Arrival::deliver) deliver;
  };

  /// Gives up whatever belongs to the connection.
  void release() {
    pending_.clear();
    unidentified_.clear();
    ownerChanges_.reset();
    object_.reset();
    driver_.reset();
  }

  void lost() {
    release();
    if (std::exchange(running_, false)) {
      post([](State& self) {
        if (self.lostHandler) self.lostHandler();
      });
    }
  }

  void post(std::function<void(State&)> handle) {
    queue_.async([self = shared_from_this(), run = std::move(handle)] {
      if (!self->closed_) run(*self);
    });
  }

  void receive(Arrival message) noexcept {
    const auto refusal = message.textSize > longestSessionID ? std::optional<std::string>("The session ID is too long.")
                                                             : admission_.refusal(message.sender, clock_.steadyNow());
    if (refusal) {
      noteRefusal(message.sender, *refusal);
      send(message, nullptr, sdbus::Error(HelperBusCoding::limitsExceeded, *refusal));
      return;
    }
    const std::string sender = message.sender;
    const std::uint64_t id = ++lastMessage_;
    pending_.emplace(id, std::move(message));
    if (const Caller* const known = admission_.caller(sender)) {
      makeReady(*known, id);
      return;
    }
    auto& waiting = unidentified_[sender];
    waiting.push_back(id);
    if (waiting.size() == 1) identify(sender);
  }

  /// The user is who the bus says. It is asked without waiting: whoever waits holds all that comes meanwhile in memory.
  void identify(const std::string& sender) noexcept {
    const auto answered = [this, sender](const sdbus::Error* error, const Dictionary& credentials) {
      identified(sender, error == nullptr ? credentials : Dictionary());
    };
    try {
      driver_->callMethodAsync("GetConnectionCredentials")
          .onInterface(busDriverName)
          .withArguments(sender)
          .uponReplyInvoke(answered);
    } catch (const sdbus::Error&) {
      identified(sender, {});
    }
  }

  void identified(const std::string& sender, const Dictionary& credentials) noexcept {
    std::optional<Caller> caller;
    try {
      caller = Caller{sender, credentials.at("UnixUserID").get<std::uint32_t>(),
                      static_cast<std::int32_t>(credentials.at("ProcessID").get<std::uint32_t>())};
      admission_.identified(*caller);
    } catch (const std::exception&) {
      // One that the bus does not vouch for is refused like one that is gone.
    }
    const auto found = unidentified_.extract(sender);
    for (const std::uint64_t message : found ? found.mapped() : std::vector<std::uint64_t>()) {
      if (caller) {
        makeReady(*caller, message);
      } else {
        answer(message, nullptr, HelperXPCError::make(HelperXPCError::Code::unauthorizedClient));
      }
    }
  }

  void makeReady(const Caller& caller, std::uint64_t message) {
    {
      const std::lock_guard lock(mutex_);
      ready_.push_back({message, caller, std::move(pending_.at(message).deliver)});
    }
    post([](State& self) { self.handleNext(); });
  }

  void answer(std::uint64_t id, const PropertyList& dictionary, const std::optional<Error>& error) noexcept {
    const auto found = pending_.extract(id);
    if (!found) return;
    const Arrival& message = found.mapped();
    admission_.answered(message.sender);
    noteHolder(message, error);
    send(message, dictionary, error ? std::optional(HelperBusCoding::encoded(*error)) : std::nullopt);
  }

  void send(const Arrival& to, const PropertyList& dictionary, const std::optional<sdbus::Error>& error) noexcept {
    try {
      to.answer(dictionary, error ? &*error : nullptr);
    } catch (const sdbus::Error& failure) {
      // The caller is gone, or the bus is; or the answer cannot travel, which a caller must not wait for.
      logger_.error(fmt::format("an answer could not be sent: {}", failure.getMessage()));
      if (!error)
        send(to, nullptr, HelperBusCoding::encoded(HelperXPCError::make(HelperXPCError::Code::internalFailure)));
    }
  }

  void noteHolder(const Arrival& answered, const std::optional<Error>& error) {
    const bool holds = answered.sender == admission_.holder();
    if (answered.effect == Effect::begins && !error) {
      admission_.setHolder(answered.sender);
    } else if (holds && (error ? HelperXPCError::isInvalidSession(*error) : answered.effect == Effect::ends)) {
      admission_.setHolder({});
    }
    const std::lock_guard lock(mutex_);
    preferred_ = admission_.holder();
  }

  void noteRefusal(const std::string& sender, const std::string& reason) {
    ++refusals_;
    const Instant now = clock_.steadyNow();
    if (refusalsReported_ && now - *refusalsReported_ < refusalReportPeriod) return;
    refusalsReported_ = now;
    logger_.error(
        fmt::format("{} message(s) refused, the last one of {}: {}", std::exchange(refusals_, 0), sender, reason));
  }

  void ownerChanged(sdbus::Message& message) noexcept {
    try {
      // Anybody may send a signal to one connection; only the bus itself sends it under this name.
      if (message.getSender() != busDriverName) return;
      std::string name;
      std::string before;
      std::string after;
      message >> name >> before >> after;
      const bool isOwn = name == Adaptor::INTERFACE_NAME;
      if (isOwn && !before.empty() && running_ && after != bus_.connection().getUniqueName()) {
        lost();
      } else if (!isOwn && after.empty()) {
        clientGone(name);
      }
    } catch (const sdbus::Error& error) {
      logger_.error(fmt::format("a change of owners could not be read: {}", error.getMessage()));
    }
  }

  void clientGone(const std::string& name) {
    unidentified_.erase(name);
    std::erase_if(pending_, [&](const auto& each) { return each.second.sender == name; });
    if (admission_.caller(name) != nullptr) {
      post([name](State& self) {
        if (self.clientGoneHandler) self.clientGoneHandler(name);
      });
    }
    admission_.gone(name);
  }

  // On the queue.

  void handleNext() {
    Ready next;
    {
      const std::lock_guard lock(mutex_);
      auto chosen = std::find_if(ready_.begin(), ready_.end(),
                                 [this](const Ready& each) { return each.caller.connectionName == preferred_; });
      if (chosen == ready_.end()) chosen = ready_.begin();
      next = std::move(*chosen);
      ready_.erase(chosen);
    }
    const auto reply = [weak = weak_from_this(), id = next.message](PropertyList value, std::optional<Error> error) {
      if (const auto self = weak.lock(); self && !self->closed_) {
        self->bus_.post([weak, id, dictionary = std::move(value), failure = std::move(error)] {
          if (const auto state = weak.lock()) state->answer(id, dictionary, failure);
        });
      }
    };
    const auto receiver = service.lock();
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

  BusThread& bus_;
  Queue& queue_;
  const Clock& clock_;
  const Logger logger_;
  std::atomic<bool> closed_{false};

  std::mutex mutex_;
  /// For the queue, in the order in which they came.
  std::deque<Ready> ready_;
  /// The connection whose messages are handled first.
  std::string preferred_;

  std::unique_ptr<HelperObject> object_;
  std::unique_ptr<sdbus::IProxy> driver_;
  sdbus::Slot ownerChanges_;
  MessageAdmission admission_;
  /// Of senders that the bus is being asked about.
  std::map<std::string, std::vector<std::uint64_t>> unidentified_;
  std::map<std::uint64_t, Arrival> pending_;
  std::uint64_t lastMessage_ = 0;
  std::uint64_t refusals_ = 0;
  std::optional<Instant> refusalsReported_;
  bool running_ = false;
};

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
