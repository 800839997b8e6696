#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "gtest/gtest.h"

#include "Client/ClientHarness.h"
#include "Client/HelperClient.h"
#include "XPC/FanControlXPC.h"

namespace halcyra::test {

namespace {

namespace Selector = FanControlHelperSelector;
using Fault = MessageFault::Kind;

constexpr const char* expiredText =
    "The fan-control session expired. Aerovane returned the fans to Automatic; try the preset again.";
constexpr const char* busyText = "Another fan-control session is active. Quit any other fan utility and try again.";

std::string text(std::string_view selector) {
  return std::string(selector);
}

class HelperClientTest : public ::testing::Test, public ClientHarness {
 protected:
  void failHeartbeats(const std::vector<Error>& errors) {
    for (const Error& error : errors) {
      bus.addFault(text(Selector::heartbeat), {Fault::fail, Seconds{0}, error});
    }
  }
};

}  // namespace

TEST_F(HelperClientTest, InstallStateNamesTheStatus) {
  const std::vector<std::tuple<int, HelperInstallState, std::string>> table{
      {0, HelperInstallState::notRegistered, "Not installed"},
      {1, HelperInstallState::enabled, "Approved"},
      {2, HelperInstallState::requiresApproval, "Approval required"},
      {3, HelperInstallState::notFound, "Not set up"},
      {7, HelperInstallState::unknown, "Unknown"},
      {-1, HelperInstallState::unknown, "Unknown"},
  };
  for (const auto& [status, state, shown] : table) {
    doubles.serviceManagement.setDaemonStatus(status);
    EXPECT_EQ(client->installState(), state) << status;
    EXPECT_EQ(rawValue(client->installState()), shown) << status;
  }
  EXPECT_EQ(doubles.serviceManagement.lastPlistName(), FanControlXPC::daemonPlistName);
}

TEST_F(HelperClientTest, InstallRegistersAndPassesFailuresOn) {
  client->install();
  EXPECT_EQ(client->installState(), HelperInstallState::enabled);
  EXPECT_EQ(doubles.serviceManagement.lastPlistName(), FanControlXPC::daemonPlistName);
  doubles.serviceManagement.failRegister(ServiceManagementFailure("Operation not permitted", 3));
  try {
    client->install();
    FAIL() << "nothing was thrown";
  } catch (const ServiceManagementFailure& failure) {
    EXPECT_EQ(failure.errorDescription(), "Operation not permitted");
    EXPECT_EQ(failure.code(), 3);
  }
  EXPECT_EQ(doubles.serviceManagement.counts().registered, 2);
}

TEST_F(HelperClientTest, WithoutASessionNothingIsSent) {
  const auto mode = std::make_shared<Outcome>();
  const auto target = std::make_shared<Outcome>();
  const auto reset = std::make_shared<Outcome>();
  const auto named = std::make_shared<Outcome>();
  client->setMode(0, true, dictionaryInto(mode));
  client->setTarget(1, 3000, dictionaryInto(target));
  client->resetAll(dictionaryInto(reset));
  client->endSession("2C1D5C0E-1111-4222-8333-444455556666", errorInto(named));
  const auto ended = end();
  for (const auto& refused : {mode, target}) {
    ASSERT_EQ(refused->count, 1) << "at once";
    ASSERT_TRUE(refused->error.has_value());
    EXPECT_EQ(refused->error->localizedDescription(), "No privileged fan-control session is active");
    EXPECT_EQ(refused->error->domain, HelperClient::clientErrorDomain);
    EXPECT_TRUE(refused->dictionary.is_null());
  }
  for (const auto& harmless : {reset, named, ended}) {
    EXPECT_EQ(harmless->count, 1);
    EXPECT_EQ(harmless->error, std::nullopt);
    EXPECT_TRUE(harmless->dictionary.is_null());
  }
  run(30);
  EXPECT_TRUE(bus.sent().empty());
  EXPECT_EQ(mode->count + target->count + reset->count + named->count + ended->count, 5);
  EXPECT_EQ(helperProcess, nullptr) << "the helper was not even started";
}

TEST_F(HelperClientTest, BeginsASession) {
  const auto outcome = begin();
  EXPECT_EQ(client->sessionID(), std::nullopt) << "not before the helper has agreed";
  settle();
  EXPECT_EQ(outcome->count, 1);
  EXPECT_EQ(outcome->error, std::nullopt);
  EXPECT_EQ(outcome->dictionary, status());
  const std::string id = client->sessionID().value_or("");
  EXPECT_TRUE(std::regex_match(id, std::regex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}")));
  EXPECT_EQ(last().arguments, PropertyList::array({id}));
  EXPECT_EQ(doubles.activities.held(), 1);
  EXPECT_EQ(doubles.activities.lastReason(), "Aerovane is actively controlling the fans");
  EXPECT_EQ(static_cast<std::uint64_t>(doubles.activities.lastOptions()), 0x00EFFFFFU);

  const double begun = outcome->at;
  run(13);
  const std::vector<double> beats = timesOf(Selector::heartbeat);
  ASSERT_EQ(beats.size(), 3U);
  for (std::size_t index = 0; index < beats.size(); ++index) {
    EXPECT_NEAR(beats[index], begun + 4.0 * static_cast<double>(index + 1), 0.001);
  }
  EXPECT_EQ(last().arguments, PropertyList::array({id}));
  EXPECT_TRUE(sessionErrors.empty());
}

TEST_F(HelperClientTest, SendsCommandsWithTheSession) {
  const std::string id = beginSession();
  const auto mode = std::make_shared<Outcome>();
  const auto target = std::make_shared<Outcome>();
  const auto reset = std::make_shared<Outcome>();
  answers[text(Selector::setFanMode)] = {PropertyList{{"mode", 1}}, std::nullopt};
  client->setMode(1, true, dictionaryInto(mode));
  client->setTarget(0, 2530, dictionaryInto(target));
  client->resetAll(dictionaryInto(reset));
  settle();
  ASSERT_EQ(received.size(), 4U);
  EXPECT_EQ(received[1].selector, Selector::setFanMode);
  EXPECT_EQ(received[1].arguments, PropertyList::array({1, true, id}));
  EXPECT_TRUE(received[1].arguments[1].is_boolean());
  EXPECT_EQ(received[2].selector, Selector::setFanTargetRPM);
  EXPECT_EQ(received[2].arguments, PropertyList::array({0, 2530, id}));
  EXPECT_EQ(received[3].selector, Selector::resetAll);
  EXPECT_EQ(received[3].arguments, PropertyList::array({id}));
  EXPECT_EQ(mode->dictionary, (PropertyList{{"mode", 1}}));
  EXPECT_EQ(reset->dictionary, status());
  EXPECT_EQ(mode->count + target->count + reset->count, 3);
  EXPECT_EQ(received[0].connectionName, received[3].connectionName) << "one connection for everything";
}

TEST_F(HelperClientTest, ErrorsAreReadableOrUnchanged) {
  struct Case {
    std::string name;
    Error error;
    bool isTransport;
    std::string shown;
  };
  const std::vector<Case> table{
      {"busy", helperError(1, "HelperError error 1"), false, busyText},
      {"expired", helperError(2), false, expiredText},
      {"own words", helperError(99, "The lock cannot be had."), false, "The lock cannot be had."},
      {"no words", helperError(5), false, "Aerovane stopped because the preflight fan readings were abnormal."},
      {"foreign", Error("other", 1, "Elsewhere."), false, "Elsewhere."},
      {"interrupted", cocoaError(connectionInterruptedCode), true, "Transport failed."},
      {"invalid", cocoaError(connectionInvalidCode), true, "Transport failed."},
      {"unreadable on the way", helperError(1, "raw"), true, "raw"},
  };
  const std::string id = beginSession();
  const auto script = [&](std::string_view selector, const Case& each) {
    answers.erase(text(selector));
    if (each.isTransport) {
      bus.addFault(text(selector), {Fault::fail, Seconds{0}, each.error});
    } else {
      answers[text(selector)] = {nullptr, each.error};
    }
  };
  for (const Case& each : table) {
    for (const auto selector :
         {Selector::setFanMode, Selector::setFanTargetRPM, Selector::resetAll, Selector::beginSession}) {
      SCOPED_TRACE(each.name + " " + text(selector));
      script(selector, each);
      const auto outcome = std::make_shared<Outcome>();
      if (selector == Selector::setFanMode) {
        client->setMode(0, true, dictionaryInto(outcome));
      } else if (selector == Selector::setFanTargetRPM) {
        client->setTarget(0, 3000, dictionaryInto(outcome));
      } else if (selector == Selector::resetAll) {
        client->resetAll(dictionaryInto(outcome));
      } else {
        client->beginSession(dictionaryInto(outcome));
      }
      settle();
      ASSERT_EQ(outcome->count, 1);
      ASSERT_TRUE(outcome->error.has_value());
      EXPECT_EQ(outcome->error->localizedDescription(), each.shown);
      EXPECT_EQ(outcome->error->code, each.error.code);
      EXPECT_TRUE(outcome->dictionary.is_null());
      EXPECT_EQ(client->sessionID(), id) << "no failure ends or replaces the session";
    }
  }
}

TEST_F(HelperClientTest, AFailedStartLeavesNothingBehind) {
  answers[text(Selector::beginSession)] = {status(), helperError(1)};
  const auto refused = begin();
  settle();
  EXPECT_EQ(refused->count, 1);
  ASSERT_TRUE(refused->error.has_value());
  EXPECT_EQ(refused->error->localizedDescription(), busyText);
  EXPECT_EQ(refused->dictionary, status()) << "what came with the error is passed on";
  bus.addFault(text(Selector::beginSession), {Fault::fail, Seconds{0}, cocoaError(4097)});
  const auto broken = begin();
  run(20);
  EXPECT_EQ(broken->count, 1);
  EXPECT_EQ(broken->error, cocoaError(4097));
  EXPECT_EQ(client->sessionID(), std::nullopt);
  EXPECT_EQ(doubles.activities.begun(), 0);
  EXPECT_EQ(bus.sentCount(text(Selector::heartbeat)), 0U);
}

TEST_F(HelperClientTest, ANewSessionReplacesTheOld) {
  const std::string first = beginSession();
  run(3);
  const std::string second = beginSession();
  const double begun = now();
  EXPECT_NE(first, second);
  EXPECT_EQ(doubles.activities.begun(), 1) << "the activity held is kept";
  EXPECT_EQ(doubles.activities.held(), 1);
  run(9);
  const std::vector<double> beats = timesOf(Selector::heartbeat);
  ASSERT_EQ(beats.size(), 2U);
  EXPECT_NEAR(beats[0], begun + 4.0, 0.02) << "the rhythm starts anew";
  EXPECT_EQ(last().arguments, PropertyList::array({second}));
}

TEST_F(HelperClientTest, EndsASessionLocallyAtOnce) {
  const std::string id = beginSession();
  answers[text(Selector::endSession)] = {nullptr, helperError(2)};
  const auto ended = end();
  EXPECT_EQ(client->sessionID(), std::nullopt);
  EXPECT_EQ(doubles.activities.held(), 0);
  EXPECT_EQ(ended->count, 0);
  const auto again = end();
  EXPECT_EQ(again->count, 1);
  EXPECT_EQ(again->error, std::nullopt);
  settle();
  EXPECT_EQ(last().selector, Selector::endSession);
  EXPECT_EQ(last().arguments, PropertyList::array({id}));
  ASSERT_EQ(ended->count, 1);
  ASSERT_TRUE(ended->error.has_value());
  EXPECT_EQ(ended->error->localizedDescription(), expiredText);
  run(20);
  EXPECT_EQ(bus.sentCount(text(Selector::endSession)), 1U);
  EXPECT_EQ(bus.sentCount(text(Selector::heartbeat)), 0U);
  EXPECT_EQ(ended->count, 1);
}

TEST_F(HelperClientTest, ReadableEndErrorsOfTheTransportToo) {
  beginSession();
  bus.addFault(text(Selector::endSession), {Fault::fail, Seconds{0}, helperError(1, "HelperError error 1")});
  const auto ended = end();
  settle();
  ASSERT_TRUE(ended->error.has_value());
  EXPECT_EQ(ended->error->localizedDescription(), busyText);
}

TEST_F(HelperClientTest, EndsANamedSessionOnly) {
  const std::string first = beginSession();
  const std::string second = beginSession();
  const auto stale = std::make_shared<Outcome>();
  client->endSession(first, errorInto(stale));
  EXPECT_EQ(stale->count, 1);
  EXPECT_EQ(stale->error, std::nullopt);
  EXPECT_EQ(client->sessionID(), second);
  EXPECT_EQ(doubles.activities.held(), 1);
  run(5);
  EXPECT_EQ(bus.sentCount(text(Selector::endSession)), 0U);
  EXPECT_EQ(bus.sentCount(text(Selector::heartbeat)), 1U);

  const auto current = std::make_shared<Outcome>();
  client->endSession(second, errorInto(current));
  EXPECT_EQ(client->sessionID(), std::nullopt);
  settle();
  EXPECT_EQ(current->count, 1);
  EXPECT_EQ(last().arguments, PropertyList::array({second}));
}

TEST_F(HelperClientTest, ASessionEndedWhileItsActivityBeginsHoldsNone) {
  const auto ended = std::make_shared<Outcome>();
  doubles.activities.setBeginHook([&] { client->endSession(errorInto(ended)); });
  const auto outcome = begin();
  run(20);
  EXPECT_EQ(outcome->count, 1);
  EXPECT_EQ(ended->count, 1);
  EXPECT_EQ(client->sessionID(), std::nullopt);
  EXPECT_EQ(doubles.activities.begun(), 1);
  EXPECT_EQ(doubles.activities.held(), 0);
  EXPECT_EQ(bus.sentCount(text(Selector::heartbeat)), 0U);
}

TEST_F(HelperClientTest, ToleratesOneFailedHeartbeat) {
  const Error broken = cocoaError(4097);
  const Error expired = helperError(2);
  struct Case {
    std::string name;
    std::vector<std::optional<Error>> beats;
    /// Which beats end in the callback, counted from 1.
    std::vector<int> reported;
  };
  const std::vector<Case> table{
      {"all well", {{}, {}, {}}, {}},
      {"one", {broken, {}, {}}, {}},
      {"every other", {broken, {}, broken, {}, broken, {}}, {}},
      {"two", {broken, broken, {}}, {2}},
      {"three", {broken, broken, broken, {}}, {2, 3}},
      {"two, good, two", {broken, broken, {}, broken, broken}, {2, 5}},
      {"expired at once", {expired, {}, {}}, {1}},
      {"expired in another form", {Error("Some.HelperError", 2), {}}, {1}},
      {"busy counts like any", {helperError(1), {}}, {}},
      {"code 2 of another domain", {Error("other", 2), {}}, {}},
  };
  for (const Case& each : table) {
    SCOPED_TRACE(each.name);
    const std::string id = beginSession();
    const double begun = now();
    sessionErrors.clear();
    std::vector<double> expected;
    for (std::size_t beat = 0; beat < each.beats.size(); ++beat) {
      answers[text(Selector::heartbeat)] = {nullptr, each.beats[beat]};
      run(beat == 0 ? 4.5 : 4.0);
      if (std::count(each.reported.begin(), each.reported.end(), static_cast<int>(beat) + 1) > 0) {
        expected.push_back(begun + 4.0 * static_cast<double>(beat + 1));
      }
      ASSERT_EQ(sessionErrors.size(), expected.size()) << "beat " << beat + 1;
      if (!expected.empty()) {
        EXPECT_NEAR(sessionErrors.back().first, expected.back(), 0.02);
      }
    }
    EXPECT_EQ(client->sessionID(), id) << "the session stays until its owner ends it";
    end();
    settle();
  }
}

TEST_F(HelperClientTest, HeartbeatFailuresOfTheTransportCountAlike) {
  beginSession();
  failHeartbeats({cocoaError(4099), cocoaError(4097)});
  run(9);
  ASSERT_EQ(sessionErrors.size(), 1U);
  EXPECT_EQ(sessionErrors[0].second, cocoaError(4097)) << "the second one's error";
  run(8);
  EXPECT_EQ(sessionErrors.size(), 1U);
}

TEST_F(HelperClientTest, ANewSessionStartsWithoutFailures) {
  beginSession();
  failHeartbeats({cocoaError(4097), cocoaError(4097)});
  run(5);
  beginSession();
  run(5);
  EXPECT_EQ(bus.sentCount(text(Selector::heartbeat)), 2U);
  EXPECT_TRUE(sessionErrors.empty()) << "one failed heartbeat in each of two sessions";
}

TEST_F(HelperClientTest, ALateFailureOfAnEndedSessionIsIgnored) {
  beginSession();
  answers[text(Selector::heartbeat)] = {nullptr, helperError(2)};
  bus.addFault(text(Selector::heartbeat), {Fault::lateReply, Seconds{3}, {}});
  run(4.5);
  EXPECT_EQ(bus.sentCount(text(Selector::heartbeat)), 1U);
  answers.clear();
  const std::string second = beginSession();
  run(20);
  EXPECT_TRUE(sessionErrors.empty());
  EXPECT_EQ(client->sessionID(), second);
}

TEST_F(HelperClientTest, AnsweredTwiceCountsOnce) {
  bus.setStandingFault(text(Selector::beginSession), MessageFault{Fault::duplicateReply, Seconds{0}, {}});
  const auto outcome = begin();
  run(1);
  EXPECT_EQ(outcome->count, 1);
  EXPECT_EQ(bus.uselessAnswers(), 1);
}

TEST_F(HelperClientTest, AHelperThatDiesIsStartedAnewAndKnowsNoSession) {
  beginSession();
  bus.setStandingFault(text(Selector::setFanTargetRPM), MessageFault{Fault::loseReply, Seconds{0}, {}});
  const auto target = std::make_shared<Outcome>();
  client->setTarget(0, 3000, dictionaryInto(target));
  run(1);
  EXPECT_EQ(target->count, 0);
  helperProcess->kill();
  settle();
  ASSERT_EQ(target->count, 1);
  ASSERT_TRUE(target->error.has_value());
  EXPECT_EQ(target->error->code, connectionInterruptedCode);
  EXPECT_TRUE(client->sessionID().has_value()) << "an interruption is not the end of the connection";
  answers[text(Selector::heartbeat)] = {nullptr, helperError(2)};
  const auto died = helperProcess;
  run(4);
  EXPECT_NE(helperProcess, died) << "the next call starts it";
  ASSERT_EQ(sessionErrors.size(), 1U);
  EXPECT_EQ(sessionErrors[0].second.code, 2);
}

TEST_F(HelperClientTest, AnInvalidatedConnectionEndsTheSessionQuietly) {
  beginSession();
  const std::string oldConnection = last().connectionName;
  bus.loseBus();
  settle();
  EXPECT_EQ(client->sessionID(), std::nullopt);
  EXPECT_EQ(doubles.activities.held(), 0);
  const auto target = std::make_shared<Outcome>();
  client->setTarget(0, 3000, dictionaryInto(target));
  ASSERT_EQ(target->count, 1);
  EXPECT_EQ(target->error->localizedDescription(), "No privileged fan-control session is active");
  run(20);
  EXPECT_TRUE(sessionErrors.empty());
  EXPECT_EQ(bus.sentCount(text(Selector::heartbeat)), 0U);

  const auto unreachable = begin();
  settle();
  EXPECT_EQ(unreachable->count, 1);
  EXPECT_EQ(unreachable->error->code, connectionInvalidCode);
  bus.restoreBus();
  beginSession();
  EXPECT_NE(last().connectionName, oldConnection) << "a new connection";
}

TEST_F(HelperClientTest, AnOlderConnectionsInvalidationIsIgnored) {
  beginSession();
  client->invalidate();
  EXPECT_EQ(client->sessionID(), std::nullopt);
  EXPECT_EQ(doubles.activities.held(), 0);
  // The old connection's handler runs while the new session is being opened.
  const std::string second = beginSession();
  run(5);
  EXPECT_EQ(client->sessionID(), second);
  EXPECT_EQ(doubles.activities.held(), 1);
  EXPECT_EQ(bus.sentCount(text(Selector::heartbeat)), 1U);
  EXPECT_NE(received[1].connectionName, received[0].connectionName);
  EXPECT_EQ(last().selector, Selector::heartbeat);
  EXPECT_EQ(last().connectionName, received[1].connectionName) << "the new connection is still in use";
  EXPECT_EQ(goneClients, std::vector<std::string>{received.front().connectionName});
}

TEST_F(HelperClientTest, UninstallStopsAtTheFirstError) {
  const Error broken = cocoaError(4097);
  struct Case {
    std::string name;
    bool hasSession;
    std::optional<Error> endError, prepareError;
    bool unregisterFails;
    std::vector<std::string_view> messages;
    int unregistered;
    std::string shown;
  };
  const Error busy = helperError(1, "raw");
  const std::vector<Case> table{
      {"no session", false, {}, {}, false, {Selector::prepareForUninstall}, 1, ""},
      {"session", true, {}, {}, false, {Selector::endSession, Selector::prepareForUninstall}, 1, ""},
      {"end refused", true, busy, {}, false, {Selector::endSession}, 0, busyText},
      {"prepare refused", false, {}, busy, false, {Selector::prepareForUninstall}, 0, "raw"},
      {"prepare refused with a session",
       true,
       {},
       busy,
       false,
       {Selector::endSession, Selector::prepareForUninstall},
       0,
       "raw"},
      {"removal fails", false, {}, {}, true, {Selector::prepareForUninstall}, 1, "Not allowed"},
  };
  for (const Case& each : table) {
    SCOPED_TRACE(each.name);
    answers.clear();
    doubles.serviceManagement.setDaemonStatus(ServiceManagement::enabled);
    if (each.hasSession) beginSession();
    received.clear();
    if (each.endError) answers[text(Selector::endSession)] = {nullptr, each.endError};
    if (each.prepareError) answers[text(Selector::prepareForUninstall)] = {nullptr, each.prepareError};
    doubles.serviceManagement.failUnregister(
        each.unregisterFails ? std::optional(ServiceManagementFailure("Not allowed")) : std::nullopt);
    const int unregisteredBefore = doubles.serviceManagement.counts().unregistered;
    const auto outcome = std::make_shared<Outcome>();
    client->uninstall(errorInto(outcome));
    EXPECT_EQ(client->sessionID(), std::nullopt);
    EXPECT_EQ(doubles.activities.held(), 0);
    run(10);
    ASSERT_EQ(outcome->count, 1);
    EXPECT_EQ(outcome->error ? outcome->error->localizedDescription() : "", each.shown);
    EXPECT_EQ(selectors(), std::vector<std::string>(each.messages.begin(), each.messages.end()));
    EXPECT_EQ(doubles.serviceManagement.counts().unregistered - unregisteredBefore, each.unregistered);
    EXPECT_EQ(client->installState() == HelperInstallState::enabled, !each.shown.empty());
  }
}

TEST_F(HelperClientTest, AClientThatGoesAwayEndsEverythingOnce) {
  beginSession();
  bus.setStandingFault(text(Selector::setFanTargetRPM), MessageFault{Fault::loseReply, Seconds{0}, {}});
  bus.setStandingFault(text(Selector::beginSession), MessageFault{Fault::lateReply, Seconds{2}, {}});
  const auto target = std::make_shared<Outcome>();
  client->setTarget(0, 3000, dictionaryInto(target));
  const auto late = begin();
  run(1);
  client.reset();
  EXPECT_EQ(doubles.activities.held(), 0);
  run(30);
  for (const auto& outcome : {target, late}) {
    EXPECT_EQ(outcome->count, 1);
    ASSERT_TRUE(outcome->error.has_value());
    EXPECT_EQ(outcome->error->code, connectionInvalidCode);
  }
  EXPECT_EQ(bus.sentCount(text(Selector::heartbeat)), 0U);
  EXPECT_EQ(doubles.activities.held(), 0);
  EXPECT_EQ(goneClients.size(), 1U) << "the helper learns of it";
  EXPECT_TRUE(sessionErrors.empty());
}

namespace {

/// A bus whose connections ignore their invalidation: what is answered late still arrives.
class StubbornMachServices : public MachServices {
 public:
  struct Call {
    std::string selector;
    MachServiceConnection::ReplyHandler reply;
  };

  std::shared_ptr<MachServiceConnection> connect(const std::string&, MachServiceDomain domain) override {
    EXPECT_EQ(domain, MachServiceDomain::privileged);
    connections.push_back(std::make_shared<Connection>(calls));
    return connections.back();
  }

  class Connection : public MachServiceConnection {
   public:
    explicit Connection(std::vector<Call>& calls) : calls_(calls) {}
    void setInvalidationHandler(std::function<void()> handler) override { onInvalidation = std::move(handler); }
    void resume() override { ++resumed; }
    void invalidate() override { ++invalidated; }
    void call(const std::string& selector, PropertyList, ReplyHandler reply, ErrorHandler) override {
      calls_.push_back({selector, std::move(reply)});
    }

    std::function<void()> onInvalidation;
    int resumed = 0;
    int invalidated = 0;

   private:
    std::vector<Call>& calls_;
  };

  std::vector<Call> calls;
  std::vector<std::shared_ptr<Connection>> connections;
};

}  // namespace

TEST_F(HelperClientTest, OnlyTheConnectionInUseCanBeLost) {
  StubbornMachServices services;
  TestPlatform other(process, iokit, services);
  auto user = HelperClient::make(other.platform);
  const auto beginThere = [&] {
    user->beginSession([](const PropertyList&, const std::optional<Error>&) {});
    services.calls.back().reply({status(), std::nullopt});
    return user->sessionID();
  };
  ASSERT_TRUE(beginThere().has_value());
  user->invalidate();
  const auto second = beginThere();
  ASSERT_EQ(services.connections.size(), 2U);
  EXPECT_EQ(services.connections[0]->invalidated, 1);
  EXPECT_EQ(services.connections[1]->resumed, 1);
  services.connections[0]->onInvalidation();
  EXPECT_EQ(user->sessionID(), second);
  EXPECT_EQ(other.activities.held(), 1);
  services.connections[1]->onInvalidation();
  EXPECT_EQ(user->sessionID(), std::nullopt);
  EXPECT_EQ(other.activities.held(), 0);
  EXPECT_TRUE(beginThere().has_value());
  ASSERT_EQ(services.connections.size(), 3U);
  user.reset();
  EXPECT_EQ(services.connections[2]->invalidated, 1);
}

TEST_F(HelperClientTest, AnswersThatFindTheClientGoneAreErrors) {
  StubbornMachServices services;
  TestPlatform other(process, iokit, services);
  other.serviceManagement.setDaemonStatus(ServiceManagement::enabled);
  constexpr const char* failed = "The privileged helper could not complete the fan-control request.";
  for (const bool hasSession : {false, true}) {
    SCOPED_TRACE(hasSession);
    services.calls.clear();
    auto leaving = HelperClient::make(other.platform);
    const auto uninstalled = std::make_shared<Outcome>();
    const auto begun = std::make_shared<Outcome>();
    if (hasSession) {
      leaving->beginSession([](const PropertyList&, const std::optional<Error>&) {});
      services.calls.at(0).reply({status(), std::nullopt});
    }
    leaving->uninstall(errorInto(uninstalled));
    leaving->beginSession(dictionaryInto(begun));
    leaving.reset();
    const auto calls = services.calls;
    for (const auto& call : calls) {
      if (call.selector != Selector::beginSession || &call == &calls.back()) call.reply({nullptr, std::nullopt});
    }
    for (const auto& outcome : {uninstalled, begun}) {
      ASSERT_EQ(outcome->count, 1);
      ASSERT_TRUE(outcome->error.has_value());
      EXPECT_EQ(*outcome->error, helperError(99, failed));
    }
    EXPECT_EQ(other.activities.held(), 0);
    EXPECT_EQ(services.calls.size(), calls.size()) << "nothing more is sent";
  }
  EXPECT_EQ(other.serviceManagement.counts().unregistered, 0);
}

}  // namespace halcyra::test
