#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Support/InProcessMachServices.h"

namespace halcyra::test {

/// One message on its way.
struct InProcessMachServices::Message {
  std::weak_ptr<Connection> connection;
  std::uint64_t call = 0;
  std::string serviceName;
  FanControlHelperCaller caller;
  std::string selector;
  PropertyList arguments;
  std::optional<MessageFault> fault;
};

/// The client's end. Its handlers run on its process's queue for them.
class InProcessMachServices::Connection : public MessageConnection, public std::enable_shared_from_this<Connection> {
 public:
  Connection(std::weak_ptr<InProcessMachServices*> bus, std::shared_ptr<VirtualProcess> process,
             std::shared_ptr<Queue> queue, std::string serviceName, FanControlHelperCaller caller);
  ~Connection() override;

  void setInvalidationHandler(std::function<void()> handler) override { invalidationHandler_ = std::move(handler); }
  void resume() override { isResumed_ = true; }
  void invalidate() override;

  /// The service's answer, `delay` from now. Whether anybody waits for it shows when it is there.
  void deliver(std::uint64_t call, HelperReply reply, Seconds delay, std::function<void()> useless);
  void fail(std::uint64_t call, const Error& error, Seconds delay);
  /// Fails what is out now.
  void failAll(const Error& error, Seconds delay);
  /// The connection breaks by itself.
  void breakDown();
  /// The client process has been killed.
  void forget();

  const std::string& serviceName() const { return serviceName_; }
  const std::string& name() const { return caller_.connectionName; }
  /// Whether the service can have heard of it.
  bool hasSent() const { return hasSent_; }

 private:
  void call(const std::string& selector, PropertyList arguments, HelperAnswer answer) override;

  std::weak_ptr<InProcessMachServices*> bus_;
  std::shared_ptr<VirtualProcess> process_;
  std::shared_ptr<Queue> queue_;
  std::string serviceName_;
  FanControlHelperCaller caller_;
  std::function<void()> invalidationHandler_;
  bool isResumed_ = false;
  bool isValid_ = true;
  bool hasSent_ = false;
  std::uint64_t lastCall_ = 0;
  std::map<std::uint64_t, HelperAnswer> pending_;
};

}  // namespace halcyra::test
