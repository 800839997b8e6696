#include "Support/InProcessMachServices.h"

#include <algorithm>
#include <utility>

#include "fmt/format.h"

#include "Support/InProcessConnection.h"
#include "XPC/FanControlXPC.h"

namespace halcyra::test {

namespace {

class NameTaken : public LocalizedError {
 public:
  using LocalizedError::LocalizedError;
  std::string_view domain() const override { return "halcyra.InProcessMachServices"; }
};

Error interrupted() {
  return Error(cocoaErrorDomain, connectionInterruptedCode, "The connection to the service was interrupted.");
}

/// As it arrives in another process.
PropertyList copied(const PropertyList& value) {
  return PropertyList::parse(value.dump());
}

}  // namespace

/// The bus as one client process sees it.
class InProcessMachServices::Client : public FanControlHelperConnections {
 public:
  Client(InProcessMachServices& bus, std::shared_ptr<VirtualProcess> process, ClientIdentity identity)
      : bus_(bus),
        process_(std::move(process)),
        identity_(identity),
        queue_(process_->makeSerialQueue("message-bus", QualityOfService::standard)) {}

  const VirtualProcess* process() const { return process_.get(); }

  std::shared_ptr<FanControlHelperConnection> connect() override {
    const std::string serviceName(FanControlXPC::machServiceName);
    const FanControlHelperCaller caller{fmt::format(":1.{}", ++bus_.connectionCount_), identity_.userID,
                                        identity_.processID};
    const auto connection = std::make_shared<Connection>(bus_.self_, process_, queue_, serviceName, caller);
    std::erase_if(bus_.connections_, [](const auto& each) { return each.expired(); });
    bus_.connections_.push_back(connection);
    process_->whenKilled([bus = &bus_, alive = std::weak_ptr(bus_.self_), weak = std::weak_ptr(connection)] {
      const auto killed = weak.lock();
      if (!killed || alive.expired()) {
        return;
      }
      const bool wasKnown = killed->hasSent();
      killed->forget();
      if (wasKnown) {
        bus->connectionGone(killed->serviceName(), killed->name());
      }
    });
    return connection;
  }

 private:
  InProcessMachServices& bus_;
  std::shared_ptr<VirtualProcess> process_;
  ClientIdentity identity_;
  std::shared_ptr<Queue> queue_;
};

/// The service's end. What is on its way to it holds `token` weakly.
class InProcessMachServices::Listener : public FanControlHelperListener {
 public:
  Listener(InProcessMachServices& bus, std::shared_ptr<VirtualProcess> owner, std::string name, Queue& handlerQueue)
      : process(std::move(owner)), serviceName(std::move(name)), queue(handlerQueue), bus_(bus.self_) {
    process->whenKilled([weak = std::weak_ptr(token)] {
      if (const auto alive = weak.lock()) {
        (*alive)->giveUpName();
      }
    });
  }
  ~Listener() override { giveUpName(); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  void setService(std::weak_ptr<FanControlHelperService> to) override { service = std::move(to); }
  void setClientGoneHandler(std::function<void(const std::string&)> handler) override {
    clientGoneHandler = std::move(handler);
  }
  void setLostHandler(std::function<void()> handler) override { lostHandler = std::move(handler); }
  void resume() override {
    if (const auto bus = bus_.lock()) {
      (*bus)->listenerReady(*this);
    }
  }

  /// Runs `event` on the listener's queue unless it is gone by then.
  void later(Seconds delay, std::function<void(Listener&)> event) {
    process->asyncAfter(queue, delay, [weak = std::weak_ptr(token), event = std::move(event)] {
      if (const auto alive = weak.lock()) {
        event(**alive);
      }
    });
  }

  const std::shared_ptr<VirtualProcess> process;
  const std::string serviceName;
  Queue& queue;
  std::weak_ptr<FanControlHelperService> service;
  std::function<void(const std::string&)> clientGoneHandler;
  std::function<void()> lostHandler;
  const std::shared_ptr<Listener*> token = std::make_shared<Listener*>(this);

 private:
  void giveUpName() {
    if (const auto bus = bus_.lock()) {
      (*bus)->listenerGone(*this);
    }
  }

  std::weak_ptr<InProcessMachServices*> bus_;
};

InProcessMachServices::InProcessMachServices(VirtualScheduler& scheduler) : scheduler_(scheduler) {}

InProcessMachServices::~InProcessMachServices() = default;

FanControlHelperConnections& InProcessMachServices::client(const std::shared_ptr<VirtualProcess>& process,
                                                           ClientIdentity identity) {
  const auto known = std::find_if(clients_.begin(), clients_.end(),
                                  [&](const auto& client) { return client->process() == process.get(); });
  if (known != clients_.end()) {
    return **known;
  }
  clients_.push_back(std::make_unique<Client>(*this, process, identity));
  return *clients_.back();
}

std::unique_ptr<FanControlHelperListener> InProcessMachServices::listen(const std::shared_ptr<VirtualProcess>& process,
                                                                        const std::string& serviceName, Queue& queue) {
  return std::make_unique<Listener>(*this, process, serviceName, queue);
}

void InProcessMachServices::setActivation(const std::string& serviceName, std::function<void()> start) {
  services_[serviceName].start = std::move(start);
}

void InProcessMachServices::setRegistration(std::function<bool(const std::string& serviceName)> isRegistered) {
  isRegistered_ = std::move(isRegistered);
}

void InProcessMachServices::addFault(const std::string& selector, MessageFault fault) {
  faults_[selector].push_back(std::move(fault));
}

void InProcessMachServices::setStandingFault(const std::string& selector, std::optional<MessageFault> fault) {
  standingFaults_.erase(selector);
  if (fault) {
    standingFaults_.emplace(selector, std::move(*fault));
  }
}

void InProcessMachServices::clearFaults() {
  faults_.clear();
  standingFaults_.clear();
}

std::optional<MessageFault> InProcessMachServices::takeFault(const std::string& selector) {
  if (auto& once = faults_[selector]; !once.empty()) {
    MessageFault fault = std::move(once.front());
    once.pop_front();
    return fault;
  }
  const auto standing = standingFaults_.find(selector);
  return standing == standingFaults_.end() ? std::nullopt : std::optional(standing->second);
}

void InProcessMachServices::send(Message message) {
  const auto connection = message.connection.lock();
  Service& service = services_[message.serviceName];
  const bool mayStart = service.start && (!isRegistered_ || isRegistered_(message.serviceName));
  if (!busIsUp_ || (service.listener == nullptr && !mayStart)) {
    connection->breakDown();
    return;
  }
  message.fault = takeFault(message.selector);
  if (message.fault) {
    lastFault_ = scheduler_.elapsed();
  }
  if (message.fault && message.fault->kind == MessageFault::Kind::fail) {
    connection->fail(message.call, message.fault->error, latency);
    return;
  }
  if (message.fault && message.fault->kind == MessageFault::Kind::loseRequest) {
    return;
  }
  message.arguments = copied(message.arguments);
  if (service.listener != nullptr) {
    deliver(*service.listener, std::move(message));
  } else {
    service.waiting.push_back(std::move(message));
    startService(service.waiting.back().serviceName);
  }
}

void InProcessMachServices::deliver(Listener& listener, Message message) {
  listener.later(latency, [this, message = std::move(message)](Listener& receiver) {
    const auto service = receiver.service.lock();
    if (!service) {
      answer(message, {nullptr, interrupted()});
      return;
    }
    deliverMessage(*service, message.caller, message.selector, message.arguments,
                   [message, bus = std::weak_ptr(self_), process = receiver.process](HelperReply reply) {
                     const auto alive = bus.lock();
                     if (alive && process->isAlive()) {
                       (*alive)->answer(message, std::move(reply));
                     }
                   });
  });
}

void InProcessMachServices::answer(const Message& message, HelperReply reply) {
  using Kind = MessageFault::Kind;
  const auto useless = whileAlive([this] { ++uselessAnswers_; });
  const auto connection = message.connection.lock();
  if (!connection) {
    useless();
    return;
  }
  if (message.fault && message.fault->kind == Kind::loseReply) {
    return;
  }
  reply.value = copied(reply.value);
  const Seconds extra = message.fault && message.fault->kind == Kind::lateReply ? message.fault->delay : Seconds{0};
  const int copies = message.fault && message.fault->kind == Kind::duplicateReply ? 2 : 1;
  for (int copy = 0; copy < copies; ++copy) {
    connection->deliver(message.call, reply, latency + extra, useless);
  }
}

void InProcessMachServices::startService(const std::string& serviceName) {
  Service& service = services_[serviceName];
  if (service.startAttempt != 0) {
    return;
  }
  service.startAttempt = ++startAttempts_;
  scheduler_.at(scheduler_.elapsed() + latency, whileAlive([this, serviceName] {
                  // A copy: it may be replaced while it runs.
                  const auto start = services_[serviceName].start;
                  start();
                }));
  scheduler_.at(scheduler_.elapsed() + startTimeout, whileAlive([this, serviceName, attempt = service.startAttempt] {
                  startTimedOut(serviceName, attempt);
                }));
}

void InProcessMachServices::startTimedOut(const std::string& serviceName, int attempt) {
  Service& service = services_[serviceName];
  if (service.startAttempt != attempt) {
    return;
  }
  service.startAttempt = 0;
  for (const Message& message : std::exchange(service.waiting, {})) {
    if (const auto connection = message.connection.lock()) {
      connection->fail(message.call, interrupted(), Seconds{0});
    }
  }
}

void InProcessMachServices::listenerReady(Listener& listener) {
  Service& service = services_[listener.serviceName];
  if (!busIsUp_ || service.listener != nullptr) {
    throw NameTaken(fmt::format("The service name {} cannot be had.", listener.serviceName));
  }
  service.listener = &listener;
  service.startAttempt = 0;
  for (Message& message : std::exchange(service.waiting, {})) {
    if (!message.connection.expired()) {
      deliver(listener, std::move(message));
    }
  }
}

void InProcessMachServices::listenerGone(Listener& listener) {
  Service& service = services_[listener.serviceName];
  if (service.listener != &listener) {
    return;
  }
  service.listener = nullptr;
  for (const auto& connection : connectionsTo(listener.serviceName)) {
    connection->failAll(interrupted(), deathNotice);
  }
}

void InProcessMachServices::connectionGone(const std::string& serviceName, const std::string& connectionName) {
  Service& service = services_[serviceName];
  std::erase_if(service.waiting,
                [&](const Message& message) { return message.caller.connectionName == connectionName; });
  if (service.listener != nullptr) {
    service.listener->later(deathNotice, [connectionName](Listener& listener) {
      if (listener.clientGoneHandler) {
        listener.clientGoneHandler(connectionName);
      }
    });
  }
}

void InProcessMachServices::loseBus() {
  busIsUp_ = false;
  for (auto& [name, service] : services_) {
    service.waiting.clear();
    service.startAttempt = 0;
    if (Listener* const lost = std::exchange(service.listener, nullptr)) {
      lost->later(latency, [](Listener& listener) {
        if (const auto handler = std::exchange(listener.lostHandler, {})) {
          handler();
        }
      });
    }
  }
  for (const auto& weak : connections_) {
    if (const auto connection = weak.lock()) {
      connection->breakDown();
    }
  }
}

void InProcessMachServices::invalidateConnections(const std::string& serviceName) {
  for (const auto& connection : connectionsTo(serviceName)) {
    connection->breakDown();
  }
}

bool InProcessMachServices::isRunning(const std::string& serviceName) const {
  const auto found = services_.find(serviceName);
  return found != services_.end() && found->second.listener != nullptr;
}

std::size_t InProcessMachServices::sentCount(const std::string& selector) const {
  return static_cast<std::size_t>(std::count(sent_.begin(), sent_.end(), selector));
}

std::vector<std::shared_ptr<InProcessMachServices::Connection>> InProcessMachServices::connectionsTo(
    const std::string& serviceName) {
  std::vector<std::shared_ptr<Connection>> result;
  for (const auto& weak : connections_) {
    if (const auto connection = weak.lock(); connection && connection->serviceName() == serviceName) {
      result.push_back(connection);
    }
  }
  return result;
}

std::function<void()> InProcessMachServices::whileAlive(std::function<void()> event) {
  return [alive = std::weak_ptr(self_), event = std::move(event)] {
    if (!alive.expired()) {
      event();
    }
  };
}

}  // namespace halcyra::test
