#include <functional>
#include <gtest/gtest.h>
#include <map>

#include "SMC/FanCapability.h"
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

TEST_F(FanCapabilityProbeTest, aMachineWithoutFansIsFine) {
  EXPECT_EQ(probe(), HardwareCapabilities{});
  EXPECT_EQ(probe().supervisedFanIndex(), std::nullopt);
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
      {"no actual speed", [](ScriptedSMC& it) { it.removeKey("F0Ac"); }, true},
      {"no mode", [](ScriptedSMC& it) { it.removeKey("F0Md"); }, false},
      {"mode read-only", [&](ScriptedSMC& it) { it.setKey("F0Md", "ui8", 1, byte, 0xBF); }, false},
      {"mode of two bytes", [&](ScriptedSMC& it) { it.setKey("F0Md", "ui8", 2, byte); }, false},
      {"mode of another type", [&](ScriptedSMC& it) { it.setKey("F0Md", "flag", 1, byte); }, false},
      {"no target", [](ScriptedSMC& it) { it.removeKey("F0Tg"); }, false},
      {"target read-only", [&](ScriptedSMC& it) { it.setKey("F0Tg", "flt", 4, speed, 0); }, false},
      {"target of two bytes", [&](ScriptedSMC& it) { it.setKey("F0Tg", "fpe2", 2, speed); }, false},
      {"no minimum", [](ScriptedSMC& it) { it.removeKey("F0Mn"); }, false},
      {"minimum zero", [](ScriptedSMC& it) { it.setFloat("F0Mn", 0); }, false},
      {"minimum unusable", [](ScriptedSMC& it) { it.setFloat("F0Mn", -1); }, false},
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

TEST_F(FanCapabilityProbeTest, aFanWithItsSpeedAloneIsReportedForMonitoring) {
  smc.setFloat("F0Ac", 1500);
  smc.setFloat("F0Mn", 0);
  const FanCapability expected{.index = 0, .canReadRPM = true};
  EXPECT_EQ(probe().fans, std::vector<FanCapability>{expected});
  EXPECT_FALSE(probe().hasDiagnosticLock);
}

TEST_F(FanCapabilityProbeTest, boundsAloneMakeNoFan) {
  smc.setFloat("F0Mn", 1200);
  smc.setFloat("F0Mx", 6500);
  EXPECT_TRUE(probe().fans.empty());
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

class ProcessTable : public SystemInformation {
 public:
  std::optional<std::string> sysctlString(const std::string&) const override { return std::nullopt; }
  std::vector<std::int32_t> listAllProcessIDs() const override { return order; }
  std::optional<std::string> processPath(std::int32_t process) const override {
    const auto found = paths.find(process);
    return found == paths.end() ? std::nullopt : std::optional(found->second);
  }
  std::int32_t processID() const override { return 100; }

  std::vector<std::int32_t> order;
  std::map<std::int32_t, std::string> paths;
};

TEST(CompetingFanControllerDetectorTest, matchesTheExactEndOfAPath) {
  using CompetingFanControllerDetector::controllerName;
  EXPECT_EQ(controllerName("/Library/PrivilegedHelperTools/com.crystalidea.macsfancontrol.smcwrite"),
            "Macs Fan Control");
  EXPECT_EQ(controllerName("/com.tunabellysoftware.tgfanhelper"), "TG Pro");
  for (const char* other : {"/Library/com.tunabellysoftware.tgfanhelper.old", "com.tunabellysoftware.tgfanhelper",
                            "/x/com.tunabellysoftware.TGFanHelper", "/x/acom.tunabellysoftware.tgfanhelper", ""}) {
    EXPECT_EQ(controllerName(other), std::nullopt) << other;
  }
}

TEST(CompetingFanControllerDetectorTest, reportsTheFirstOtherProcessThatMatches) {
  const std::string first = "/a/com.tunabellysoftware.tgfanhelper";
  const std::string second = "/b/com.crystalidea.macsfancontrol.smcwrite";
  ProcessTable system;
  EXPECT_EQ(CompetingFanControllerDetector::runningControllerDetails(system), std::nullopt);
  system.order = {1, 100, 7, 40, 30};
  system.paths = {{1, "/sbin/init"}, {100, second}};
  EXPECT_EQ(CompetingFanControllerDetector::runningControllerDetails(system), std::nullopt);
  EXPECT_EQ(CompetingFanControllerDetector::runningController(system), std::nullopt);
  system.paths[30] = second;
  system.paths[40] = first;
  EXPECT_EQ(CompetingFanControllerDetector::runningControllerDetails(system),
            (CompetingFanController{"TG Pro", first, 40}));
  EXPECT_EQ(CompetingFanControllerDetector::runningController(system), "TG Pro");
}

}  // namespace
}  // namespace halcyra
