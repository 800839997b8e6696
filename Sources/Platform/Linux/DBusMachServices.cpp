#include "Platform/Linux/DBusMachServices.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <map>
#include <string_view>
#include <utility>

#include "fmt/format.h"

#include "Platform/Linux/MachServiceNames.h"
#include "Platform/Linux/PropertyListCoding.h"
#include "Platform/Precondition.h"
#include "Platform/UnicodeText.h"
#include "sdbus-c++/sdbus-c++.h"

namespace halcyra {

namespace {

/// Errors of the bus itself that mean that there is no such service to be had.
bool meansInvalid(std::string_view name) {
  constexpr std::array<std::string_view, 5> names{
      "org.freedesktop.DBus.Error.ServiceUnknown", "org.freedesktop.DBus.Error.NameHasNoOwner",
      "org.freedesktop.DBus.Error.AccessDenied", "org.freedesktop.DBus.Error.Disconnected",
      "org.freedesktop.DBus.Error.NoServer"};
  return std::find(names.begin(), names.end(), name) != names.end() ||
         name.starts_with("org.freedesktop.DBus.Error.Spawn.");
}

/// Errors that say that a call was sent and will not be answered.
bool meansInterrupted(std::string_view name) {
  return name == "org.freedesktop.DBus.Error.NoReply" || name == "org.freedesktop.DBus.Error.Timeout" ||
         name == "org.freedesktop.DBus.Error.TimedOut";
}

class ConnectionState : public std::enable_shared_from_this<ConnectionState> {
 public:
  ConnectionState(BusThread& bus, std::string serviceName, Seconds callTimeout)
      : bus_(bus), serviceName_(std::move(serviceName)), callTimeout_(callTimeout) {}

  BusThread& bus() { return bus_; }

  // Bus thread only, from here on.

  void setInvalidationHandler(std::function<void()> handler) { invalidationHandler_ = std::move(handler); }

  void send(const std::string& selector, const PropertyList& arguments, MachServiceConnection::ReplyHandler reply,
            MachServiceConnection::ErrorHandler failure) {
    if (invalidated_) {
      failure(invalidError());
      return;
    }
    const std::uint64_t id = ++lastCall_;
    calls_.emplace(id, Call{std::move(reply), std::move(failure)});
    try {
      transmit(id, selector, arguments);
    } catch (const PropertyListCodingError& error) {
      fail(id, error.asError());
    } catch (const sdbus::Error& error) {
      invalidate(error.getMessage());
    }
  }

  void invalidate(const std::string& reason) {
    if (std::exchange(invalidated_, true)) {
      return;
    }
    reason_ = reason;
    bus_.dispose(std::exchange(proxy_, nullptr));
    while (!calls_.empty()) {
      fail(calls_.begin()->first, invalidError());
    }
    if (const auto handler = std::exchange(invalidationHandler_, nullptr)) {
      handler();
    }
  }

 private:
  struct Call {
    MachServiceConnection::ReplyHandler reply;
    MachServiceConnection::ErrorHandler failure;
  };

  void transmit(std::uint64_t id, const std::string& selector, const PropertyList& arguments) {
    if (!proxy_) {
      proxy_ = sdbus::createProxy(bus_.connection(), serviceName_, machServiceObjectPath(serviceName_));
      bus_.onLoss(weak_from_this(), [this] { invalidate("the message bus is gone"); });
    }
    if (!isPortableText(selector)) {
      throw PropertyListCodingError("The selector is not UTF-8.");
    }
    auto message = proxy_->createMethodCall(serviceName_, machServiceMethod);
    message << selector;
    PropertyListCoding::append(message, arguments);
    const auto timeout = std::chrono::duration_cast<std::chrono::microseconds>(callTimeout_);
    proxy_->callMethod(
        message,
        [weak = weak_from_this(), id](sdbus::MethodReply& reply, const sdbus::Error* error) {
          if (const auto self = weak.lock()) {
            self->receive(id, reply, error);
          }
        },
        static_cast<std::uint64_t>(timeout.count()));
  }

  /// Nothing may be thrown through the bus library.
  void receive(std::uint64_t id, sdbus::MethodReply& message, const sdbus::Error* error) noexcept {
    if (error == nullptr) {
      try {
        answer(id, {PropertyListCoding::read(message), std::nullopt});
      } catch (const PropertyListCodingError& failure) {
        answer(id, {nullptr, failure.asError()});
      } catch (const sdbus::Error& failure) {
        answer(id, {nullptr, Error(failure.getName(), 0, failure.getMessage())});
      }
    } else if (meansInvalid(error->getName())) {
      invalidate(error->getMessage());
    } else if (meansInterrupted(error->getName())) {
      // A bus that is going down answers like this too; then the loss of the connection comes first.
      bus_.whenDrained([weak = weak_from_this(), id] {
        if (const auto self = weak.lock()) {
          self->fail(id, self->interruptedError());
        }
      });
    } else {
      answer(id, PropertyListCoding::replyFromError(*error));
    }
  }

  void answer(std::uint64_t id, MachServiceReply reply) noexcept {
    if (const auto call = calls_.extract(id)) {
      call.mapped().reply(std::move(reply));
    }
  }

  void fail(std::uint64_t id, const Error& error) noexcept {
    if (const auto call = calls_.extract(id)) {
      call.mapped().failure(error);
    }
  }

  Error connectionError(std::int64_t code, const std::string& detail) const {
    Error error(cocoaErrorDomain, code, "Couldn’t communicate with a helper application.");
    error.userInfo.emplace(debugDescriptionKey,
                           fmt::format("The connection to service named {} was {}", serviceName_, detail));
    return error;
  }
  Error interruptedError() const { return connectionError(connectionInterruptedCode, "interrupted."); }
  Error invalidError() const {
    return connectionError(connectionInvalidCode, fmt::format("invalidated: {}.", reason_));
  }

  BusThread& bus_;
  const std::string serviceName_;
  const Seconds callTimeout_;
  std::function<void()> invalidationHandler_;
  std::shared_ptr<sdbus::IProxy> proxy_;
  std::map<std::uint64_t, Call> calls_;
  std::uint64_t lastCall_ = 0;
  bool invalidated_ = false;
  std::string reason_;
};

class Connection : public MachServiceConnection {
 public:
  explicit Connection(std::shared_ptr<ConnectionState> state) : state_(std::move(state)) {}
  ~Connection() override {
    state_->bus().post([state = state_] {
      state->setInvalidationHandler(nullptr);
      state->invalidate("the connection was released");
    });
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void setInvalidationHandler(std::function<void()> handler) override {
    precondition(!resumed_, "the invalidation handler is set before resume");
    state_->bus().post([state = state_, handle = std::move(handler)] { state->setInvalidationHandler(handle); });
  }

  void resume() override { resumed_ = true; }

  void call(const std::string& selector, PropertyList arguments, ReplyHandler reply, ErrorHandler failure) override {
    precondition(resumed_, "a connection is resumed before its first call");
    state_->bus().post([state = state_, selector, values = std::move(arguments), onReply = std::move(reply),
                        onFailure = std::move(failure)] { state->send(selector, values, onReply, onFailure); });
  }

  void invalidate() override {
    state_->bus().post([state = state_] { state->invalidate("it was ended"); });
  }

 private:
  std::shared_ptr<ConnectionState> state_;
  std::atomic<bool> resumed_{false};
};

}  // namespace

std::shared_ptr<MachServiceConnection> DBusMachServices::connect(const std::string& serviceName,
                                                                 MachServiceDomain /*domain*/) {
  return std::make_shared<Connection>(std::make_shared<ConnectionState>(bus_, serviceName, callTimeout_));
}

}  // namespace halcyra
