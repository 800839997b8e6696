#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/MachService.h"
#include "Support/VirtualScheduler.h"

namespace halcyra::test {

/// A message bus between the processes of a virtual-time scheduler: services by name, started on demand, with the
/// losses, delays and duplicates that a real one may have. All in virtual time; used from the scheduler's threads and,
/// between its runs or in its events, from the test's own.
class InProcessBus : public std::enable_shared_from_this<InProcessBus> {
 public:
  /// What becomes of one reply.
  struct ReplyFate {
    bool lost = false;
    bool twice = false;
    Seconds extraDelay{0};
  };

  static std::shared_ptr<InProcessBus> make(VirtualScheduler& scheduler);

  /// The client side for one process.
  std::unique_ptr<MachServices> services(const std::shared_ptr<VirtualProcess>& client, std::uint32_t userID);
  /// The service side, in `server`; its handlers run on that process's main queue.
  std::unique_ptr<MachServiceListener> listener(const std::string& serviceName,
                                                const std::shared_ptr<VirtualProcess>& server);

  /// Starts a service that has no listener: called on the test's thread, returns false when it is not registered.
  void setActivation(std::function<bool(const std::string& serviceName)> activation);
  /// To be called when a process has been killed: its service is interrupted, its clients are gone.
  void processEnded(const std::shared_ptr<VirtualProcess>& process);
  /// The bus dies: every connection is invalidated and every listener lost. Nothing works until `restore`.
  void breakDown();
  void restore() { isUp_ = true; }

  /// Asked for every reply with the selector that it answers.
  std::function<ReplyFate(const std::string& selector)> replyFate;
  /// One way.
  Seconds transit{0.0002};
  std::uint64_t messages = 0;

 private:
  class Connection;
  class Listener;
  class Services;
  struct Call {
    std::weak_ptr<Connection> client;
    std::uint64_t serial = 0;
    std::string selector;
    PropertyList arguments;
  };

  explicit InProcessBus(VirtualScheduler& scheduler) : scheduler_(scheduler) {}

  void send(Call call, const std::string& serviceName, MachServiceCaller caller);
  void deliver(const Call& call, const std::string& serviceName, const MachServiceCaller& caller, bool mayActivate);
  void deliverReply(const Call& call, MachServiceReply reply);
  void later(Seconds delay, std::function<void()> event);
  void remove(Listener* listener);

  VirtualScheduler& scheduler_;
  std::function<bool(const std::string&)> activation_;
  bool isUp_ = true;
  std::uint64_t connectionCount_ = 0;
  std::vector<std::weak_ptr<Connection>> connections_;
  std::map<std::string, Listener*> listeners_;
};

}  // namespace halcyra::test
