// What the helper's answers hold, and handing back without a daemon, as the command for it does.

#include <cstdio>
#include <unistd.h>

#include "gtest/gtest.h"

#include "Daemon/FanHandBack.h"
#include "Support/HelperRig.h"
#include "XPC/HelperReplyKey.h"
#include "XPC/HelperXPCError.h"

namespace halcyra::test {
namespace {

namespace Selector = FanControlHelperSelector;

class HelperReportTests : public testing::Test {
 protected:
  HelperReportTests() {
    rig.start();
    rig.scheduler.runFor(Seconds{12});
  }
  HelperReply ask(std::string_view selector, const PropertyList& arguments) {
    HelperReply answer;
    rig.send('1', std::string(selector), arguments, [&](const HelperReply& reply) { answer = reply; });
    rig.scheduler.runFor(Seconds{3});
    return answer;
  }
  const std::string id = "6F9619FF-8B86-4D11-B42D-00CF4FC964FF";
  HelperRig rig;
};

TEST_F(HelperReportTests, ASessionBeginsWithAReportOfEveryFan) {
  rig.observer.applyFault("set-mode 1 1 4000");
  rig.observer.applyFault("vanish F1Tg");
  const auto begun = ask(Selector::beginSession, {id});
  ASSERT_FALSE(begun.error);
  const PropertyList& status = begun.value;
  EXPECT_EQ(integerEntry(status, HelperReplyKey::protocolVersion), 1);
  EXPECT_EQ(integerEntry(status, HelperReplyKey::fanCount), 2);
  EXPECT_EQ(integerEntry(status, HelperReplyKey::fanTestMode), 0);
  const PropertyList* fans = dictionaryArrayEntry(status, HelperReplyKey::fans);
  ASSERT_TRUE(fans != nullptr && fans->size() == 2U);
  const std::string_view flatMaximum[] = {HelperReplyKey::fan0Maximum, HelperReplyKey::fan1Maximum};
  const std::string_view flatMode[] = {HelperReplyKey::fan0Mode, HelperReplyKey::fan1Mode};
  for (const int index : {0, 1}) {
    const PropertyList& fan = fans->at(static_cast<std::size_t>(index));
    const VirtualFanState truth = rig.observer.state().fans.at(static_cast<std::size_t>(index));
    EXPECT_EQ(integerEntry(fan, HelperReplyKey::fanIndex), index);
    EXPECT_EQ(integerEntry(fan, HelperReplyKey::fanMode), truth.mode) << "a foreign mode is reported, not touched";
    EXPECT_EQ(booleanEntry(fan, HelperReplyKey::fanControllable), index == 0);
    EXPECT_EQ(integerEntry(fan, HelperReplyKey::fanMinimum), truth.minimum);
    EXPECT_EQ(integerEntry(fan, HelperReplyKey::fanMaximum), truth.maximum);
    EXPECT_EQ(integerEntry(fan, HelperReplyKey::fanTarget).has_value(), index == 0);
    EXPECT_TRUE(integerEntry(fan, HelperReplyKey::fanActual));
    EXPECT_EQ(integerEntry(status, flatMaximum[index]), truth.maximum);
    EXPECT_EQ(integerEntry(status, flatMode[index]), truth.mode);
  }
  EXPECT_TRUE(rig.writes.empty());
  ASSERT_FALSE(ask(Selector::setFanMode, {0, true, id}).error);
  const auto target = ask(Selector::setFanTargetRPM, {0, 3210, id});
  EXPECT_EQ(integerEntry(target.value, HelperReplyKey::fanIndex), 0);
  EXPECT_EQ(integerEntry(target.value, HelperReplyKey::fanTarget), 3210);
  EXPECT_EQ(integerEntry(target.value, HelperReplyKey::fanMode), 1);
}

TEST_F(HelperReportTests, WhatCannotBeReadIsLeftOut) {
  for (const char* fault : {"vanish F0Ac", "result-read F1Md 0x85", "vanish Ftst"}) rig.observer.applyFault(fault);
  const auto answer = ask(Selector::status, PropertyList::array());
  ASSERT_FALSE(answer.error);
  const PropertyList& fans = answer.value.at("fans");
  EXPECT_EQ(entry(fans.at(0), HelperReplyKey::fanActual), nullptr);
  EXPECT_EQ(integerEntry(fans.at(0), HelperReplyKey::fanMode), 0);
  EXPECT_EQ(entry(fans.at(1), HelperReplyKey::fanMode), nullptr) << "an unknown mode must not look clean";
  EXPECT_EQ(entry(answer.value, HelperReplyKey::fan1Mode), nullptr);
  EXPECT_EQ(entry(answer.value, HelperReplyKey::fanTestMode), nullptr);
}

TEST_F(HelperReportTests, ALockThatIsALinkIsRefused) {
  std::remove(rig.lockFile.c_str());
  ASSERT_EQ(symlink("/dev/null", rig.lockFile.c_str()), 0);
  const auto refused = ask(Selector::beginSession, {id});
  ASSERT_TRUE(refused.error);
  EXPECT_EQ(refused.error->code, static_cast<std::int64_t>(HelperXPCError::Code::internalFailure));
  EXPECT_NE(refused.error->localizedDescription().find("Unable to secure the Aerovane control lock"),
            std::string::npos);
  EXPECT_FALSE(rig.hasSession());
}

class ReleaseAllTests : public testing::Test {
 protected:
  ReleaseAllTests() {
    rig.observer.applyFault("set-mode 0 1 4000");
    rig.observer.applyFault("set-mode 1 1 4000");
  }
  HandBackReport release(bool isPrivileged = true) {
    VirtualMacIOKit iokit(rig.machine, rig.scheduler.clock(), isPrivileged);
    IOKitSMCBridge smc(iokit, rig.scheduler.clock(), SMCWriteCapability::privilegedHelper, nullptr);
    return releaseAllFans(smc, rig.log);
  }
  HelperRig rig;
};

TEST_F(ReleaseAllTests, EveryFanIsCommandedWhateverItsModeReads) {
  rig.observer.applyFault("value F0Md 0");
  const HandBackReport report = release();
  EXPECT_FALSE(report.failed());
  EXPECT_EQ(report.failureText(), "");
  ASSERT_EQ(report.fans.size(), 2U);
  EXPECT_FALSE(report.fans[0].failure || report.fans[1].failure);
  EXPECT_EQ(rig.modes(), (std::vector<int>{0, 0}));
}

TEST_F(ReleaseAllTests, WhatCannotBeDoneIsSaid) {
  EXPECT_TRUE(release(false).failed());
  EXPECT_EQ(rig.modes(), (std::vector<int>{1, 1}));
  rig.observer.applyFault("result F0Md 0x85");
  const HandBackReport report = release();
  EXPECT_TRUE(report.failed());
  ASSERT_EQ(report.fans.size(), 2U);
  EXPECT_TRUE(report.fans[0].failure);
  EXPECT_FALSE(report.fans[1].failure);
  EXPECT_EQ(rig.modes(), (std::vector<int>{1, 0}));
  rig.observer.applyFault("driver-gone");
  const HandBackReport gone = release();
  EXPECT_TRUE(gone.failed() && gone.unreachable);
  EXPECT_FALSE(gone.failureText().empty());
}

TEST(FanModeKeyTests, OnlyModeKeysNameAFan) {
  EXPECT_EQ(fanOfModeKey(SMCKey::fromString("F0Md")), 0);
  EXPECT_EQ(fanOfModeKey(SMCKey::fromString("F9Md")), 9);
  for (const char* other : {"F0Tg", "FAMd", "G0Md", "F0md", "Ftst"}) {
    EXPECT_FALSE(fanOfModeKey(SMCKey::fromString(other))) << other;
  }
}

}  // namespace
}  // namespace halcyra::test
