// What both ends of the link to the helper promise, over a real message bus and over the one that the tests in virtual
// time use.

#include <limits>
#include <memory>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "gtest/gtest.h"

#include "Platform/HelperLinks.h"
#include "XPC/HelperXPCError.h"

namespace halcyra::test {
namespace {

using HelperXPCError::Code;
using Calls = std::vector<std::pair<PropertyList, std::function<void(FanControlHelperConnection&, HelperAnswer)>>>;

constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();

/// The eight messages, each with the arguments that must arrive.
const Calls& calls() {
  using Connection = FanControlHelperConnection;
  static const Calls table{
      {PropertyList::array(), [](Connection& to, const HelperAnswer& answer) { to.status(dictionaryReply(answer)); }},
      {{"S"}, [](Connection& to, const HelperAnswer& answer) { to.beginSession("S", dictionaryReply(answer)); }},
      {{""}, [](Connection& to, const HelperAnswer& answer) { to.heartbeat("", errorReply(answer)); }},
      {{least, true, "S"},
       [](Connection& to, const HelperAnswer& answer) { to.setFanMode(least, true, "S", dictionaryReply(answer)); }},
      {{1, most, "Ü"},
       [](Connection& to, const HelperAnswer& answer) { to.setFanTargetRPM(1, most, "Ü", dictionaryReply(answer)); }},
      {{"S"}, [](Connection& to, const HelperAnswer& answer) { to.resetAll("S", dictionaryReply(answer)); }},
      {{"S"}, [](Connection& to, const HelperAnswer& answer) { to.endSession("S", errorReply(answer)); }},
      {PropertyList::array(),
       [](Connection& to, const HelperAnswer& answer) { to.prepareForUninstall(errorReply(answer)); }},
  };
  return table;
}

class HelperLinkTests : public testing::TestWithParam<std::string> {
 protected:
  std::shared_ptr<FanControlHelperConnection> connect() {
    auto connection = link_->connections().connect();
    connection->setInvalidationHandler([this] { link_->note([](Link::Records& now) { ++now.invalidations; }); });
    connection->resume();
    return connection;
  }
  HelperAnswer record() {
    return [this](HelperReply reply) { link_->note([&](Link::Records& now) { now.answers.push_back(reply); }); };
  }
  /// Sends a heartbeat, and waits until the helper has it.
  HelperAnswer sendUnanswered(FanControlHelperConnection& connection) {
    connection.heartbeat("S", errorReply(record()));
    return link_->nextMessage().answer;
  }
  HelperReply nextAnswer() {
    link_->await([](const Link::Records& now) { return !now.answers.empty(); });
    return link_->take([](Link::Records& now) {
      HelperReply first = now.answers.front();
      now.answers.erase(now.answers.begin());
      return first;
    });
  }
  void expectFailure(std::int64_t code) {
    const HelperReply reply = nextAnswer();
    ASSERT_TRUE(reply.error);
    EXPECT_EQ(reply.error->domain, cocoaErrorDomain);
    EXPECT_EQ(reply.error->code, code) << reply.error->userInfo.begin()->second;
    EXPECT_TRUE(reply.value.is_null());
  }
  void expectWorks(FanControlHelperConnection& connection) {
    sendUnanswered(connection)({nullptr, std::nullopt});
    EXPECT_EQ(nextAnswer().error, std::nullopt);
  }
  void awaitInvalidations(int count) {
    link_->await([count](const Link::Records& now) { return now.invalidations == count; });
  }

  std::unique_ptr<Link> link_ = makeLink(GetParam());
};

}  // namespace

TEST_P(HelperLinkTests, EveryMessageAndItsAnswerArriveAsTheyWere) {
  link_->startHelper();
  const auto connection = connect();
  const PropertyList fan{{"index", 0}, {"mode", 1}, {"actual", 1204}, {"controllable", true}};
  const PropertyList status{{"protocolVersion", 1}, {"fanTestMode", 0}, {"fans", {fan, fan}},
                            {"fan0Mode", 0},        {"note", "Ü"},      {"load", 0.5}};
  const std::vector<HelperReply> answers{
      {status, std::nullopt},
      {{{"fans", PropertyList::array()}}, std::nullopt},
      {nullptr, HelperXPCError::make(Code::busy)},
      {nullptr, HelperXPCError::make(Code::internalFailure, "HelperError error “99”")},
      {nullptr, Error(HelperXPCError::domain, 7, "of a later version")},
      {nullptr, Error("halcyra.exception", 0, "out of luck")},
  };
  for (const HelperReply& answer : answers) {
    for (const auto& [arguments, send] : calls()) {
      send(*connection, record());
      const Link::Message message = link_->nextMessage();
      EXPECT_EQ(message.arguments, arguments) << message.selector;
      EXPECT_EQ(message.caller.userID, link_->userID());
      EXPECT_EQ(message.caller.processID, link_->processID());
      message.answer(answer);
      message.answer({nullptr, HelperXPCError::make(Code::invalidFan)});
      const bool isBare = message.selector == FanControlHelperSelector::heartbeat ||
                          message.selector == FanControlHelperSelector::endSession ||
                          message.selector == FanControlHelperSelector::prepareForUninstall;
      const HelperReply got = nextAnswer();
      EXPECT_EQ(got.error, answer.error) << message.selector;
      EXPECT_EQ(got.value, isBare ? PropertyList() : answer.value) << message.selector;
    }
  }
  for (std::int64_t raw = 0; raw < 100; ++raw) {
    const auto code = HelperXPCError::codeFromRaw(raw);
    if (!code) continue;
    sendUnanswered (*connection)({nullptr, HelperXPCError::make(*code)});
    EXPECT_EQ(nextAnswer().error, HelperXPCError::make(*code));
  }
  expectWorks(*connection);
  EXPECT_EQ(link_->take([](Link::Records& now) { return now.answers.size(); }), 0U) << "a second answer came through";
}

TEST_P(HelperLinkTests, WithoutAHelperThatStartsTheConnectionBecomesInvalid) {
  const auto connection = connect();
  for (const auto& [arguments, send] : calls()) {
    send(*connection, record());
    expectFailure(connectionInvalidCode);
  }
  awaitInvalidations(1);
  link_->startHelper();
  connection->heartbeat("S", errorReply(record()));
  expectFailure(connectionInvalidCode);
  expectWorks(*connect());
  awaitInvalidations(1);
}

TEST_P(HelperLinkTests, TheEndOfTheHelperInterruptsAndTheConnectionLivesOn) {
  link_->startHelper();
  const auto connection = connect();
  sendUnanswered(*connection);
  sendUnanswered(*connection);
  link_->endHelper();
  expectFailure(connectionInterruptedCode);
  expectFailure(connectionInterruptedCode);
  link_->startHelper();
  expectWorks(*connection);
  awaitInvalidations(0);
}

TEST_P(HelperLinkTests, TheEndOfTheBusInvalidatesBothEnds) {
  link_->startHelper();
  const auto connection = connect();
  const auto answer = sendUnanswered(*connection);
  sendUnanswered(*connection);
  link_->loseBus();
  expectFailure(connectionInvalidCode);
  expectFailure(connectionInvalidCode);
  awaitInvalidations(1);
  link_->await([](const Link::Records& now) { return now.losses == 1; });
  answer({nullptr, std::nullopt});
  connection->heartbeat("S", errorReply(record()));
  expectFailure(connectionInvalidCode);
  link_->endHelper();
  link_->restoreBus();
  link_->startHelper();
  expectWorks(*connect());
  awaitInvalidations(1);
}

TEST_P(HelperLinkTests, InvalidatingFailsWhatIsOutOnceAndReleasingDoesSoWithoutTheHandler) {
  link_->startHelper();
  auto connection = connect();
  const auto answer = sendUnanswered(*connection);
  connection->invalidate();
  connection->invalidate();
  expectFailure(connectionInvalidCode);
  awaitInvalidations(1);
  answer({nullptr, std::nullopt});
  connection = link_->connections().connect();
  connection->resume();
  sendUnanswered(*connection);
  connection.reset();
  expectFailure(connectionInvalidCode);
  expectWorks(*connect());
  EXPECT_EQ(link_->take([](Link::Records& now) { return now.answers.size(); }), 0U);
}

TEST_P(HelperLinkTests, AClientThatHasSpokenIsReportedWhenItIsGone) {
  link_->startHelper();
  const auto name = link_->speakAndLeave();
  link_->await([](const Link::Records& now) { return !now.gone.empty(); });
  EXPECT_EQ(link_->take([](Link::Records& now) { return now.gone; }), std::vector<std::string>{name});
}

TEST_P(HelperLinkTests, AServiceThatIsGoneInterrupts) {
  link_->startHelper();
  const auto connection = connect();
  expectWorks(*connection);
  link_->dropService();
  connection->status(dictionaryReply(record()));
  expectFailure(connectionInterruptedCode);
}

INSTANTIATE_TEST_SUITE_P(Links, HelperLinkTests, testing::ValuesIn(linkKinds()),
                         [](const auto& each) { return each.param; });

}  // namespace halcyra::test
