#include "gtest/gtest.h"

#include "Helpers/SensorReader.h"
#include "SMC/FanController.h"
#include "SMC/IOKitSMCBridge.h"
#include "Support/CapturingLogSink.h"
#include "Support/ManualClock.h"
#include "Support/VirtualMacIOKit.h"
#include "VirtualMac/MachineBench.h"

namespace halcyra::test {
namespace {

/// The program's own SMC access over the simulated machine.
class MachineUnderAccess : public testing::Test {
 protected:
  ManualClock clock_;
  CapturingLogSink sink_;
  MachineBench bench_{"sustained", 4};
  VirtualMacIOKit iokit_{bench_.machine, clock_, true};
  IOKitSMCBridge bridge_{iokit_, clock_, SMCWriteCapability::privilegedHelper, nullptr};
};

TEST_F(MachineUnderAccess, ConnectionsAndServicesAreAccountedFor) {
  bridge_.open();
  EXPECT_EQ(iokit_.openConnections(), 1U);
  EXPECT_EQ(iokit_.heldServices(), 0U);
  bridge_.close();
  EXPECT_EQ(iokit_.openConnections(), 0U);
  EXPECT_EQ(iokit_.IOServiceGetMatchingService(kIOMainPortDefault, iokit_.IOServiceMatching("AppleHPM")), 0U);
  SMCParamStruct record;
  std::size_t size = sizeof record;
  EXPECT_EQ(iokit_.IOConnectCallStructMethod(77, 2, &record, sizeof record, &record, &size), kIOReturnNotOpen);
  iokit_.applyFault("driver-gone");
  EXPECT_THROW(bridge_.open(), SMCError);
  iokit_.applyFault("clear");
  EXPECT_NO_THROW(bridge_.open());
}

TEST_F(MachineUnderAccess, CallsOfTheWrongShapeAreRefused) {
  io_connect_t connection = 0;
  const auto service = iokit_.IOServiceGetMatchingService(0, iokit_.IOServiceMatching("AppleSMC"));
  ASSERT_EQ(iokit_.IOServiceOpen(service, mach_task_self_, 0, &connection), kIOReturnSuccess);
  SMCParamStruct record;
  std::size_t size = sizeof record;
  EXPECT_EQ(iokit_.IOConnectCallStructMethod(connection, 1, &record, 80, &record, &size), kIOReturnBadArgument);
  EXPECT_EQ(iokit_.IOConnectCallStructMethod(connection, 2, &record, 79, &record, &size), kIOReturnBadArgument);
  size = 79;
  EXPECT_EQ(iokit_.IOConnectCallStructMethod(connection, 2, &record, 80, &record, &size), kIOReturnBadArgument);
  EXPECT_EQ(iokit_.state().calls, 0U);
}

TEST_F(MachineUnderAccess, TopologyIsValidAndEverySensorPlausible) {
  bridge_.open();
  SensorReader reader(bridge_);
  clock_.sleep(Seconds{600});
  const auto average = reader.readCPUCoreAverage();
  EXPECT_TRUE(average.hasValidatedFanZoneTopology);
  EXPECT_EQ(average.contributingKeys.size(), 16U);
  EXPECT_EQ(average.gpuContributingKeys.size(), 8U);
  EXPECT_TRUE(average.hotspotTemperature.has_value());
  EXPECT_TRUE(average.gpuHotspotTemperature.has_value());
  ASSERT_EQ(average.fanZoneReadings.size(), 2U);
  EXPECT_TRUE(average.fanZoneReadings[0].localChassisTemperature.has_value());
  EXPECT_TRUE(average.fanZoneReadings[1].localChassisTemperature.has_value());
  EXPECT_EQ(reader.readAllTemperatures().size(), iokit_.state().temperatures.size());
}

TEST_F(MachineUnderAccess, AFanIsTakenDrivenAndHandedBack) {
  bridge_.open();
  FanController controller(bridge_, sink_);
  ASSERT_EQ(controller.discoverFans(), 2);
  EXPECT_TRUE(controller.probeCapabilities().hasDiagnosticLock);
  for (int round = 0; round < 20; ++round) {
    for (int fan = 0; fan < 2; ++fan) {
      controller.setFanMode(fan, FanMode::manual);
      controller.setFanRPM(fan, 5000);
      EXPECT_EQ(controller.getFanInfo(fan).targetRPM, 5000);
      controller.resetToAuto(fan);
      EXPECT_EQ(controller.getFanInfo(fan).mode, FanMode::automatic);
    }
  }
  EXPECT_LT(clock_.steadyNow().time_since_epoch(), Seconds{120});
}

TEST_F(MachineUnderAccess, SlowCallsTakeTheirTime) {
  bridge_.open();
  iokit_.applyFault("slow 250");
  const Instant before = clock_.steadyNow();
  static_cast<void>(bridge_.readTemperature(SMCKey::fromString("Tf04")));
  EXPECT_EQ(clock_.steadyNow() - before, Seconds{0.5}) << "key info and bytes";
}

TEST_F(MachineUnderAccess, AnUnprivilegedProcessReadsAndCannotWrite) {
  VirtualMacIOKit ordinary(bench_.machine, clock_, false);
  IOKitSMCBridge bridge(ordinary, clock_, SMCWriteCapability::privilegedHelper, nullptr);
  bridge.open();
  EXPECT_GT(bridge.readTemperature(SMCKey::fromString("Tf04")), 20);
  EXPECT_THROW(bridge.writeKeyUnverified(SMCKey::fan0Mode, SMCValue::makeUInt8(1)), SMCError);
  clock_.sleep(Seconds{5});
  EXPECT_EQ(ordinary.state().fans[0].mode, 0);
  EXPECT_EQ(ordinary.state().writes, 0U);
}

}  // namespace
}  // namespace halcyra::test
