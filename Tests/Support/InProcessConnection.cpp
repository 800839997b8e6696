#include "Support/InProcessConnection.h"

#include "Platform/Precondition.h"

namespace halcyra::test {

namespace {

Error invalid() {
  return Error(cocoaErrorDomain, connectionInvalidCode, "The connection to the service was invalidated.");
}

Error timedOut() {
  return Error(cocoaErrorDomain, connectionInterruptedCode, "The service did not answer.");
}

}  // namespace

InProcessMachServices::Connection::Connection(std::weak_ptr<InProcessMachServices*> bus,
                                              std::shared_ptr<VirtualProcess> process, std::shared_ptr<Queue> queue,
                                              std::string serviceName, FanControlHelperCaller caller)
    : bus_(std::move(bus)),
      process_(std::move(process)),
      queue_(std::move(queue)),
      serviceName_(std::move(serviceName)),
      caller_(std::move(caller)) {}

InProcessMachServices::Connection::~Connection() {
  invalidate();
}

void InProcessMachServices::Connection::call(const std::string& selector, PropertyList arguments, HelperAnswer answer) {
  precondition(isResumed_, "a connection is used before it is resumed");
  const auto bus = bus_.lock();
  if (!bus || !process_->isAlive()) {
    return;
  }
  (*bus)->sent_.push_back(selector);
  if (!isValid_) {
    // Not among the calls that are out: the caller is answered even when this is gone before.
    queue_->async([answer = std::move(answer)] { answer({nullptr, invalid()}); });
    return;
  }
  const std::uint64_t call = ++lastCall_;
  pending_[call] = std::move(answer);
  hasSent_ = true;
  fail(call, timedOut(), (*bus)->callTimeout_);
  (*bus)->send({weak_from_this(), call, serviceName_, caller_, selector, std::move(arguments), std::nullopt});
}

void InProcessMachServices::Connection::deliver(std::uint64_t call, HelperReply reply, Seconds delay,
                                                std::function<void()> useless) {
  process_->asyncAfter(*queue_, delay,
                       [weak = weak_from_this(), call, reply = std::move(reply), useless = std::move(useless)] {
                         const auto self = weak.lock();
                         auto found = self ? self->pending_.extract(call) : decltype(self->pending_)::node_type{};
                         if (found) {
                           found.mapped()(reply);
                         } else {
                           useless();
                         }
                       });
}

void InProcessMachServices::Connection::fail(std::uint64_t call, const Error& error, Seconds delay) {
  process_->asyncAfter(*queue_, delay, [weak = weak_from_this(), call, error] {
    const auto self = weak.lock();
    if (auto found = self ? self->pending_.extract(call) : decltype(self->pending_)::node_type{}) {
      found.mapped()({nullptr, error});
    }
  });
}

void InProcessMachServices::Connection::failAll(const Error& error, Seconds delay) {
  for (const auto& [call, pending] : pending_) {
    fail(call, error, delay);
  }
}

void InProcessMachServices::Connection::breakDown() {
  if (!std::exchange(isValid_, false)) {
    return;
  }
  // By value: this may be gone before they run.
  for (auto& [call, answer] : std::exchange(pending_, {})) {
    queue_->async([answer = std::move(answer)] { answer({nullptr, invalid()}); });
  }
  if (invalidationHandler_) {
    queue_->async(std::exchange(invalidationHandler_, {}));
  }
}

void InProcessMachServices::Connection::invalidate() {
  const bool wasValid = isValid_;
  breakDown();
  const auto bus = bus_.lock();
  if (wasValid && hasSent_ && bus) {
    (*bus)->connectionGone(serviceName_, name());
  }
}

void InProcessMachServices::Connection::forget() {
  isValid_ = false;
  // Destroyed last: what the handlers own may come back here.
  const auto handler = std::exchange(invalidationHandler_, {});
  const auto pending = std::exchange(pending_, {});
}

}  // namespace halcyra::test
