#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "gtest/gtest.h"

#include "Support/InProcessMachServices.h"
#include "Support/VirtualScheduler.h"

namespace halcyra::test {

namespace {

constexpr const char* testService = "test.service";
using Notes = std::vector<std::string>;
using Fault = MessageFault::Kind;

/// One client and one service that echoes its arguments, each in a process of its own.
class InProcessMachServicesTest : public ::testing::Test {
 protected:
  InProcessMachServicesTest()
      : bus_(scheduler_), clientProcess_(scheduler_.makeProcess("client")), connection_(connect()) {
    bus_.setActivation(testService, [this] { startService(); });
    bus_.setCallTimeout(Seconds{60});
  }

  std::shared_ptr<MachServiceConnection> connect() {
    auto connection = bus_.client(clientProcess_, {501, 77}).connect(testService, MachServiceDomain::privileged);
    connection->setInvalidationHandler([this] { notes_.push_back("invalid"); });
    connection->resume();
    return connection;
  }
  void startService() {
    serviceProcess_ = scheduler_.makeProcess("service");
    listener_ = bus_.listen(serviceProcess_, testService, serviceProcess_->mainQueue());
    listener_->setMessageHandler([this](const MachServiceCaller& caller, const std::string& selector,
                                        const PropertyList& arguments, const MachServiceListener::Answer& answer) {
      caller_ = caller;
      notes_.push_back("served " + selector);
      answer({arguments, std::nullopt});
    });
    listener_->setClientGoneHandler([this](const std::string& name) {
      notes_.push_back(name == caller_.connectionName ? "client gone" : "stranger gone");
    });
    listener_->setLostHandler([this] { notes_.push_back("lost"); });
    listener_->resume();
  }
  void call(const std::string& selector, PropertyList arguments = PropertyList::array()) {
    connection_->call(
        selector, std::move(arguments),
        [this, selector](const MachServiceReply& reply) {
          notes_.push_back(selector + " answered");
          lastReply_ = reply;
          EXPECT_NE(std::this_thread::get_id(), testThread_);
        },
        [this, selector](const Error& error) {
          EXPECT_EQ(error.domain, cocoaErrorDomain);
          notes_.push_back(selector + " failed " + std::to_string(error.code));
        });
  }
  /// Lets everything that is on its way arrive.
  Notes settle(double seconds = 0.01) {
    scheduler_.runFor(Seconds{seconds});
    return std::exchange(notes_, {});
  }

  const std::thread::id testThread_ = std::this_thread::get_id();
  Notes notes_;
  MachServiceCaller caller_;
  MachServiceReply lastReply_;
  VirtualScheduler scheduler_;
  InProcessMachServices bus_;
  std::shared_ptr<VirtualProcess> clientProcess_;
  std::shared_ptr<VirtualProcess> serviceProcess_;
  std::unique_ptr<MachServiceListener> listener_;
  std::shared_ptr<MachServiceConnection> connection_;
};

}  // namespace

TEST_F(InProcessMachServicesTest, StartsTheServiceAndVouchesForTheCaller) {
  const PropertyList arguments = PropertyList::array({1, true, "text", 2.5, nullptr, {{"key", {1, 2}}}});
  call("one", arguments);
  call("two");
  EXPECT_TRUE(notes_.empty()) << "never on the caller's stack";
  EXPECT_EQ(settle(), (Notes{"served one", "served two", "one answered", "two answered"}));
  EXPECT_EQ(bus_.activations(), 1);
  EXPECT_EQ(caller_.userID, 501U);
  EXPECT_EQ(caller_.processID, 77);
  const std::string first = caller_.connectionName;
  call("one", arguments);
  settle();
  EXPECT_EQ(lastReply_.value, arguments);
  EXPECT_TRUE(lastReply_.value[0].is_number_integer() && lastReply_.value[1].is_boolean());
  EXPECT_EQ(caller_.connectionName, first);
  connection_ = connect();
  settle();
  call("one");
  settle();
  EXPECT_NE(caller_.connectionName, first) << "a name is never used again";
}

TEST_F(InProcessMachServicesTest, Faults) {
  call("x");
  settle();
  struct Case {
    MessageFault fault;
    double wait;
    Notes expected;
  };
  const Error refused(cocoaErrorDomain, 4097);
  const std::vector<Case> table{
      {{Fault::loseRequest, Seconds{0}, {}}, 59.9, {}},
      {{Fault::loseReply, Seconds{0}, {}}, 59.9, {"served x"}},
      {{Fault::loseReply, Seconds{0}, {}}, 60.1, {"served x", "x failed 4097"}},
      {{Fault::lateReply, Seconds{3}, {}}, 2.9, {"served x"}},
      {{Fault::lateReply, Seconds{3}, {}}, 3.1, {"served x", "x answered"}},
      {{Fault::lateReply, Seconds{70}, {}}, 80, {"served x", "x failed 4097"}},
      {{Fault::duplicateReply, Seconds{0}, {}}, 1, {"served x", "x answered"}},
      {{Fault::fail, Seconds{0}, refused}, 1, {"x failed 4097"}},
  };
  for (std::size_t index = 0; index < table.size(); ++index) {
    SCOPED_TRACE(index);
    bus_.addFault("x", table[index].fault);
    call("x");
    EXPECT_EQ(settle(table[index].wait), table[index].expected);
    settle(100);
    call("x");
    EXPECT_EQ(settle(), (Notes{"served x", "x answered"})) << "one message only";
  }
  EXPECT_EQ(bus_.uselessAnswers(), 2);
}

TEST_F(InProcessMachServicesTest, AServiceThatDiesInterrupts) {
  call("one");
  settle();
  bus_.setStandingFault("two", MessageFault{Fault::loseReply, Seconds{0}, {}});
  call("two");
  settle();
  call("three");
  serviceProcess_->kill();
  EXPECT_FALSE(bus_.isRunning(testService));
  EXPECT_EQ(settle(), (Notes{"two failed 4097", "three failed 4097"})) << "what is on its way as well";
  call("four");
  EXPECT_EQ(settle(), (Notes{"served four", "four answered"})) << "started anew";
  EXPECT_EQ(bus_.activations(), 2);
  listener_.reset();
  EXPECT_FALSE(bus_.isRunning(testService)) << "a service may also leave of its own";
  call("five");
  EXPECT_EQ(settle(), (Notes{"served five", "five answered"}));
}

TEST_F(InProcessMachServicesTest, AServiceThatDoesNotStartFailsItsCalls) {
  bus_.setActivation(testService, [] {});
  call("one");
  scheduler_.runFor(Seconds{20});
  call("two");
  EXPECT_EQ(settle(4.9), Notes{});
  EXPECT_EQ(settle(0.2), (Notes{"one failed 4097", "two failed 4097"}));
  bus_.setActivation(testService, [this] { startService(); });
  call("three");
  EXPECT_EQ(settle(), (Notes{"served three", "three answered"}));
}

TEST_F(InProcessMachServicesTest, AnUnregisteredServiceInvalidates) {
  bool isRegistered = false;
  bus_.setRegistration([&](const std::string& name) { return name == testService && isRegistered; });
  call("one");
  EXPECT_EQ(settle(), (Notes{"one failed 4099", "invalid"}));
  isRegistered = true;
  call("two");
  EXPECT_EQ(settle(), Notes{"two failed 4099"}) << "for good, and the handler was called once";
  connection_ = connect();
  call("three");
  EXPECT_EQ(settle(), (Notes{"served three", "three answered"}));
  isRegistered = false;
  call("four");
  EXPECT_EQ(settle(), (Notes{"served four", "four answered"})) << "it still runs";
}

TEST_F(InProcessMachServicesTest, LosingTheBusEndsBothSides) {
  call("one");
  settle();
  call("two");
  bus_.loseBus();
  EXPECT_EQ(settle(), (Notes{"two failed 4099", "invalid", "served two", "lost"}));
  connection_ = connect();
  call("three");
  EXPECT_EQ(settle(), (Notes{"three failed 4099", "invalid"}));
  EXPECT_THROW(listener_->resume(), LocalizedError);
  bus_.restoreBus();
  listener_->resume();
  connection_ = connect();
  call("four");
  EXPECT_EQ(settle(), (Notes{"served four", "four answered"}));
}

TEST_F(InProcessMachServicesTest, ServicesLearnOfClientsThatAreGone) {
  call("one");
  settle();
  const auto silent = connect();
  silent->invalidate();
  EXPECT_EQ(settle(), Notes{"invalid"}) << "a connection that never sent anything is not known";
  connection_->invalidate();
  connection_->invalidate();
  EXPECT_EQ(settle(), (Notes{"invalid", "client gone"}));

  connection_ = connect();
  call("two");
  settle();
  connection_.reset();
  EXPECT_EQ(settle(), (Notes{"invalid", "client gone"})) << "a connection let go is gone as well";

  connection_ = connect();
  call("three");
  settle();
  bus_.setStandingFault("four", MessageFault{Fault::lateReply, Seconds{0.005}, {}});
  call("four");
  clientProcess_->kill();
  EXPECT_EQ(settle(), (Notes{"served four", "client gone"})) << "nothing reaches the dead process";
  call("five");
  EXPECT_EQ(settle(), Notes{});
}

TEST_F(InProcessMachServicesTest, ANameHasOneOwner) {
  startService();
  const auto second = bus_.listen(scheduler_.makeProcess("second"), testService, serviceProcess_->mainQueue());
  EXPECT_THROW(second->resume(), LocalizedError);
  call("one");
  EXPECT_EQ(settle(), (Notes{"served one", "one answered"}));
}

}  // namespace halcyra::test
