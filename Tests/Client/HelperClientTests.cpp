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

constexpr const char* expiredText =
    "The fan-control session expired. Aerovane returned the fans to Automatic; try the preset again.";
constexpr const char* busyText = "Another fan-control session is active. Quit any other fan utility and try again.";

class HelperClientTest : public ::testing::Test, public ClientHarness {};

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

TEST_F(HelperClientTest, WithoutASessionNothingIsSent) {
  const auto mode = setMode(0, true);
  const auto target = setTarget(1, 3000);
  const auto reset = resetAll();
  const auto named = end("2C1D5C0E-1111-4222-8333-444455556666");
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
  answers[text(Selector::setFanMode)] = {PropertyList{{"mode", 1}}, std::nullopt};
  const auto mode = setMode(1, true);
  const auto target = setTarget(0, 2530);
  const auto reset = resetAll();
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
      {"interrupted", cocoaError(connectionInterruptedCode), true, "Transport failed."},
  };
  const std::vector<std::pair<std::string_view, std::function<PendingOutcome()>>> calls{
      {Selector::setFanMode, [&] { return setMode(0, true); }},
      {Selector::setFanTargetRPM, [&] { return setTarget(0, 3000); }},
      {Selector::resetAll, [&] { return resetAll(); }},
      {Selector::beginSession, [&] { return begin(); }},
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
    for (const auto& [selector, send] : calls) {
      SCOPED_TRACE(each.name + " " + text(selector));
      script(selector, each);
      const PendingOutcome outcome = send();
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

TEST_F(HelperClientTest, EndsANamedSessionOnly) {
  const std::string first = beginSession();
  const std::string second = beginSession();
  const auto stale = end(first);
  EXPECT_EQ(stale->count, 1);
  EXPECT_EQ(stale->error, std::nullopt);
  EXPECT_EQ(client->sessionID(), second);
  EXPECT_EQ(doubles.activities.held(), 1);
  run(5);
  EXPECT_EQ(bus.sentCount(text(Selector::endSession)), 0U);
  EXPECT_EQ(bus.sentCount(text(Selector::heartbeat)), 1U);

  const auto current = end(second);
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

TEST_F(HelperClientTest, UninstallStopsAtTheFirstError) {
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

}  // namespace halcyra::test
