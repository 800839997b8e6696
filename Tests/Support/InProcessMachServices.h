#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Support/HelperMessages.h"
#include "Support/VirtualScheduler.h"

namespace halcyra::test {

/// Who a client process is, as the system vouches for it to services.
struct ClientIdentity {
  std::uint32_t userID = 501;
  std::int32_t processID = 1001;
};

/// What happens to messages with one selector.
struct MessageFault {
  enum class Kind {
    /// The message never reaches the service.
    loseRequest,
    /// The service acts on the message, its answer is lost.
    loseReply,
    /// The answer comes `delay` later than usual.
    lateReply,
    /// The answer comes twice; the second one must have no effect.
    duplicateReply,
    /// The connection fails the call with `error`; the message never reaches the service.
    fail,
  };
  Kind kind = Kind::loseReply;
  Seconds delay{0.0};
  Error error;
};

/// The message bus between virtual processes: connections of client processes to named services in other processes.
/// Messages and answers are copied through their text form, and each takes `latency` one way. Handlers of a client run
/// on a queue of their own in its process. To be used under one scheduler.
///
/// A call whose message or answer is lost stays out until its service or connection is gone, or `callTimeout` passes.
class InProcessMachServices {
 public:
  static constexpr Seconds latency{0.0002};
  /// From the end of a process until the others learn of it.
  static constexpr Seconds deathNotice{0.001};
  /// How long a service that is being started may take to be there.
  static constexpr Seconds startTimeout{25.0};

  explicit InProcessMachServices(VirtualScheduler& scheduler);
  ~InProcessMachServices();

  /// The bus as a client process sees it. Lives as long as this.
  FanControlHelperConnections& client(const std::shared_ptr<VirtualProcess>& process, ClientIdentity identity = {});

  /// A service in `process`, not resumed yet; its handlers run on `queue`. Destroying it gives the name up, as the end
  /// of its process does.
  std::unique_ptr<FanControlHelperListener> listen(const std::shared_ptr<VirtualProcess>& process,
                                                   const std::string& serviceName, Queue& queue);

  /// How a service is started: called on the test's own thread when a message waits for a service that does not run.
  /// Without it such a service cannot be reached.
  void setActivation(const std::string& serviceName, std::function<void()> start);
  /// Whether services that do not run may be started; by default all may. A call to one that may not invalidates the
  /// connection.
  void setRegistration(std::function<bool(const std::string& serviceName)> isRegistered);

  /// What happens to the next message with this selector that nothing has been laid down for yet.
  void addFault(const std::string& selector, MessageFault fault);
  /// Applies to every message with this selector that no single fault applies to, until it is taken back by nothing.
  void setStandingFault(const std::string& selector, std::optional<MessageFault> fault);
  /// Takes back every fault, single or standing, that has not come about yet.
  void clearFaults();
  /// When a fault last came about; nothing before the first one.
  std::optional<Seconds> lastFault() const { return lastFault_; }
  /// After this long a call without an answer fails as interrupted.
  void setCallTimeout(Seconds timeout) { callTimeout_ = timeout; }

  /// The bus breaks down: connections are invalidated, services lose their clients. New connections fail until
  /// `restoreBus`.
  void loseBus();
  void restoreBus() { busIsUp_ = true; }
  /// Invalidates every connection to the service, as when it is no longer registered.
  void invalidateConnections(const std::string& serviceName);

  bool isRunning(const std::string& serviceName) const;
  /// Selectors in the order in which they were sent, by all clients. Lost ones included.
  const std::vector<std::string>& sent() const { return sent_; }
  std::size_t sentCount(const std::string& selector) const;
  /// Empties the record of what was sent.
  void forgetSent() { sent_.clear(); }
  /// Answers that came for a call that had ended already.
  int uselessAnswers() const { return uselessAnswers_; }
  /// How often a service was started.
  int activations() const { return startAttempts_; }

 private:
  class Client;
  class Connection;
  class Listener;
  struct Message;
  struct Service {
    Listener* listener = nullptr;
    std::function<void()> start;
    /// Which attempt to start is under way; 0 for none.
    int startAttempt = 0;
    std::vector<Message> waiting;
  };

  std::optional<MessageFault> takeFault(const std::string& selector);
  void send(Message message);
  void deliver(Listener& listener, Message message);
  void answer(const Message& message, HelperReply reply);
  void startService(const std::string& serviceName);
  void startTimedOut(const std::string& serviceName, int attempt);
  void listenerReady(Listener& listener);
  void listenerGone(Listener& listener);
  void connectionGone(const std::string& serviceName, const std::string& connectionName);
  std::vector<std::shared_ptr<Connection>> connectionsTo(const std::string& serviceName);
  /// Wraps `event` so that it does nothing once this is gone.
  std::function<void()> whileAlive(std::function<void()> event);

  VirtualScheduler& scheduler_;
  std::shared_ptr<InProcessMachServices*> self_ = std::make_shared<InProcessMachServices*>(this);
  bool busIsUp_ = true;
  int connectionCount_ = 0;
  int startAttempts_ = 0;
  int uselessAnswers_ = 0;
  Seconds callTimeout_{25.0};
  std::optional<Seconds> lastFault_;
  std::function<bool(const std::string&)> isRegistered_;
  std::map<std::string, std::deque<MessageFault>> faults_;
  std::map<std::string, MessageFault> standingFaults_;
  std::map<std::string, Service> services_;
  std::vector<std::string> sent_;
  std::vector<std::weak_ptr<Connection>> connections_;
  std::vector<std::unique_ptr<Client>> clients_;
};

}  // namespace halcyra::test
