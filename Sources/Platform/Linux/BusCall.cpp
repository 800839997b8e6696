#include "Platform/Linux/BusCall.h"

#include <memory>
#include <utility>

namespace halcyra {

namespace {

using Done = std::function<void(sdbus::MethodReply*, const sdbus::Error*)>;

/// One call that is out. Bus thread only.
struct PendingCall {
  Done done;
  std::shared_ptr<sdbus::IProxy> proxy;

  void finish(sdbus::MethodReply* reply, const sdbus::Error* error) {
    const auto finished = std::exchange(done, nullptr);
    if (!finished) {
      return;
    }
    try {
      finished(reply, error);
    } catch (const sdbus::Error& failure) {
      // The reply was not of the form that the caller expects.
      finished(nullptr, &failure);
    }
  }
};

void send(BusThread& bus, const BusCallTarget& target, const std::function<void(sdbus::Message&)>& fill,
          const std::shared_ptr<PendingCall>& call) {
  call->proxy = sdbus::createProxy(bus.connection(), target.service, target.path);
  auto message = call->proxy->createMethodCall(target.interface, target.method);
  fill(message);
  bus.onLoss(call, [pending = call.get()] {
    const sdbus::Error lost("org.freedesktop.DBus.Error.Disconnected", "The bus is gone.");
    pending->finish(nullptr, &lost);
    pending->proxy.reset();
  });
  call->proxy->callMethod(message, [&bus, call](sdbus::MethodReply& reply, const sdbus::Error* error) {
    call->finish(error == nullptr ? &reply : nullptr, error);
    bus.dispose(std::exchange(call->proxy, nullptr));
  });
}

}  // namespace

void sendBusCall(BusThread& bus, BusCallTarget target, std::function<void(sdbus::Message&)> fill, Done done) {
  bus.post([&bus, target = std::move(target), fill = std::move(fill), done = std::move(done)] {
    const auto call = std::make_shared<PendingCall>();
    call->done = done;
    try {
      send(bus, target, fill, call);
    } catch (const sdbus::Error& error) {
      call->finish(nullptr, &error);
      bus.dispose(std::exchange(call->proxy, nullptr));
    }
  });
}

}  // namespace halcyra
