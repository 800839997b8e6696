#include "Platform/Linux/DBusHelperConnections.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <map>
#include <string_view>
#include <utility>

#include "fmt/format.h"

#include "Platform/Linux/HelperBusCoding.h"
#include "Platform/Linux/HelperProxy.h"
#include "Platform/Precondition.h"

namespace halcyra {

namespace {

using HelperBusCoding::Dictionary;

/// Errors of the bus itself that mean that there is no helper to be had.
bool meansInvalid(std::string_view name) {
  constexpr std::array<std::string_view, 5> names{
      "org.freedesktop.DBus.Error.ServiceUnknown", "org.freedesktop.DBus.Error.NameHasNoOwner",
      "org.freedesktop.DBus.Error.AccessDenied", "org.freedesktop.DBus.Error.Disconnected",
      "org.freedesktop.DBus.Error.NoServer"};
  return std::find(names.begin(), names.end(), name) != names.end() ||
         name.starts_with("org.freedesktop.DBus.Error.Spawn.");
}

/// Errors that say that a call will not be answered, and that the next one may be.
bool meansInterrupted(std::string_view name) {
  return name == "org.freedesktop.DBus.Error.NoReply" || name == "org.freedesktop.DBus.Error.Timeout" ||
         name == "org.freedesktop.DBus.Error.TimedOut" || name == HelperBusCoding::limitsExceeded;
}

/// One call that is out: the generated proxy tells its replies by their method alone. Bus thread only.
// Final, and the bus library keeps its own destructors protected: nobody can destroy it as anything else.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor)
class HelperCall final : public sdbus::ProxyInterfaces<com::norwick::Halcyra::helper_proxy> {
 public:
  using Done = std::function<void(const Dictionary&, const sdbus::Error*)>;

  HelperCall(sdbus::IConnection& connection, Done done)
      : ProxyInterfaces(connection, INTERFACE_NAME, HelperBusCoding::objectPath), done_(std::move(done)) {}

 private:
  void onStatusReply(const Dictionary& status, const sdbus::Error* error) override { done_(status, error); }
  void onBeginSessionReply(const Dictionary& status, const sdbus::Error* error) override { done_(status, error); }
  void onHeartbeatReply(const sdbus::Error* error) override { done_({}, error); }
  void onSetFanModeReply(const Dictionary& fan, const sdbus::Error* error) override { done_(fan, error); }
  void onSetFanTargetRPMReply(const Dictionary& fan, const sdbus::Error* error) override { done_(fan, error); }
  void onResetAllReply(const Dictionary& status, const sdbus::Error* error) override { done_(status, error); }
  void onEndSessionReply(const sdbus::Error* error) override { done_({}, error); }
  void onPrepareForUninstallReply(const sdbus::Error* error) override { done_({}, error); }

  Done done_;
};

class ConnectionState : public std::enable_shared_from_this<ConnectionState> {
 public:
  ConnectionState(BusThread& bus, Seconds callTimeout) : bus_(bus), callTimeout_(callTimeout) {}

  BusThread& bus() { return bus_; }

  // Bus thread only, from here on.

  void setInvalidationHandler(std::function<void()> handler) { invalidationHandler_ = std::move(handler); }

  void send(const std::function<void(HelperCall&)>& start, HelperDictionaryReply reply) {
    if (invalidated_) {
      reply(nullptr, invalidError());
      return;
    }
    const std::uint64_t id = ++lastCall_;
    calls_.emplace(id, Call{std::move(reply), nullptr});
    try {
      watchConnection();
      const auto call = std::make_shared<HelperCall>(
          bus_.connection(), [weak = weak_from_this(), id](const Dictionary& dictionary, const sdbus::Error* error) {
            if (const auto self = weak.lock()) self->receive(id, dictionary, error);
          });
      calls_.at(id).proxy = call;
      start(*call);
    } catch (const sdbus::Error& error) {
      invalidate(error.getMessage());
      return;
    }
    bus_.postAfter(callTimeout_, [weak = weak_from_this(), id] {
      if (const auto self = weak.lock()) self->finish(id, nullptr, self->interruptedError("not answered in time"));
    });
  }

  void invalidate(const std::string& reason) {
    if (std::exchange(invalidated_, true)) {
      return;
    }
    reason_ = reason;
    while (!calls_.empty()) {
      finish(calls_.begin()->first, nullptr, invalidError());
    }
    if (const auto handler = std::exchange(invalidationHandler_, nullptr)) {
      handler();
    }
  }

 private:
  struct Call {
    HelperDictionaryReply reply;
    std::shared_ptr<HelperCall> proxy;
  };

  void watchConnection() {
    if (!std::exchange(watched_, true)) {
      bus_.connection();
      bus_.onLoss(weak_from_this(), [this] { invalidate("the message bus is gone"); });
    }
  }

  /// Nothing may be thrown through the bus library.
  void receive(std::uint64_t id, const Dictionary& dictionary, const sdbus::Error* error) noexcept {
    if (error == nullptr) {
      try {
        finish(id, HelperBusCoding::decoded(dictionary), std::nullopt);
      } catch (const sdbus::Error& failure) {
        finish(id, nullptr, interruptedError(failure.getMessage()));
      }
    } else if (meansInvalid(error->getName())) {
      invalidate(error->getMessage());
    } else if (meansInterrupted(error->getName())) {
      // A bus that is going down answers like this too; then the loss of the connection comes first.
      bus_.whenDrained([weak = weak_from_this(), id, reason = error->getMessage()] {
        if (const auto self = weak.lock()) self->finish(id, nullptr, self->interruptedError(reason));
      });
    } else {
      finish(id, nullptr, HelperBusCoding::decoded(*error));
    }
  }

  void finish(std::uint64_t id, PropertyList dictionary, std::optional<Error> error) noexcept {
    if (const auto call = calls_.extract(id)) {
      // It may be in the middle of calling this.
      bus_.dispose(std::move(call.mapped().proxy));
      call.mapped().reply(std::move(dictionary), std::move(error));
    }
  }

  static Error connectionError(std::int64_t code, std::string_view happened, const std::string& reason) {
    Error error(cocoaErrorDomain, code, "Couldn’t communicate with a helper application.");
    error.userInfo.emplace(debugDescriptionKey, fmt::format("The connection to service named {} was {}: {}.",
                                                            HelperCall::INTERFACE_NAME, happened, reason));
    return error;
  }
  static Error interruptedError(const std::string& reason) {
    return connectionError(connectionInterruptedCode, "interrupted", reason);
  }
  Error invalidError() const { return connectionError(connectionInvalidCode, "invalidated", reason_); }

  BusThread& bus_;
  const Seconds callTimeout_;
  std::function<void()> invalidationHandler_;
  std::map<std::uint64_t, Call> calls_;
  std::uint64_t lastCall_ = 0;
  bool watched_ = false;
  bool invalidated_ = false;
  std::string reason_;
};

class BusHelperConnection : public FanControlHelperConnection {
 public:
  explicit BusHelperConnection(std::shared_ptr<ConnectionState> state) : state_(std::move(state)) {}
  ~BusHelperConnection() override {
    state_->bus().post([state = state_] {
      state->setInvalidationHandler(nullptr);
      state->invalidate("the connection was released");
    });
  }
  BusHelperConnection(const BusHelperConnection&) = delete;
  BusHelperConnection& operator=(const BusHelperConnection&) = delete;

  void setInvalidationHandler(std::function<void()> handler) override {
    precondition(!resumed_, "the invalidation handler is set before resume");
    state_->bus().post([state = state_, handle = std::move(handler)] { state->setInvalidationHandler(handle); });
  }
  void resume() override { resumed_ = true; }
  void invalidate() override {
    state_->bus().post([state = state_] { state->invalidate("it was ended"); });
  }

  void status(DictionaryReply reply) override {
    send([](HelperCall& helper) { helper.Status(); }, std::move(reply));
  }
  void beginSession(const std::string& id, DictionaryReply reply) override {
    send([id](HelperCall& helper) { helper.BeginSession(id); }, std::move(reply));
  }
  void heartbeat(const std::string& id, ErrorReply reply) override {
    send([id](HelperCall& helper) { helper.Heartbeat(id); }, errorOnly(std::move(reply)));
  }
  void setFanMode(std::int64_t fan, bool manual, const std::string& id, DictionaryReply reply) override {
    send([=](HelperCall& helper) { helper.SetFanMode(fan, manual, id); }, std::move(reply));
  }
  void setFanTargetRPM(std::int64_t fan, std::int64_t rpm, const std::string& id, DictionaryReply reply) override {
    send([=](HelperCall& helper) { helper.SetFanTargetRPM(fan, rpm, id); }, std::move(reply));
  }
  void resetAll(const std::string& id, DictionaryReply reply) override {
    send([id](HelperCall& helper) { helper.ResetAll(id); }, std::move(reply));
  }
  void endSession(const std::string& id, ErrorReply reply) override {
    send([id](HelperCall& helper) { helper.EndSession(id); }, errorOnly(std::move(reply)));
  }
  void prepareForUninstall(ErrorReply reply) override {
    send([](HelperCall& helper) { helper.PrepareForUninstall(); }, errorOnly(std::move(reply)));
  }

 private:
  static DictionaryReply errorOnly(ErrorReply reply) {
    return [reply = std::move(reply)](const PropertyList&, std::optional<Error> error) { reply(std::move(error)); };
  }

  void send(std::function<void(HelperCall&)> start, DictionaryReply reply) {
    precondition(resumed_, "a connection is resumed before its first call");
    state_->bus().post(
        [state = state_, begin = std::move(start), onReply = std::move(reply)] { state->send(begin, onReply); });
  }

  std::shared_ptr<ConnectionState> state_;
  std::atomic<bool> resumed_{false};
};

}  // namespace

std::shared_ptr<FanControlHelperConnection> DBusHelperConnections::connect() {
  return std::make_shared<BusHelperConnection>(std::make_shared<ConnectionState>(bus_, callTimeout_));
}

}  // namespace halcyra
