#include "gtest/gtest.h"

#include "Helpers/SensorReader.h"
#include "SMC/IOKitSMCBridge.h"
#include "Support/ManualClock.h"
#include "Support/VirtualMacIOKit.h"
#include "VirtualMac/MachineBench.h"

namespace halcyra::test {
namespace {

/// The program's own SMC access over the simulated machine.
class MachineUnderAccess : public testing::Test {
 protected:
  ManualClock clock_;
  MachineBench bench_{"sustained", 4};
  VirtualMacIOKit iokit_{bench_.machine, clock_, true};
  IOKitSMCBridge bridge_{iokit_, clock_, SMCWriteCapability::privilegedHelper, nullptr};
};

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
