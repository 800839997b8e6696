// What the client makes of heartbeats that fail, of a helper and of connections that are lost, and of its own end.

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "gtest/gtest.h"

#include "Client/ClientHarness.h"

namespace halcyra::test {

namespace {

class HelperClientLossTest : public ::testing::Test, public ClientHarness {
 protected:
  void failHeartbeats(const std::vector<Error>& errors) {
    for (const Error& error : errors) {
      bus.addFault(text(Selector::heartbeat), {Fault::fail, Seconds{0}, error});
    }
  }
};

/// A bus whose connections ignore their invalidation: what is answered late still arrives.
class StubbornConnections : public FanControlHelperConnections {
 public:
  struct Call {
    std::string selector;
    HelperAnswer reply;
  };

  std::shared_ptr<FanControlHelperConnection> connect() override {
    connections.push_back(std::make_shared<Connection>(calls));
    return connections.back();
  }

  class Connection : public MessageConnection {
   public:
    explicit Connection(std::vector<Call>& calls) : calls_(calls) {}
    void setInvalidationHandler(std::function<void()> handler) override { onInvalidation = std::move(handler); }
    void resume() override { ++resumed; }
    void invalidate() override { ++invalidated; }
    void call(const std::string& selector, PropertyList, HelperAnswer reply) override {
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

TEST_F(HelperClientLossTest, ToleratesOneFailedHeartbeat) {
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
      {"every other", {broken, {}, broken, {}, broken, {}}, {}},
      {"three", {broken, broken, broken, {}}, {2, 3}},
      {"two, good, two", {broken, broken, {}, broken, broken}, {2, 5}},
      {"expired at once", {expired, {}, {}}, {1}},
      {"expired in another form", {Error("Some.HelperError", 2), {}}, {1}},
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

TEST_F(HelperClientLossTest, ALateFailureOfAnEndedSessionIsIgnored) {
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

TEST_F(HelperClientLossTest, ANewSessionStartsWithoutFailures) {
  beginSession();
  failHeartbeats({cocoaError(4097), cocoaError(4097)});
  run(5);
  beginSession();
  run(5);
  EXPECT_EQ(bus.sentCount(text(Selector::heartbeat)), 2U);
  EXPECT_TRUE(sessionErrors.empty()) << "one failed heartbeat in each of two sessions";
  failHeartbeats({cocoaError(4099)});
  run(4);
  ASSERT_EQ(sessionErrors.size(), 1U) << "two in one session";
  EXPECT_EQ(sessionErrors[0].second, cocoaError(4099)) << "the second one's error";
}

TEST_F(HelperClientLossTest, AnInvalidatedConnectionEndsTheSessionQuietly) {
  beginSession();
  const std::string oldConnection = last().connectionName;
  bus.loseBus();
  settle();
  EXPECT_EQ(client->sessionID(), std::nullopt);
  EXPECT_EQ(doubles.activities.held(), 0);
  const auto target = setTarget(0, 3000);
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

TEST_F(HelperClientLossTest, AClientThatGoesAwayEndsEverythingOnce) {
  beginSession();
  bus.setStandingFault(text(Selector::setFanTargetRPM), MessageFault{Fault::loseReply, Seconds{0}, {}});
  bus.setStandingFault(text(Selector::beginSession), MessageFault{Fault::lateReply, Seconds{2}, {}});
  const auto target = setTarget(0, 3000);
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

TEST_F(HelperClientLossTest, OnlyTheConnectionInUseCanBeLost) {
  StubbornConnections services;
  TestPlatform other(process, iokit, services);
  auto user = HelperClient::make(other.platform);
  const auto beginThere = [&] {
    user->beginSession([](const PropertyList&, const std::optional<Error>&) {});
    services.calls.back().reply({status(), std::nullopt});
    return user->sessionID();
  };
  ASSERT_TRUE(beginThere().has_value());
  user->invalidate();
  EXPECT_EQ(user->sessionID(), std::nullopt);
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

TEST_F(HelperClientLossTest, AnswersThatFindTheClientGoneAreErrors) {
  StubbornConnections services;
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
