#include "Platform/HelperLinks.h"

#include <stdexcept>
#include <unistd.h>
#include <utility>

#include "Platform/Linux/DBusHelperConnections.h"
#include "Platform/Linux/DBusHelperListener.h"
#include "Platform/Linux/LinuxClock.h"
#include "Platform/Linux/ThreadQueue.h"
#include "Platform/PlatformTestSupport.h"
#include "Support/InProcessMachServices.h"
#include "XPC/FanControlXPC.h"

namespace halcyra::test {

namespace {

class BusLink : public Link {
 public:
  FanControlHelperConnections& connections() override { return connections_; }
  std::uint32_t userID() const override { return geteuid(); }
  std::int32_t processID() const override { return getpid(); }
  void startHelper() override {
    helperBus_ = std::make_unique<BusThread>(busOpener(bus_.address()));
    queue_ = std::make_unique<ThreadQueue>("helper", QualityOfService::standard);
    listener_ = std::make_unique<DBusHelperListener>(*helperBus_, *queue_, clock_, log_);
    serve(*listener_);
  }
  void endHelper() override {
    helperBus_->stop();
    listener_.reset();
    queue_.reset();
    helperBus_.reset();
  }
  void loseBus() override { bus_.kill(); }
  void restoreBus() override { bus_.start(); }
  std::string speakAndLeave() override {
    BusThread ownBus(busOpener(bus_.address()));
    DBusHelperConnections own(ownBus);
    const auto connection = own.connect();
    connection->resume();
    connection->heartbeat("S", [](const std::optional<Error>&) {});
    return nextMessage().caller.connectionName;
  }
  void await(const std::function<bool(const Records&)>& isSo) override {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, patience, [&] { return isSo(records_); })) throw std::runtime_error("nothing came");
  }

 private:
  TemporaryFolder folder_;
  PrivateBus bus_{folder_.path()};
  BusThread clientBus_{busOpener(bus_.address())};
  DBusHelperConnections connections_{clientBus_};
  LinuxClock clock_;
  CapturedLog log_;
  std::unique_ptr<BusThread> helperBus_;
  std::unique_ptr<ThreadQueue> queue_;
  std::unique_ptr<DBusHelperListener> listener_;
};

class VirtualLink : public Link {
 public:
  FanControlHelperConnections& connections() override { return bus_.client(client_, {userID(), processID()}); }
  std::uint32_t userID() const override { return 501; }
  std::int32_t processID() const override { return 77; }
  void startHelper() override {
    helper_ = scheduler_.makeProcess("helper");
    listener_ = bus_.listen(helper_, std::string(FanControlXPC::machServiceName), helper_->mainQueue());
    serve(*listener_);
  }
  void endHelper() override {
    helper_->kill();
    listener_.reset();
  }
  void loseBus() override { bus_.loseBus(); }
  void restoreBus() override { bus_.restoreBus(); }
  std::string speakAndLeave() override {
    const auto process = scheduler_.makeProcess("leaving");
    const auto connection = bus_.client(process, {userID(), 78}).connect();
    connection->resume();
    connection->heartbeat("S", [](const std::optional<Error>&) {});
    const Message message = nextMessage();
    process->kill();
    return message.caller.connectionName;
  }
  void await(const std::function<bool(const Records&)>& isSo) override {
    if (!scheduler_.runUntil([&] { return isSo(records_); }, Seconds{20})) throw std::runtime_error("nothing came");
  }

 private:
  VirtualScheduler scheduler_;
  InProcessMachServices bus_{scheduler_};
  std::shared_ptr<VirtualProcess> client_ = scheduler_.makeProcess("client");
  std::shared_ptr<VirtualProcess> helper_;
  std::unique_ptr<FanControlHelperListener> listener_;
};

}  // namespace

std::vector<std::string> linkKinds() {
  return {"DBus", "InProcess"};
}

std::unique_ptr<Link> makeLink(const std::string& kind) {
  if (kind == "DBus") return std::make_unique<BusLink>();
  return std::make_unique<VirtualLink>();
}

}  // namespace halcyra::test
