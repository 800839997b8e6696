// Who may ask the helper for what, and what the answers hold.

#include <cstdio>
#include <unistd.h>

#include "gtest/gtest.h"

#include "Daemon/HelperHarness.h"
#include "XPC/FanControlXPC.h"
#include "XPC/HelperReplyKey.h"

namespace halcyra::test {
namespace {

using HelperXPCError::Code;

class HelperSessionTests : public testing::Test {
 protected:
  void SetUp() override {
    helper.start();
    helper.run(1);
  }

  HelperHarness helper;
};

TEST_F(HelperSessionTests, ASessionBeginsWithAReportOfEveryFan) {
  const auto begun = helper.await(helper.begin(helper.client, helper.id));
  ASSERT_TRUE(begun->succeeded()) << begun->description();
  const PropertyList& status = begun->value;
  EXPECT_EQ(integerEntry(status, HelperReplyKey::protocolVersion), 1);
  EXPECT_EQ(integerEntry(status, HelperReplyKey::fanCount), 2);
  EXPECT_EQ(integerEntry(status, HelperReplyKey::fanTestMode), 0);
  const PropertyList* fans = dictionaryArrayEntry(status, HelperReplyKey::fans);
  ASSERT_NE(fans, nullptr);
  ASSERT_EQ(fans->size(), 2U);
  const std::string_view flatMaximum[] = {HelperReplyKey::fan0Maximum, HelperReplyKey::fan1Maximum};
  const std::string_view flatMode[] = {HelperReplyKey::fan0Mode, HelperReplyKey::fan1Mode};
  const std::string_view flatTarget[] = {HelperReplyKey::fan0Target, HelperReplyKey::fan1Target};
  for (std::size_t index = 0; index < 2; ++index) {
    const PropertyList& fan = fans->at(index);
    EXPECT_EQ(integerEntry(fan, HelperReplyKey::fanIndex), static_cast<std::int64_t>(index));
    EXPECT_EQ(integerEntry(fan, HelperReplyKey::fanMode), 0);
    EXPECT_EQ(booleanEntry(fan, HelperReplyKey::fanControllable), true);
    const auto minimum = integerEntry(fan, HelperReplyKey::fanMinimum);
    const auto maximum = integerEntry(fan, HelperReplyKey::fanMaximum);
    ASSERT_TRUE(minimum && maximum);
    EXPECT_LT(*minimum, *maximum);
    EXPECT_GE(integerEntry(fan, HelperReplyKey::fanTarget), minimum);
    EXPECT_TRUE(integerEntry(fan, HelperReplyKey::fanActual));
    EXPECT_EQ(integerEntry(status, flatMaximum[index]), maximum);
    EXPECT_EQ(integerEntry(status, flatMode[index]), 0);
    EXPECT_EQ(integerEntry(status, flatTarget[index]), integerEntry(fan, HelperReplyKey::fanTarget));
  }
  EXPECT_FALSE(helper.lockIsFree());
  EXPECT_TRUE(helper.writes.empty());
}

TEST_F(HelperSessionTests, WhatCannotBeReadIsLeftOutOfTheReport) {
  helper.fault("vanish F0Ac");
  helper.fault("result-read F1Md 0x85");
  helper.fault("vanish Ftst");
  const auto answer = helper.await(helper.status(helper.client));
  ASSERT_TRUE(answer->succeeded()) << answer->description();
  const PropertyList& fans = answer->value.at("fans");
  EXPECT_EQ(entry(fans.at(0), HelperReplyKey::fanActual), nullptr);
  EXPECT_EQ(integerEntry(fans.at(0), HelperReplyKey::fanMode), 0);
  EXPECT_EQ(entry(fans.at(1), HelperReplyKey::fanMode), nullptr) << "an unknown mode must not look clean";
  EXPECT_EQ(entry(answer->value, HelperReplyKey::fan1Mode), nullptr);
  EXPECT_EQ(entry(answer->value, HelperReplyKey::fanTestMode), nullptr);
}

TEST_F(HelperSessionTests, AFanInAForeignModeIsReportedAndNotTouched) {
  const auto first = helper.await(helper.begin(helper.client, helper.id));
  helper.await(helper.end(helper.client, helper.id));
  helper.run(15);
  helper.fault("set-mode 1 1 4000");
  const auto begun = helper.await(helper.begin(helper.client, helper.secondID));
  ASSERT_TRUE(begun->succeeded());
  EXPECT_EQ(integerEntry(begun->value, HelperReplyKey::fan0Mode), 0);
  EXPECT_EQ(integerEntry(begun->value, HelperReplyKey::fan1Mode), 1);
  EXPECT_TRUE(helper.writes.empty());
}

struct RefusedStart {
  const char* name;
  std::function<void(HelperHarness&)> before;
  FanControlHelperCaller caller;
  std::string id;
  Code code;
  std::string description;
};

TEST(HelperSessionStartTests, AStartThatIsRefusedLeavesNothingBehind) {
  const HelperHarness names;
  const std::vector<RefusedStart> cases = {
      {"another user", [](HelperHarness&) {}, names.stranger, names.id, Code::unauthorizedClient, ""},
      {"no identity", [](HelperHarness&) {}, names.client, "", Code::invalidSession, "UUID"},
      {"no UUID", [](HelperHarness&) {}, names.client, names.id + "0", Code::invalidSession, "UUID"},
      {"no driver", [](HelperHarness& helper) { helper.fault("driver-gone"); }, names.client, names.id,
       Code::controlUnavailable, "AppleSMC"},
      {"test mode unreadable", [](HelperHarness& helper) { helper.fault("result-read Ftst 0x85"); }, names.client,
       names.id, Code::abnormalPreflight, "Ftst"},
      {"lock is a link",
       [](HelperHarness& helper) {
         std::remove(helper.lockFile.c_str());
         ASSERT_EQ(symlink("/dev/null", helper.lockFile.c_str()), 0);
       },
       names.client, names.id, Code::internalFailure, "Unable to secure the Aerovane control lock"},
  };
  for (const RefusedStart& refused : cases) {
    SCOPED_TRACE(refused.name);
    HelperHarness helper;
    helper.start();
    helper.run(12);
    refused.before(helper);
    const auto answer = helper.await(helper.begin(refused.caller, refused.id));
    EXPECT_EQ(answer->code(), refused.code);
    EXPECT_NE(answer->description().find(refused.description), std::string::npos) << answer->description();
    EXPECT_TRUE(answer->value.is_null());
    EXPECT_FALSE(helper.daemon->hasSession());
    EXPECT_EQ(helper.await(helper.setMode(helper.client, 0, true, helper.id))->code(), Code::invalidSession);
    EXPECT_TRUE(helper.writes.empty());
    if (refused.code != Code::internalFailure) {
      EXPECT_TRUE(helper.lockIsFree());
    }
  }
}

TEST_F(HelperSessionTests, ALockHeldElsewhereMeansBusyAndNamesTheOwner) {
  helper.run(12);
  FanControlProcessLock owner(helper.lockFile, {}, helper.scheduler.clock());
  owner.acquire("somebody else");
  const auto refused = helper.await(helper.begin(helper.client, helper.id));
  EXPECT_EQ(refused->code(), Code::busy);
  EXPECT_NE(refused->description().find("somebody else"), std::string::npos);
  owner.release();
  const auto begun = helper.await(helper.begin(helper.client, helper.id));
  EXPECT_TRUE(begun->succeeded()) << begun->description();
}

TEST_F(HelperSessionTests, AClientsNewSessionReplacesItsOldOneAfterAHandBack) {
  helper.takeFans();
  const double since = helper.now();
  const auto waiting = helper.setTarget(helper.client, 0, 4000, helper.id);
  helper.run(0.01);
  const auto begun = helper.await(helper.begin(helper.client, helper.secondID));
  ASSERT_TRUE(begun->succeeded()) << begun->description();
  EXPECT_EQ(integerEntry(begun->value, HelperReplyKey::fan0Mode), 0);
  EXPECT_EQ(waiting->code(), Code::invalidSession);
  EXPECT_EQ(helper.await(helper.setMode(helper.client, 0, true, helper.id))->code(), Code::invalidSession);
  for (const ObservedWrite& write : helper.writesSince(since, "Md")) {
    EXPECT_EQ(write.value, 0) << write.key;
  }
  EXPECT_TRUE(helper.await(helper.setMode(helper.client, 0, true, helper.secondID))->succeeded());
}

TEST_F(HelperSessionTests, OnlyTheSessionsOwnConnectionMayUseIt) {
  helper.takeFans();
  const double since = helper.now();
  EXPECT_EQ(helper.await(helper.begin(helper.other, helper.secondID))->code(), Code::busy)
      << "the session is not disturbed";
  const auto all = [&](const FanControlHelperCaller& caller, const std::string& id) {
    return std::vector<Pending>{helper.heartbeat(caller, id), helper.setMode(caller, 0, false, id),
                                helper.setTarget(caller, 0, 2000, id), helper.resetAll(caller, id),
                                helper.end(caller, id)};
  };
  struct Case {
    FanControlHelperCaller caller;
    std::string id;
    Code code;
  };
  const std::vector<Case> cases = {{helper.other, helper.id, Code::invalidSession},
                                   {helper.client, helper.secondID, Code::invalidSession},
                                   {helper.client, "", Code::invalidSession},
                                   {helper.stranger, helper.id, Code::unauthorizedClient}};
  for (const Case& refused : cases) {
    for (const Pending& answer : all(refused.caller, refused.id)) {
      helper.await(answer);
      EXPECT_EQ(answer->code(), refused.code);
      EXPECT_TRUE(answer->value.is_null());
    }
  }
  for (const Pending& answer : {helper.status(helper.stranger), helper.prepareForUninstall(helper.stranger)}) {
    helper.await(answer);
    EXPECT_EQ(answer->code(), Code::unauthorizedClient);
  }
  helper.onMain([&](HelperDaemon& daemon) { daemon.clientGone(helper.other.connectionName); });
  helper.run(1);
  EXPECT_TRUE(helper.writesSince(since).empty());
  EXPECT_EQ(helper.modes(), (std::vector<int>{1, 1}));
  EXPECT_TRUE(helper.await(helper.heartbeat(helper.client, helper.id))->succeeded());
}

TEST_F(HelperSessionTests, RootIsAllowed) {
  EXPECT_TRUE(helper.await(helper.begin({":1.9", 0, 1}, helper.id))->succeeded());
}

struct RefusedCommand {
  const char* name;
  const char* fault;
  std::function<Pending(HelperHarness&)> send;
  Code code;
  /// Part of the helper's own text; empty: there must be none.
  std::string description;
};

TEST(HelperCommandTests, EachFailureHasItsCode) {
  const auto mode = [](int fan) {
    return [fan](HelperHarness& helper) { return helper.setMode(helper.client, fan, true, helper.id); };
  };
  const auto target = [](int fan, std::int64_t rpm) {
    return [fan, rpm](HelperHarness& helper) { return helper.setTarget(helper.client, fan, rpm, helper.id); };
  };
  const std::vector<RefusedCommand> cases = {
      {"no such fan", "", mode(2), Code::invalidFan, ""},
      {"below all fans", "", mode(-1), Code::invalidFan, ""},
      {"beyond the keys", "", target(10, 3000), Code::invalidFan, ""},
      {"firmware refuses the mode", "result F0Md 0x85", mode(0), Code::controlUnavailable, ""},
      {"mode never latches", "never-latch F0Md", mode(0), Code::controlUnavailable, ""},
      {"no manual mode", "", target(0, 3000), Code::controlUnavailable, ""},
      {"driver permits no write", "refuse-writes", mode(0), Code::controlUnavailable, ""},
  };
  for (const RefusedCommand& refused : cases) {
    SCOPED_TRACE(refused.name);
    HelperHarness helper;
    helper.start();
    helper.await(helper.begin(helper.client, helper.id));
    helper.startHeart();
    if (*refused.fault != '\0') {
      helper.fault(refused.fault);
    }
    const auto answer = refused.send(helper);
    helper.await(answer);
    EXPECT_EQ(answer->code(), refused.code);
    EXPECT_EQ(answer->description(), refused.description);
    EXPECT_EQ(helper.modes(), (std::vector<int>{0, 0}));
    EXPECT_TRUE(helper.writesSince(0, "Tg").empty());
    EXPECT_TRUE(helper.daemon->hasSession()) << "a failed command does not end the session";
    helper.stopHeart = true;
  }
}

TEST_F(HelperSessionTests, AFanThatCanOnlyBeReadIsReportedAndRefused) {
  helper.run(12);
  helper.fault("vanish F1Tg");
  const auto begun = helper.await(helper.begin(helper.client, helper.id));
  ASSERT_TRUE(begun->succeeded()) << begun->description();
  EXPECT_EQ(booleanEntry(begun->value.at("fans").at(0), HelperReplyKey::fanControllable), true);
  EXPECT_EQ(booleanEntry(begun->value.at("fans").at(1), HelperReplyKey::fanControllable), false);
  EXPECT_EQ(helper.await(helper.setMode(helper.client, 1, true, helper.id))->code(), Code::unsupportedHardware);
  EXPECT_TRUE(helper.writes.empty());
}

TEST_F(HelperSessionTests, ATargetThatFailsInManualModeSaysWhy) {
  helper.takeFans();
  const double since = helper.now();
  const auto outside = helper.await(helper.setTarget(helper.client, 0, 90'000, helper.id));
  EXPECT_EQ(outside->code(), Code::internalFailure);
  EXPECT_NE(outside->description().find("fan 0 target 90000 is outside"), std::string::npos);
  EXPECT_TRUE(helper.writesSince(since, "Tg").empty());
  // Somebody takes the fan away: that is the loss of control, not of one write.
  helper.fault("set-mode 0 0");
  const auto taken = helper.await(helper.setTarget(helper.client, 0, 3500, helper.id));
  EXPECT_EQ(taken->code(), Code::controlUnavailable);
  EXPECT_EQ(taken->description(), "");
}

TEST_F(HelperSessionTests, CommandsAnswerWithTheFan) {
  helper.takeFans();
  const auto target = helper.await(helper.setTarget(helper.client, 1, 3210, helper.id));
  ASSERT_TRUE(target->succeeded());
  EXPECT_EQ(integerEntry(target->value, HelperReplyKey::fanIndex), 1);
  EXPECT_EQ(integerEntry(target->value, HelperReplyKey::fanTarget), 3210);
  EXPECT_EQ(integerEntry(target->value, HelperReplyKey::fanMode), 1);
  const auto released = helper.await(helper.setMode(helper.client, 1, false, helper.id));
  ASSERT_TRUE(released->succeeded());
  EXPECT_EQ(integerEntry(released->value, HelperReplyKey::fanMode), 0);
  EXPECT_EQ(helper.modes(), (std::vector<int>{1, 0}));
}

TEST_F(HelperSessionTests, ResetAllKeepsTheSession) {
  helper.takeFans();
  const auto reset = helper.await(helper.resetAll(helper.client, helper.id));
  ASSERT_TRUE(reset->succeeded()) << reset->description();
  EXPECT_EQ(integerEntry(reset->value, HelperReplyKey::fan0Mode), 0);
  EXPECT_EQ(integerEntry(reset->value, HelperReplyKey::fan1Mode), 0);
  EXPECT_EQ(helper.modes(), (std::vector<int>{0, 0}));
  EXPECT_FALSE(helper.lockIsFree());
  EXPECT_TRUE(helper.await(helper.setMode(helper.client, 0, true, helper.id))->succeeded());
  helper.run(5);
  EXPECT_EQ(helper.modes(), (std::vector<int>{1, 0})) << "a fan taken after the hand-back belongs to the session";
}

}  // namespace
}  // namespace halcyra::test
