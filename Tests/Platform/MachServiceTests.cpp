// Client and listener over a message bus of the test's own.

#include <unistd.h>

#include "gtest/gtest.h"

#include "Platform/Linux/DBusMachServiceListener.h"
#include "Platform/Linux/DBusMachServices.h"
#include "Platform/Linux/ThreadQueue.h"
#include "Platform/PlatformTestSupport.h"
#include "sdbus-c++/sdbus-c++.h"

namespace halcyra::test {
namespace {

constexpr const char* serviceName = "com.norwick.Halcyra.test";
constexpr const char* objectPath = "/com/norwick/Halcyra/test";

/// A service as a process of its own would be: its bus connection ends with it.
class Service {
 public:
  struct Message {
    MachServiceCaller caller;
    std::string selector;
    PropertyList arguments;
    MachServiceListener::Answer answer;
  };

  explicit Service(const std::string& address, bool resumes = true)
      : bus_(std::make_unique<BusThread>(busOpener(address))) {
    listener_ = std::make_unique<DBusMachServiceListener>(*bus_, serviceName, queue_, log_);
    listener_->setMessageHandler([this](const MachServiceCaller& caller, const std::string& selector,
                                        const PropertyList& arguments, const MachServiceListener::Answer& answer) {
      if (selector == "echo") {
        answer({arguments, std::nullopt});
      } else {
        messages.put({caller, selector, arguments, answer});
      }
    });
    listener_->setClientGoneHandler([this](const std::string& name) { gone.put(name); });
    listener_->setLostHandler([this] { lost.put(true); });
    if (resumes) resume();
  }
  void resume() { listener_->resume(); }
  void endListener() { listener_.reset(); }

  Inbox<Message> messages;
  Inbox<std::string> gone;
  Inbox<bool> lost;

 private:
  CapturedLog log_;
  std::unique_ptr<BusThread> bus_;
  ThreadQueue queue_{"service", QualityOfService::standard};
  std::unique_ptr<DBusMachServiceListener> listener_;
};

struct Outcome {
  std::optional<MachServiceReply> reply;
  std::optional<Error> failure;
};

class MachServiceTests : public testing::Test {
 protected:
  std::shared_ptr<MachServiceConnection> connect(DBusMachServices& services) {
    auto connection = services.connect(serviceName, MachServiceDomain::privileged);
    connection->setInvalidationHandler([this] { invalidations_.put(true); });
    connection->resume();
    return connection;
  }

  void send(MachServiceConnection& connection, const std::string& selector,
            PropertyList arguments = PropertyList::array()) {
    connection.call(
        selector, std::move(arguments),
        [this](MachServiceReply reply) {
          outcomes_.put({std::move(reply), {}});
        },
        [this](Error error) {
          outcomes_.put({{}, std::move(error)});
        });
  }

  Outcome call(MachServiceConnection& connection, const std::string& selector,
               PropertyList arguments = PropertyList::array()) {
    send(connection, selector, std::move(arguments));
    return outcomes_.next();
  }

  void expectWorks(MachServiceConnection& connection) {
    const Outcome outcome = call(connection, "echo", {"x"});
    ASSERT_TRUE(outcome.reply) << outcome.failure->localizedDescription();
    EXPECT_EQ(outcome.reply->value, PropertyList({"x"}));
  }

  static void expectFailure(const Outcome& outcome, std::int64_t code) {
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->domain, cocoaErrorDomain);
    EXPECT_EQ(outcome.failure->code, code) << outcome.failure->userInfo.begin()->second;
    EXPECT_FALSE(outcome.reply);
  }

  TemporaryFolder folder_;
  PrivateBus bus_{folder_.path()};
  Inbox<Outcome> outcomes_;
  Inbox<bool> invalidations_;
  BusThread clientBus_{busOpener(bus_.address())};
  DBusMachServices services_{clientBus_};
};

TEST_F(MachServiceTests, AMessageAndItsAnswerArriveAsTheyWere) {
  Service service(bus_.address());
  const auto connection = connect(services_);
  const PropertyList arguments = {0, true, "ID", {{"rpm", 2500}}};
  send(*connection, "setFanMode:manual:sessionID:reply:", arguments);
  const auto message = service.messages.next();
  EXPECT_EQ(message.selector, "setFanMode:manual:sessionID:reply:");
  EXPECT_EQ(message.arguments, arguments);
  EXPECT_EQ(message.caller.userID, geteuid());
  EXPECT_EQ(message.caller.processID, getpid());
  message.answer({{{"fanCount", 2}}, Error("com.norwick.Halcyra.helper", 1, "busy")});
  message.answer({nullptr, std::nullopt});
  const Outcome outcome = outcomes_.next();
  ASSERT_TRUE(outcome.reply);
  EXPECT_EQ(outcome.reply->value, PropertyList({{"fanCount", 2}}));
  EXPECT_EQ(outcome.reply->error, Error("com.norwick.Halcyra.helper", 1, "busy"));
  send(*connection, "endSession:reply:");
  service.messages.next().answer({nullptr, std::nullopt});
  const Outcome nothing = outcomes_.next();
  EXPECT_TRUE(nothing.reply && nothing.reply->value.is_null() && !nothing.reply->error);
  EXPECT_EQ(outcomes_.size(), 0U) << "a second answer came through";
}

TEST_F(MachServiceTests, WithoutAServiceThatStartsTheConnectionBecomesInvalid) {
  const auto connection = connect(services_);
  expectFailure(call(*connection, "echo"), connectionInvalidCode);
  EXPECT_TRUE(invalidations_.next());
  writeContent(bus_.servicesFolder() / "x.service",
               std::string("[D-BUS Service]\nName=") + serviceName + "\nExec=/bin/false\n");
  const auto another = connect(services_);
  expectFailure(call(*another, "echo"), connectionInvalidCode);
  EXPECT_TRUE(invalidations_.next());
  Service service(bus_.address());
  expectFailure(call(*connection, "echo"), connectionInvalidCode);
  expectWorks(*connect(services_));
  EXPECT_EQ(invalidations_.size(), 0U);
}

TEST_F(MachServiceTests, TheEndOfTheServiceInterruptsAndTheConnectionLivesOn) {
  auto service = std::make_unique<Service>(bus_.address());
  const auto connection = connect(services_);
  send(*connection, "one");
  send(*connection, "two");
  (void)service->messages.next();
  (void)service->messages.next();
  service.reset();
  expectFailure(outcomes_.next(), connectionInterruptedCode);
  expectFailure(outcomes_.next(), connectionInterruptedCode);
  Service successor(bus_.address());
  expectWorks(*connection);
  EXPECT_EQ(invalidations_.size(), 0U);
}

TEST_F(MachServiceTests, ACallThatIsNotAnsweredInTimeCountsAsInterrupted) {
  Service service(bus_.address());
  DBusMachServices impatient(clientBus_, Seconds{0.05});
  const auto connection = connect(impatient);
  send(*connection, "never answered");
  const auto message = service.messages.next();
  expectFailure(outcomes_.next(), connectionInterruptedCode);
  message.answer({nullptr, std::nullopt});  // too late
  const auto patient = connect(services_);
  expectWorks(*patient);
  EXPECT_EQ(outcomes_.size(), 0U);
}

TEST_F(MachServiceTests, TheEndOfTheBusInvalidatesBothEnds) {
  Service service(bus_.address());
  const auto connection = connect(services_);
  send(*connection, "one");
  send(*connection, "two");
  (void)service.messages.next();
  const auto late = service.messages.next();
  bus_.kill();
  expectFailure(outcomes_.next(), connectionInvalidCode);
  expectFailure(outcomes_.next(), connectionInvalidCode);
  EXPECT_TRUE(invalidations_.next());
  EXPECT_TRUE(service.lost.next());
  late.answer({nullptr, std::nullopt});
  expectFailure(call(*connection, "echo"), connectionInvalidCode);
  bus_.start();
  Service successor(bus_.address());
  expectWorks(*connect(services_));
  EXPECT_EQ(invalidations_.size(), 0U);
  EXPECT_EQ(service.lost.size(), 0U);
}

TEST_F(MachServiceTests, InvalidatingFailsWhatIsOutOnceAndReleasingToo) {
  Service service(bus_.address());
  auto connection = connect(services_);
  send(*connection, "one");
  const auto message = service.messages.next();
  connection->invalidate();
  connection->invalidate();
  expectFailure(outcomes_.next(), connectionInvalidCode);
  EXPECT_TRUE(invalidations_.next());
  message.answer({nullptr, std::nullopt});
  connection = connect(services_);
  send(*connection, "two");
  (void)service.messages.next();
  connection.reset();
  expectFailure(outcomes_.next(), connectionInvalidCode);
  expectWorks(*connect(services_));
  EXPECT_EQ(invalidations_.size(), 0U) << "a connection that nobody holds called back";
  EXPECT_EQ(outcomes_.size(), 0U);
}

TEST_F(MachServiceTests, WhatCannotBeEncodedFailsThatCallAlone) {
  Service service(bus_.address());
  const auto connection = connect(services_);
  const Outcome outcome = call(*connection, "echo", {"\xC3("});
  ASSERT_TRUE(outcome.failure);
  EXPECT_EQ(outcome.failure->domain, "halcyra.PropertyListCoding");
  send(*connection, "answer badly");
  service.messages.next().answer({"\xC3(", std::nullopt});
  EXPECT_EQ(outcomes_.next().reply->error->domain, "halcyra.PropertyListCoding");
  expectWorks(*connection);
}

TEST_F(MachServiceTests, AClientThatHasCalledIsReportedWhenItIsGone) {
  Service service(bus_.address());
  std::string name;
  {
    BusThread silentBus(busOpener(bus_.address()));
    Inbox<bool> connected;
    silentBus.post([&] {
      silentBus.connection();
      connected.put(true);
    });
    connected.next();
    BusThread otherBus(busOpener(bus_.address()));
    DBusMachServices others(otherBus);
    const auto connection = connect(others);
    send(*connection, "hello");
    name = service.messages.next().caller.connectionName;
  }
  EXPECT_EQ(service.gone.next(), name);
  expectFailure(outcomes_.next(), connectionInvalidCode);
  expectWorks(*connect(services_));
  EXPECT_EQ(service.gone.size(), 0U) << "a client that never called was reported";
}

TEST_F(MachServiceTests, ANameIsHadByOneListenerAtATime) {
  Service first(bus_.address());
  Service second(bus_.address(), false);
  EXPECT_THROW(second.resume(), MachServiceNameError);
  const auto connection = connect(services_);
  expectWorks(*connection);
  first.endListener();
  EXPECT_NO_THROW(second.resume());
  expectWorks(*connection);
  EXPECT_EQ(first.lost.size(), 0U) << "a listener that was ended reported a loss";
  BusThread nowhere(busOpener("unix:path=" + (folder_ / "none").string()));
  ThreadQueue queue("nowhere", QualityOfService::standard);
  CapturedLog log;
  DBusMachServiceListener unreachable(nowhere, serviceName, queue, log);
  EXPECT_THROW(unreachable.resume(), MachServiceNameError);
  nowhere.stop();
  EXPECT_THROW(unreachable.resume(), MachServiceNameError) << "and neither this nor its end may wait for ever";
}

TEST_F(MachServiceTests, ForeignMessagesChangeNothingAndEndNothing) {
  Service service(bus_.address());
  const auto bus = sdbus::createSessionBusConnectionWithAddress(bus_.address());
  const auto proxy = sdbus::createProxy(*bus, serviceName, objectPath);
  // The name of the error, or nothing when there was an answer.
  const auto call = [&](const char* method, const std::function<void(sdbus::Message&)>& fill) -> std::string {
    auto message = proxy->createMethodCall(serviceName, method);
    fill(message);
    try {
      proxy->callMethod(message, std::uint64_t{60'000'000});
      return "";
    } catch (const sdbus::Error& error) {
      return error.getName();
    }
  };
  const std::string invalid = "org.freedesktop.DBus.Error.InvalidArgs";
  EXPECT_EQ(call("Call", [](sdbus::Message&) {}), invalid);
  EXPECT_EQ(call("Call", [](sdbus::Message& m) { m << std::string("status"); }), invalid);
  EXPECT_EQ(call("Call", [](sdbus::Message& m) { m << 1 << 2; }), invalid);
  EXPECT_EQ(call("Nothing", [](sdbus::Message&) {}), "org.freedesktop.DBus.Error.UnknownMethod");
  const auto echo = [&](const sdbus::Variant& value) {
    return call("Call", [&](sdbus::Message& m) { m << std::string("echo") << value; });
  };
  EXPECT_EQ(echo(sdbus::Variant(std::vector<std::uint8_t>{1})), invalid);
  EXPECT_EQ(echo(sdbus::Variant(sdbus::make_struct(true, std::string("s")))), invalid);
  EXPECT_EQ(echo(sdbus::Variant(std::vector<sdbus::Variant>{sdbus::Variant(sdbus::ObjectPath("/a/b"))})), invalid);
  EXPECT_EQ(echo(sdbus::Variant(std::vector<sdbus::Variant>{sdbus::Variant(0.5)})), "");
  EXPECT_EQ(service.messages.size(), 0U);
  expectWorks(*connect(services_));
}

TEST_F(MachServiceTests, AFloodOfUnansweredMessagesIsBounded) {
  Service service(bus_.address());
  const auto connection = connect(services_);
  // What the bus itself lets through for one client is 128.
  constexpr int flood = 120;
  constexpr int taken = 100;
  for (int i = 0; i < flood; ++i) send(*connection, "pile up");
  for (int i = taken; i < flood; ++i) {
    const Outcome refused = outcomes_.next();
    ASSERT_TRUE(refused.reply && refused.reply->error);
    EXPECT_EQ(refused.reply->error->domain, "org.freedesktop.DBus.Error.LimitsExceeded");
  }
  for (int i = 0; i < taken; ++i) service.messages.next().answer({nullptr, std::nullopt});
  for (int i = 0; i < taken; ++i) EXPECT_TRUE(outcomes_.next().reply);
  EXPECT_EQ(service.messages.size(), 0U);
  expectWorks(*connection);
}

}  // namespace
}  // namespace halcyra::test
