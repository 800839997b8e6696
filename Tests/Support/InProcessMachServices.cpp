#include "Support/InProcessMachServices.h"

#include <utility>

#include "fmt/format.h"

namespace halcyra::test {

namespace {

Error connectionError(std::int64_t code) { return Error(cocoaErrorDomain, code, "The connection to the service broke."); }

/// Across a process boundary nothing is shared.
PropertyList copied(const PropertyList& value) { return PropertyList::parse(value.dump()); }

}  // namespace

/// Calls that are out are known by serial number; whoever takes one out of the table answers it.
class InProcessBus::Connection : public MachServiceConnection, public std::enable_shared_from_this<Connection> {
 public:
  Connection(std::shared_ptr<InProcessBus> bus, std::string serviceName, std::shared_ptr<VirtualProcess> process,
             MachServiceCaller caller)
      : bus_(std::move(bus)),
        serviceName_(std::move(serviceName)),
        process_(std::move(process)),
        caller_(std::move(caller)),
        queue_(process_->makeSerialQueue("xpc " + caller_.connectionName, QualityOfService::standard)) {}
  ~Connection() override { bus_->clientGone(serviceName_, caller_.connectionName); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void setInvalidationHandler(std::function<void()> handler) override { invalidationHandler_ = std::move(handler); }
  void resume() override {}

  void call(const std::string& selector, PropertyList arguments, ReplyHandler reply, ErrorHandler failure) override {
    const std::uint64_t serial = ++lastSerial_;
    out_[serial] = {std::move(reply), std::move(failure)};
    if (!isValid_ || !bus_->isUp_) {
      invalidateNow();
      return;
    }
    bus_->send({weak_from_this(), serial, selector, copied(arguments)}, serviceName_, caller_);
  }

  void invalidate() override { invalidateNow(); }

  void answer(std::uint64_t serial, MachServiceReply reply) {
    const auto found = out_.find(serial);
    if (found == out_.end()) return;
    auto handler = std::move(found->second.reply);
    out_.erase(found);
    reply.value = copied(reply.value);
    queue_->async([handler = std::move(handler), reply = std::move(reply)] { handler(reply); });
  }

  void interrupt() { failAll(connectionInterruptedCode); }

  void invalidateNow() {
    failAll(connectionInvalidCode);
    if (std::exchange(isValid_, false)) {
      bus_->clientGone(serviceName_, caller_.connectionName);
      queue_->async([handler = invalidationHandler_] {
        if (handler) handler();
      });
    }
  }

  const std::string& serviceName() const { return serviceName_; }
  const MachServiceCaller& caller() const { return caller_; }
  const std::shared_ptr<VirtualProcess>& process() const { return process_; }

 private:
  struct Out {
    ReplyHandler reply;
    ErrorHandler failure;
  };

  void failAll(std::int64_t code) {
    auto out = std::exchange(out_, {});
    for (auto& [serial, call] : out) {
      queue_->async([failure = std::move(call.failure), code] { failure(connectionError(code)); });
    }
  }

  std::shared_ptr<InProcessBus> bus_;
  std::string serviceName_;
  std::shared_ptr<VirtualProcess> process_;
  MachServiceCaller caller_;
  std::function<void()> invalidationHandler_;
  bool isValid_ = true;
  std::uint64_t lastSerial_ = 0;
  std::map<std::uint64_t, Out> out_;
  std::unique_ptr<Queue> queue_;
};

class InProcessBus::Listener : public MachServiceListener {
 public:
  Listener(std::shared_ptr<InProcessBus> bus, std::string serviceName, std::shared_ptr<VirtualProcess> process)
      : bus_(std::move(bus)), serviceName_(std::move(serviceName)), process_(std::move(process)) {}
  ~Listener() override { bus_->remove(this); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  void setMessageHandler(MessageHandler handler) override { messageHandler_ = std::move(handler); }
  void setClientGoneHandler(std::function<void(const std::string&)> handler) override {
    clientGoneHandler_ = std::move(handler);
  }
  void setLostHandler(std::function<void()> handler) override { lostHandler_ = std::move(handler); }
  void resume() override { bus_->listeners_[serviceName_] = this; }

  void receive(const Call& call, const MachServiceCaller& caller) {
    process_->mainQueue().async([handler = messageHandler_, bus = bus_, call, caller] {
      handler(caller, call.selector, call.arguments,
              [bus, call](MachServiceReply reply) { bus->deliverReply(call, std::move(reply)); });
    });
  }
  void clientGone(const std::string& connectionName) {
    process_->mainQueue().async([handler = clientGoneHandler_, connectionName] {
      if (handler) handler(connectionName);
    });
  }
  void lost() {
    process_->mainQueue().async([handler = lostHandler_] {
      if (handler) handler();
    });
  }

  const std::string& serviceName() const { return serviceName_; }
  const std::shared_ptr<VirtualProcess>& process() const { return process_; }

 private:
  std::shared_ptr<InProcessBus> bus_;
  std::string serviceName_;
  std::shared_ptr<VirtualProcess> process_;
  MessageHandler messageHandler_;
  std::function<void(const std::string&)> clientGoneHandler_;
  std::function<void()> lostHandler_;
};

class InProcessBus::Services : public MachServices {
 public:
  Services(std::shared_ptr<InProcessBus> bus, std::shared_ptr<VirtualProcess> process, std::uint32_t userID)
      : bus_(std::move(bus)), process_(std::move(process)), userID_(userID) {}

  std::shared_ptr<MachServiceConnection> connect(const std::string& serviceName, MachServiceDomain) override {
    const auto number = ++bus_->connectionCount_;
    auto connection = std::make_shared<Connection>(
        bus_, serviceName, process_,
        MachServiceCaller{fmt::format(":1.{}", number), userID_, static_cast<std::int32_t>(1000 + number)});
    bus_->connections_.push_back(connection);
    return connection;
  }

 private:
  std::shared_ptr<InProcessBus> bus_;
  std::shared_ptr<VirtualProcess> process_;
  std::uint32_t userID_;
};

std::shared_ptr<InProcessBus> InProcessBus::make(VirtualScheduler& scheduler) {
  return std::shared_ptr<InProcessBus>(new InProcessBus(scheduler));
}

std::unique_ptr<MachServices> InProcessBus::services(const std::shared_ptr<VirtualProcess>& client,
                                                     std::uint32_t userID) {
  return std::make_unique<Services>(shared_from_this(), client, userID);
}

std::unique_ptr<MachServiceListener> InProcessBus::listener(const std::string& serviceName,
                                                            const std::shared_ptr<VirtualProcess>& server) {
  return std::make_unique<Listener>(shared_from_this(), serviceName, server);
}

void InProcessBus::setActivation(std::function<bool(const std::string&)> activation) {
  activation_ = std::move(activation);
}

void InProcessBus::later(Seconds delay, std::function<void()> event) {
  scheduler_.at(scheduler_.elapsed() + delay, std::move(event));
}

void InProcessBus::remove(Listener* listener) {
  const auto found = listeners_.find(listener->serviceName());
  if (found == listeners_.end() || found->second != listener) return;
  listeners_.erase(found);
  for (const auto& weak : connections_) {
    const auto connection = weak.lock();
    if (connection && connection->serviceName() == listener->serviceName()) connection->interrupt();
  }
}

void InProcessBus::send(Call call, const std::string& serviceName, MachServiceCaller caller) {
  ++messages;
  later(transit, [self = shared_from_this(), call = std::move(call), serviceName, caller = std::move(caller)] {
    self->deliver(call, serviceName, caller, true);
  });
}

void InProcessBus::deliver(const Call& call, const std::string& serviceName, const MachServiceCaller& caller,
                           bool mayActivate) {
  const auto client = call.client.lock();
  if (!client || !isUp_) return;
  if (const auto found = listeners_.find(serviceName); found != listeners_.end()) {
    found->second->receive(call, caller);
  } else if (mayActivate && activation_ && activation_(serviceName)) {
    deliver(call, serviceName, caller, false);
  } else {
    client->invalidateNow();
  }
}

void InProcessBus::deliverReply(const Call& call, MachServiceReply reply) {
  const ReplyFate fate = replyFate ? replyFate(call.selector) : ReplyFate{};
  if (fate.lost) return;
  for (int times = fate.twice ? 2 : 1; times > 0; --times) {
    later(transit + fate.extraDelay, [self = shared_from_this(), call, reply] {
      const auto client = call.client.lock();
      if (client && self->isUp_) client->answer(call.serial, reply);
    });
  }
}

void InProcessBus::processEnded(const std::shared_ptr<VirtualProcess>& process) {
  std::vector<Listener*> ended;
  for (const auto& [name, listener] : listeners_) {
    if (listener->process() == process) ended.push_back(listener);
  }
  for (Listener* listener : ended) remove(listener);
  for (const auto& weak : connections_) {
    const auto connection = weak.lock();
    if (connection && connection->process() == process) {
      clientGone(connection->serviceName(), connection->caller().connectionName);
    }
  }
}

void InProcessBus::clientGone(const std::string& serviceName, const std::string& connectionName) {
  if (const auto found = listeners_.find(serviceName); found != listeners_.end()) {
    found->second->clientGone(connectionName);
  }
}

void InProcessBus::breakDown() {
  isUp_ = false;
  for (const auto& [name, listener] : std::exchange(listeners_, {})) listener->lost();
  for (const auto& weak : connections_) {
    if (const auto connection = weak.lock()) connection->invalidateNow();
  }
}

}  // namespace halcyra::test
