#include <gtest/gtest.h>

#include "Helpers/SensorReader.h"
#include "Support/ManualClock.h"
#include "Support/ScriptedSMC.h"

namespace halcyra {
namespace {

using test::ManualClock;
using test::ScriptedSMC;
using Names = std::vector<std::string>;

/// A machine whose banks are each at one temperature.
class FanZoneTest : public testing::Test {
 protected:
  void setAll(std::span<const SMCKey> keys, double value) {
    for (const SMCKey key : keys) smc.setFloat(stringFromKey(key), value);
  }
  void setCPU(double efficiency, double bankA, double bankB) {
    setAll(SensorReader::m3EfficiencyCoreKeys, efficiency);
    setAll(SensorReader::m3PerformanceBankAKeys, bankA);
    setAll(SensorReader::m3PerformanceBankBKeys, bankB);
  }
  void setGPU(double bankA, double bankB) {
    setAll(SensorReader::m3GPUClusterBankAKeys, bankA);
    setAll(SensorReader::m3GPUClusterBankBKeys, bankB);
  }
  void setChassis(double left, double right) {
    setAll(SensorReader::m3LeftChassisKeys, left);
    setAll(SensorReader::m3RightChassisKeys, right);
  }
  std::pair<FanZoneReading, FanZoneReading> zones() {
    const std::vector<FanZoneReading> readings = SensorReader(smc).readCPUCoreAverage().fanZoneReadings;
    if (readings.size() != 2) {
      ADD_FAILURE() << readings.size() << " zones";
      return {};
    }
    return {readings[0], readings[1]};
  }

  ManualClock clock;
  ScriptedSMC smc{clock};
};

TEST_F(FanZoneTest, mixesOwnBankOtherBankAndEfficiencyCores) {
  setCPU(40, 60, 80);
  const auto [left, right] = zones();
  // Own banks with 15 % of the efficiency cores: 57 and 74.
  EXPECT_NEAR(left.temperature, 0.8 * 57 + 0.2 * 74, 1e-9);
  EXPECT_NEAR(right.temperature, 0.2 * 57 + 0.8 * 74, 1e-9);
  EXPECT_EQ(left.temperature, left.localComputeTemperature);
  EXPECT_EQ(left.localChassisTemperature, std::nullopt);
  EXPECT_EQ(left.zoneName, "Left");
  EXPECT_EQ(left.driver, "CPU core bank A");
  EXPECT_EQ(left.contributingKeys,
            (Names{"Te05", "Te0L", "Te0P", "Te0S", "Tf04", "Tf09", "Tf0A", "Tf0B", "Tf0D", "Tf0E"}));
  EXPECT_EQ(right.fanIndex, left.fanIndex + 1);
  EXPECT_EQ(right.zoneName, "Right");
  EXPECT_EQ(right.driver, "CPU core bank B");
  EXPECT_EQ(right.contributingKeys,
            (Names{"Te05", "Te0L", "Te0P", "Te0S", "Tf44", "Tf49", "Tf4A", "Tf4B", "Tf4D", "Tf4E"}));
}

TEST_F(FanZoneTest, theHotterGPUDrivesItsOwnSideAndTheCPUWhenTheyAreEqual) {
  setCPU(64, 64, 64);
  setGPU(64, 64);
  EXPECT_EQ(zones().first.driver, "CPU core bank A");
  setCPU(50, 50, 50);
  setGPU(40, 70);
  const auto [left, right] = zones();
  EXPECT_EQ(left.driver, "CPU core bank A");
  EXPECT_NEAR(right.temperature, 0.8 * 70 + 0.2 * 40, 1e-9);
  EXPECT_EQ(right.driver, "GPU cluster bank B");
  EXPECT_EQ(right.contributingKeys, (Names{"Tf24", "Tf28", "Tf29", "Tf2A"}));
  setGPU(90, 40);
  EXPECT_EQ(zones().first.driver, "GPU cluster bank A");
  EXPECT_EQ(zones().first.contributingKeys, (Names{"Tf14", "Tf18", "Tf19", "Tf1A"}));
}

TEST_F(FanZoneTest, aBankThatDropsOutIsReplacedByTheAverageAndEfficiencyCoresByNothing) {
  setCPU(50, 60, 70);
  const auto fail = [this](std::span<const SMCKey> keys) {
    for (const SMCKey key : keys) smc.failReads(stringFromKey(key), SMCError::readFailed("gone"));
  };
  SensorReader reader(smc);
  fail(std::span(SensorReader::m3PerformanceBankAKeys).first(4));
  reader.readCPUCoreAverage();
  fail(SensorReader::m3PerformanceBankAKeys);
  const CPUCoreAverage average = reader.readCPUCoreAverage();
  ASSERT_EQ(average.contributingKeys.size(), 10U);
  // The mean of four channels at 50 and six at 70 is 62; with the efficiency cores 60.2, the right bank 67.
  EXPECT_NEAR(average.fanZoneReadings.at(0).temperature, 0.8 * 60.2 + 0.2 * 67, 1e-9);

  setCPU(40, 60, 80);
  for (const SMCKey key : SensorReader::m3PerformanceBankAKeys) smc.failReads(stringFromKey(key), std::nullopt);
  fail(SensorReader::m3EfficiencyCoreKeys);
  const auto [left, right] = zones();
  EXPECT_NEAR(left.temperature, 0.8 * 60 + 0.2 * 80, 1e-9);
  EXPECT_NEAR(right.temperature, 0.2 * 60 + 0.8 * 80, 1e-9);
}

TEST_F(FanZoneTest, theWarmerChassisSideIsRaisedAndTheOtherLowered) {
  struct Case {
    double left, right, bias;
  };
  setCPU(50, 50, 50);
  for (const Case& each :
       {Case{40, 30, 2.5}, Case{30, 40, -2.5}, Case{34, 30, 1.4}, Case{15, 15, 0}, Case{85, 83, 0.7}}) {
    setChassis(each.left, each.right);
    const auto [left, right] = zones();
    EXPECT_NEAR(left.temperature, 50 + each.bias, 1e-9);
    EXPECT_NEAR(right.temperature, 50 - each.bias, 1e-9);
    EXPECT_NEAR(left.localComputeTemperature, 50, 1e-9);
    EXPECT_NEAR(left.localChassisTemperature.value(), each.left, 1e-9);
    EXPECT_NEAR(right.localChassisTemperature.value(), each.right, 1e-9);
  }
}

TEST_F(FanZoneTest, oneChassisSensorAloneIsNotTrusted) {
  setCPU(50, 50, 50);
  setChassis(14.9, 30);
  smc.setFloat("TaLP", 60);
  auto [left, right] = zones();
  EXPECT_NEAR(left.temperature, 50, 1e-9);
  EXPECT_NEAR(right.temperature, 50, 1e-9);
  EXPECT_EQ(left.localChassisTemperature, std::nullopt);
  EXPECT_EQ(left.contributingKeys.size(), 10U);
  EXPECT_NEAR(right.localChassisTemperature.value(), 30, 1e-9);
  EXPECT_EQ(right.contributingKeys.size(), 15U);

  smc.setFloat("Ts0P", 50);
  smc.setFloat("TDeL", 85.1);
  smc.failReads("TaLW", SMCError::readFailed("gone"));
  std::tie(left, right) = zones();
  EXPECT_NEAR(left.localChassisTemperature.value(), 55, 1e-9);
  EXPECT_NEAR(left.temperature, 52.5, 1e-9);
  EXPECT_EQ(left.contributingKeys,
            (Names{"TaLP", "Te05", "Te0L", "Te0P", "Te0S", "Tf04", "Tf09", "Tf0A", "Tf0B", "Tf0D", "Tf0E", "Ts0P"}));
}

TEST(CPUCoreAverageTest, displaysAndControlsByTheHottestValueThereIs) {
  struct Case {
    CPUCoreAverage average;
    double display;
    double control;
  };
  const std::vector<FanZoneReading> zones{{.fanIndex = 0, .temperature = 30}, {.fanIndex = 1, .temperature = 45}};
  const Case cases[] = {
      {{.temperature = 50}, 50, 50},
      {{.temperature = 50, .cpuMaximumTemperature = 70}, 70, 50},
      {{.temperature = 50, .gpuAverageTemperature = 60}, 60, 60},
      {{.temperature = 50, .gpuAverageTemperature = 40, .gpuMaximumTemperature = 70}, 70, 50},
      {{.temperature = 50, .hotspotTemperature = 80, .gpuHotspotTemperature = 81}, 81, 50},
      {{.temperature = 50, .fanZoneReadings = zones}, 50, 45},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(each.average.thermalDisplayTemperature(), each.display);
    EXPECT_EQ(each.average.controlTemperature(), each.control);
  }
}

}  // namespace
}  // namespace halcyra
