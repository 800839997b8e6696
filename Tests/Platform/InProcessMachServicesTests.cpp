#include <memory>
#include <string>
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
    listener_->resume();
  }
  void call(const std::string& selector) {
    connection_->call(
        selector, PropertyList::array(),
        [this, selector](const MachServiceReply& reply) {
          notes_.push_back(selector + " answered");
          EXPECT_EQ(reply.value, PropertyList::array());
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

  Notes notes_;
  MachServiceCaller caller_;
  VirtualScheduler scheduler_;
  InProcessMachServices bus_;
  std::shared_ptr<VirtualProcess> clientProcess_;
  std::shared_ptr<VirtualProcess> serviceProcess_;
  std::unique_ptr<MachServiceListener> listener_;
  std::shared_ptr<MachServiceConnection> connection_;
};

}  // namespace

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
      {{Fault::loseReply, Seconds{0}, {}}, 60.1, {"served x", "x failed 4097"}},
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
  EXPECT_EQ(settle(), (Notes{"two failed 4097", "three failed 4097"})) << "what is on its way as well";
  call("four");
  EXPECT_EQ(settle(), (Notes{"served four", "four answered"})) << "started anew";
  EXPECT_EQ(bus_.activations(), 2);
}

TEST_F(InProcessMachServicesTest, ServicesLearnOfClientsThatAreGone) {
  call("one");
  settle();
  const auto silent = connect();
  silent->invalidate();
  EXPECT_EQ(settle(), Notes{"invalid"}) << "a connection that never sent anything is not known";
  connection_.reset();
  EXPECT_EQ(settle(), (Notes{"invalid", "client gone"}));

  connection_ = connect();
  call("three");
  settle();
  bus_.setStandingFault("four", MessageFault{Fault::lateReply, Seconds{0.005}, {}});
  call("four");
  clientProcess_->kill();
  EXPECT_EQ(settle(), (Notes{"served four", "client gone"})) << "nothing reaches the dead process";
}

}  // namespace halcyra::test
