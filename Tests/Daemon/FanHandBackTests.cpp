// Handing back without a daemon, as the command for it does.

#include "gtest/gtest.h"

#include "Daemon/FanHandBack.h"
#include "Daemon/HelperHarness.h"

namespace halcyra::test {
namespace {

class ReleaseAllTests : public testing::Test {
 protected:
  ReleaseAllTests() : iokit(harness.machine, harness.scheduler.clock(), true), smc(makeBridge(iokit)) {}

  std::unique_ptr<IOKitSMCBridge> makeBridge(IOKit& driver) {
    return std::make_unique<IOKitSMCBridge>(driver, harness.scheduler.clock(), SMCWriteCapability::privilegedHelper,
                                            nullptr);
  }

  HelperHarness harness;
  VirtualMacIOKit iokit;
  std::unique_ptr<IOKitSMCBridge> smc;
};

TEST_F(ReleaseAllTests, EveryFanIsCommandedAndReported) {
  iokit.applyFault("value F0Md 0");
  iokit.applyFault("set-mode 0 1 4000");
  iokit.applyFault("set-mode 1 1 4000");
  const HandBackReport report = releaseAllFans(*smc, harness.log);
  EXPECT_FALSE(report.failed());
  EXPECT_EQ(report.failureText(), "");
  ASSERT_EQ(report.fans.size(), 2U);
  EXPECT_FALSE(report.fans[0].failure || report.fans[1].failure);
  EXPECT_EQ(harness.modes(), (std::vector<int>{0, 0}));
  EXPECT_FALSE(harness.writesSince(0, "F0Md").empty()) << "a command, whatever the mode reads";
  EXPECT_FALSE(harness.writesSince(0, "F1Md").empty());
}

TEST_F(ReleaseAllTests, WhatCannotBeDoneIsSaid) {
  iokit.applyFault("set-mode 0 1 4000");
  iokit.applyFault("set-mode 1 1 4000");
  iokit.applyFault("result F0Md 0x85");
  const HandBackReport report = releaseAllFans(*smc, harness.log);
  EXPECT_TRUE(report.failed());
  ASSERT_EQ(report.fans.size(), 2U);
  EXPECT_TRUE(report.fans[0].failure);
  EXPECT_FALSE(report.fans[1].failure);
  EXPECT_EQ(harness.modes(), (std::vector<int>{1, 0}));
}

TEST_F(ReleaseAllTests, WithoutPrivilegeOrDriverItFails) {
  iokit.applyFault("set-mode 0 1 4000");
  VirtualMacIOKit unprivileged(harness.machine, harness.scheduler.clock(), false);
  const auto weak = makeBridge(unprivileged);
  EXPECT_TRUE(releaseAllFans(*weak, harness.log).failed());
  EXPECT_EQ(harness.modes(), (std::vector<int>{1, 0}));

  iokit.applyFault("driver-gone");
  const HandBackReport gone = releaseAllFans(*smc, harness.log);
  EXPECT_TRUE(gone.failed());
  EXPECT_TRUE(gone.unreachable);
  EXPECT_FALSE(gone.failureText().empty());
}

TEST(HandBackOrderTests, AFanThatNeverObeysDelaysNoOtherThatRefusesAtFirst) {
  HelperHarness helper;
  helper.start();
  helper.takeFans();
  helper.fault("never-latch F0Md");
  helper.fault("result F1Md 0x82 3");
  helper.end(helper.client, helper.id);
  helper.run(2);
  EXPECT_EQ(helper.modes(), (std::vector<int>{1, 0})) << "fan 0 is still waited for, fan 1 is not to wait with it";
}

TEST(HandBackOrderTests, AFanThatReadsAutomaticIsCommandedAllTheSame) {
  HelperHarness helper;
  helper.start();
  helper.takeFans();
  helper.fault("value F0Md 0");
  helper.fault("freeze F1Md");
  const double asked = helper.now();
  helper.end(helper.client, helper.id);
  helper.run(2);
  EXPECT_FALSE(helper.writesSince(asked, "F0Md").empty());
  EXPECT_EQ(helper.modes(), (std::vector<int>{0, 0}));
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
