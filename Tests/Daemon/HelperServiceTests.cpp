// The daemon behind a listener, as its program connects it.

#include "gtest/gtest.h"

#include "Daemon/HelperHarness.h"
#include "Support/HelperMessages.h"

namespace halcyra::test {
namespace {

class HandListener : public FanControlHelperListener {
 public:
  void setService(std::weak_ptr<FanControlHelperService> to) override { service = std::move(to); }
  void setClientGoneHandler(std::function<void(const std::string&)> handler) override { gone = std::move(handler); }
  void setLostHandler(std::function<void()> handler) override { lost = std::move(handler); }
  void resume() override {}

  std::weak_ptr<FanControlHelperService> service;
  std::function<void(const std::string&)> gone;
  std::function<void()> lost;
};

class HelperServiceTests : public testing::Test {
 protected:
  void SetUp() override {
    helper.start();
    helper.daemon->serve(listener);
    helper.run(12);
  }

  std::shared_ptr<HelperReply> send(std::string_view selector, PropertyList arguments) {
    auto answer = std::make_shared<HelperReply>();
    helper.onMain([this, answer, selector = std::string(selector), arguments](HelperDaemon&) {
      deliverMessage(*listener.service.lock(), helper.client, selector, arguments,
                     [answer](const HelperReply& reply) { *answer = reply; });
    });
    helper.run(1);
    return answer;
  }

  HelperHarness helper;
  HandListener listener;
};

TEST_F(HelperServiceTests, MessagesReachTheDaemonAndAreAnswered) {
  const auto begun = send(FanControlHelperSelector::beginSession, {helper.id});
  EXPECT_FALSE(begun->error);
  EXPECT_EQ(integerEntry(begun->value, "protocolVersion"), 1);
  const auto beat = send(FanControlHelperSelector::heartbeat, {helper.secondID});
  ASSERT_TRUE(beat->error);
  EXPECT_TRUE(HelperXPCError::isInvalidSession(*beat->error));
  EXPECT_TRUE(helper.daemon->hasSession());
}

TEST_F(HelperServiceTests, AClientThatLeavesTheBusLosesItsFans) {
  helper.takeFans();
  helper.onMain([this](HelperDaemon&) { listener.gone(helper.other.connectionName); });
  helper.run(1);
  EXPECT_TRUE(helper.daemon->hasSession());
  helper.onMain([this](HelperDaemon&) { listener.gone(helper.client.connectionName); });
  helper.run(2);
  EXPECT_FALSE(helper.daemon->hasSession());
  EXPECT_EQ(helper.modes(), (std::vector<int>{0, 0}));
  EXPECT_FALSE(helper.finished);
}

TEST_F(HelperServiceTests, TheLossOfTheBusHandsBackAndEnds) {
  helper.takeFans();
  helper.onMain([this](HelperDaemon&) { listener.lost(); });
  helper.run(3);
  EXPECT_EQ(helper.modes(), (std::vector<int>{0, 0}));
  EXPECT_EQ(helper.finished, 1);
}

TEST_F(HelperServiceTests, AListenerMayOutliveTheDaemon) {
  helper.kill();
  EXPECT_TRUE(listener.service.expired());
  listener.gone(helper.client.connectionName);
  listener.lost();
}

}  // namespace
}  // namespace halcyra::test
