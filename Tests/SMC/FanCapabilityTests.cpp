#include <gtest/gtest.h>

#include "SMC/FanCapability.h"
#include "Support/FakeSystemInformation.h"
#include "Support/ManualClock.h"
#include "Support/ScriptedSMC.h"
#include "Support/Values.h"

namespace halcyra {
namespace {

using test::ManualClock;
using test::ScriptedSMC;

TEST(FanCapabilityProbeTest, reportsEveryFanInOrderAcrossGapsAndOneWithItsSpeedAloneForMonitoring) {
  ManualClock clock;
  ScriptedSMC smc(clock);
  smc.setFloat("F9Ac", 1500);
  smc.setFloat("F9Mn", 0);
  smc.addFan(2, 1200, 6500);
  smc.setFloat("F0Mn", 1200);  // bounds alone make no fan
  smc.setFloat("F0Mx", 6500);
  EXPECT_FALSE(FanCapabilityProbe(smc).probe().hasDiagnosticLock);
  smc.setUInt8("Ftst", 0);
  const HardwareCapabilities found = FanCapabilityProbe(smc).probe();
  const FanCapability second{2, true, true, true, 1200, 6500};
  EXPECT_EQ(found.fans, (std::vector<FanCapability>{second, {.index = 9, .canReadRPM = true}}));
  EXPECT_TRUE(found.hasDiagnosticLock);
  EXPECT_EQ(*found.fan(2), second);
  EXPECT_EQ(found.fan(1), nullptr);
  EXPECT_EQ(found.supervisedFanIndex(), 2);
  EXPECT_EQ((HardwareCapabilities{{found.fans[1], second}, false}).supervisedFanIndex(), 2) << "the controllable one";
  EXPECT_EQ((HardwareCapabilities{{found.fans[1]}, false}).supervisedFanIndex(), 9) << "else the first";
  EXPECT_EQ(HardwareCapabilities{}.supervisedFanIndex(), std::nullopt);
  EXPECT_TRUE(smc.writes().empty());
  // What is no failure of the SMC must not pass for a missing fan.
  smc.setReadHook([](const std::string&, int) { throw std::runtime_error("overtaken"); });
  EXPECT_THROW(FanCapabilityProbe(smc).probe(), std::runtime_error);
}

TEST(FanCapabilityProbeTest, aFanCountsAsControllableOnlyWhenEverythingFits) {
  using Machine = ScriptedSMC&;
  const SMCValue byte = SMCValue::makeUInt8(0);
  const SMCValue speed = SMCValue::makeFloat(2000);
  for (const auto& [name, change, isControllable] : test::Table<const char*, std::function<void(Machine)>, bool>{
           {"as it is", [](Machine) {}, true},
           {"no mode", [](Machine it) { it.removeKey("F0Md"); }, false},
           {"mode read-only", [&](Machine it) { it.setKey("F0Md", "ui8", 1, byte, 0xBF); }, false},
           {"mode of two bytes", [&](Machine it) { it.setKey("F0Md", "ui8", 2, byte); }, false},
           {"mode of another type", [&](Machine it) { it.setKey("F0Md", "flag", 1, byte); }, false},
           {"no target", [](Machine it) { it.removeKey("F0Tg"); }, false},
           {"target of two bytes", [&](Machine it) { it.setKey("F0Tg", "fpe2", 2, speed); }, false},
           {"minimum zero", [](Machine it) { it.setFloat("F0Mn", 0); }, false},
           {"no maximum", [](Machine it) { it.removeKey("F0Mx"); }, false},
           {"bounds crossed", [](Machine it) { it.setFloat("F0Mx", 1199); }, false},
           {"bounds equal", [](Machine it) { it.setFloat("F0Mx", 1200); }, true}}) {
    ManualClock clock;
    ScriptedSMC smc(clock);
    smc.addFan(0, 1200, 6500);
    change(smc);
    EXPECT_EQ(FanCapabilityProbe(smc).probe().fans.at(0).isControllable(), isControllable) << name;
  }
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
