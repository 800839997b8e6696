#include <functional>
#include <gtest/gtest.h>

#include "SMC/FanCapability.h"
#include "Support/FakeSystemInformation.h"
#include "Support/ManualClock.h"
#include "Support/ScriptedSMC.h"

namespace halcyra {
namespace {

using test::ManualClock;
using test::ScriptedSMC;

class FanCapabilityProbeTest : public testing::Test {
 protected:
  HardwareCapabilities probe() { return FanCapabilityProbe(smc).probe(); }

  ManualClock clock;
  ScriptedSMC smc{clock};
};

TEST_F(FanCapabilityProbeTest, reportsEveryFanInOrderAcrossGaps) {
  smc.addFan(9);
  smc.addFan(2);
  smc.addFan(0, 1200, 6500);
  smc.setUInt8("Ftst", 0);
  const HardwareCapabilities found = probe();
  EXPECT_EQ(found.fanIndices(), (std::vector<int>{0, 2, 9}));
  EXPECT_TRUE(found.hasDiagnosticLock);
  const FanCapability expected{.index = 0,
                               .canReadRPM = true,
                               .canSwitchMode = true,
                               .canSetTarget = true,
                               .minimumRPM = 1200,
                               .maximumRPM = 6500};
  ASSERT_NE(found.fan(0), nullptr);
  EXPECT_EQ(*found.fan(0), expected);
  EXPECT_EQ(found.fan(1), nullptr);
  EXPECT_TRUE(smc.writes().empty());
}

TEST_F(FanCapabilityProbeTest, aFanCountsAsControllableOnlyWhenEverythingFits) {
  struct Case {
    const char* name;
    std::function<void(ScriptedSMC&)> change;
    bool isControllable;
  };
  const SMCValue byte = SMCValue::makeUInt8(0);
  const SMCValue speed = SMCValue::makeFloat(2000);
  const Case cases[] = {
      {"as it is", [](ScriptedSMC&) {}, true},
      {"no mode", [](ScriptedSMC& it) { it.removeKey("F0Md"); }, false},
      {"mode read-only", [&](ScriptedSMC& it) { it.setKey("F0Md", "ui8", 1, byte, 0xBF); }, false},
      {"mode of two bytes", [&](ScriptedSMC& it) { it.setKey("F0Md", "ui8", 2, byte); }, false},
      {"mode of another type", [&](ScriptedSMC& it) { it.setKey("F0Md", "flag", 1, byte); }, false},
      {"no target", [](ScriptedSMC& it) { it.removeKey("F0Tg"); }, false},
      {"target of two bytes", [&](ScriptedSMC& it) { it.setKey("F0Tg", "fpe2", 2, speed); }, false},
      {"minimum zero", [](ScriptedSMC& it) { it.setFloat("F0Mn", 0); }, false},
      {"no maximum", [](ScriptedSMC& it) { it.removeKey("F0Mx"); }, false},
      {"bounds crossed", [](ScriptedSMC& it) { it.setFloat("F0Mx", 1199); }, false},
      {"bounds equal", [](ScriptedSMC& it) { it.setFloat("F0Mx", 1200); }, true},
  };
  for (const Case& each : cases) {
    ScriptedSMC machine(clock);
    machine.addFan(0, 1200, 6500);
    each.change(machine);
    const HardwareCapabilities found = FanCapabilityProbe(machine).probe();
    ASSERT_EQ(found.fans.size(), 1U) << each.name;
    EXPECT_EQ(found.fans[0].isControllable(), each.isControllable) << each.name;
  }
}

TEST_F(FanCapabilityProbeTest, aFanWithItsSpeedAloneIsReportedForMonitoringAndBoundsAloneMakeNone) {
  smc.setFloat("F0Ac", 1500);
  smc.setFloat("F0Mn", 0);
  smc.setFloat("F1Mn", 1200);
  smc.setFloat("F1Mx", 6500);
  const FanCapability expected{.index = 0, .canReadRPM = true};
  EXPECT_EQ(probe().fans, std::vector<FanCapability>{expected});
  EXPECT_FALSE(probe().hasDiagnosticLock);
}

TEST_F(FanCapabilityProbeTest, whatIsNoFailureOfTheSMCMustNotPassForAMissingFan) {
  smc.addFan(0);
  smc.setReadHook([](const std::string&, int) { throw std::runtime_error("overtaken"); });
  EXPECT_THROW(probe(), std::runtime_error);
}

TEST(HardwareCapabilitiesTest, theSupervisedFanIsTheFirstControllableOneElseTheFirst) {
  const FanCapability monitored{.index = 0, .canReadRPM = true};
  const FanCapability controllable{
      .index = 1, .canSwitchMode = true, .canSetTarget = true, .minimumRPM = 1, .maximumRPM = 1};
  EXPECT_EQ((HardwareCapabilities{{monitored, controllable}, false}).supervisedFanIndex(), 1);
  EXPECT_EQ((HardwareCapabilities{{monitored}, false}).supervisedFanIndex(), 0);
  EXPECT_EQ(HardwareCapabilities{}.supervisedFanIndex(), std::nullopt);
}

TEST(CompetingFanControllerDetectorTest, reportsTheFirstOtherProcessWhosePathEndsAsAKnownOne) {
  const std::string tgPro = "/a/com.tunabellysoftware.tgfanhelper";
  const std::string macsFanControl = "/Library/PrivilegedHelperTools/com.crystalidea.macsfancontrol.smcwrite";
  test::FakeSystemInformation system;
  int process = 50;
  for (const char* other : {"/Library/com.tunabellysoftware.tgfanhelper.old", "com.tunabellysoftware.tgfanhelper",
                            "/x/com.tunabellysoftware.TGFanHelper", "/x/acom.tunabellysoftware.tgfanhelper", ""}) {
    system.setProcess(++process, other);
  }
  system.setProcess(1, std::nullopt);
  system.setProcess(test::FakeSystemInformation::ownProcessID, macsFanControl);
  EXPECT_EQ(CompetingFanControllerDetector::runningControllerDetails(system), std::nullopt);
  system.setProcess(90, macsFanControl);
  EXPECT_EQ(CompetingFanControllerDetector::runningController(system), "Macs Fan Control");
  system.setProcess(40, tgPro);
  EXPECT_EQ(CompetingFanControllerDetector::runningControllerDetails(system),
            (CompetingFanController{"TG Pro", tgPro, 40}));
}

}  // namespace
}  // namespace halcyra
