#include <gtest/gtest.h>

#include "Helpers/SensorReader.h"
#include "Support/ManualClock.h"
#include "Support/ScriptedSMC.h"
#include "Support/Values.h"

namespace halcyra {
namespace {

using test::errorOf;
using test::Table;
using Names = std::vector<std::string>;
using Keys = std::span<const SMCKey>;
using Sensors = SensorReader;

constexpr const char* leftCPU = "CPU core bank A";
constexpr const char* rightCPU = "CPU core bank B";
constexpr const char* leftGPU = "GPU cluster bank A";
constexpr const char* rightGPU = "GPU cluster bank B";

Names sortedNames(std::initializer_list<Keys> banks) {
  Names names;
  for (const Keys keys : banks) std::ranges::transform(keys, std::back_inserter(names), stringFromKey);
  std::ranges::sort(names);
  return names;
}

class SensorReaderTest : public testing::Test {
 protected:
  void set(Keys keys, double value) {
    for (const SMCKey key : keys) smc.setFloat(stringFromKey(key), value);
  }
  void setCPU(double efficiency, double bankA, double bankB) {
    set(Sensors::m3EfficiencyCoreKeys, efficiency);
    set(Sensors::m3PerformanceBankAKeys, bankA);
    set(Sensors::m3PerformanceBankBKeys, bankB);
  }
  void fail(Keys keys, bool fails = true) {
    const auto error = fails ? std::optional(SMCError::readFailed("gone")) : std::nullopt;
    for (const SMCKey key : keys) smc.failReads(stringFromKey(key), error);
  }
  void failInfo(Keys keys, bool fails = true) {
    const auto error = fails ? std::optional(SMCError::readFailed("gone")) : std::nullopt;
    for (const SMCKey key : keys) smc.failInfo(stringFromKey(key), error);
  }
  std::string errorOfPoll() {
    return errorOf([this] { reader.readCPUCoreAverage(); });
  }

  test::ManualClock clock;
  test::ScriptedSMC smc{clock};
  SensorReader reader{smc};
};

TEST_F(SensorReaderTest, discoversTemperatureKeysInTableOrderAndListsWhatIsPlausible) {
  smc.setFloat("TX01", -40);
  smc.setFloat("F0Ac", 2000);
  smc.setKey("TA0P", "sp78", 2, SMCValue::makeFloat(125));
  smc.setKey("TX02", "flt", 2, SMCValue::makeFloat(25));
  smc.setKey("TX03", "sp78", 4, SMCValue::makeFloat(25));
  smc.setKey("TX04", "ui8", 1, SMCValue::makeUInt8(25));
  smc.setFloat("TX05", 25);
  smc.setFloat("TX06", 25);
  smc.setFloat("tX07", 25);
  smc.failIndex(6);
  smc.failInfo("TX06", SMCError::readFailed("gone"));
  for (const auto& [key, value] :
       Table<const char*, double>{{"TX08", -40.1}, {"TX09", 125.1}, {"TX10", test::nan}, {"TX11", 50}}) {
    smc.setFloat(key, value);
  }
  smc.failReads("TX11", SMCError::readFailed("gone"));
  Names names;
  for (const SMCKeyInfo& info : reader.discoverTemperatureSensors()) names.push_back(info.keyName);
  EXPECT_EQ(names, (Names{"TX01", "TA0P", "TX08", "TX09", "TX10", "TX11"}));
  const std::vector<SensorReading> expected{{"TX01", "TX01", -40, "°C"}, {"TA0P", "TA0P", 125, "°C"}};
  EXPECT_EQ(reader.readAllTemperatures(), expected);
  EXPECT_EQ(errorOf([&] { reader.readTemperature(SMCKey::fromString("TX09"), "Battery"); }),
            "SMC read failed: Battery returned an implausible temperature");
}

TEST_F(SensorReaderTest, discoversOnceWhenItFoundAnythingAndFailsOnlyWithTheKeyCount) {
  EXPECT_TRUE(reader.readAllTemperatures().empty());
  smc.failKeyCount(SMCError::keyCountMismatch());
  const char* const text = "SMC key enumeration count did not match #KEY";
  EXPECT_EQ(errorOf([&] { reader.readAllTemperatures(); }), text);
  EXPECT_EQ(errorOfPoll(), text);
  smc.failKeyCount(std::nullopt);
  set(Sensors::m3CPUCoreKeys, 50);
  smc.setKeyCount(0xFFFFFFFF);
  EXPECT_EQ(errorOf([&] { reader.readAllTemperatures(); }), text);
  EXPECT_EQ(smc.count("index 0"), 0);
  smc.setKeyCount(20);
  EXPECT_EQ(reader.readAllTemperatures().size(), 16U);
  smc.setFloat("TB0T", 30);
  const long counts = smc.count("count");
  EXPECT_EQ(reader.readAllTemperatures().size(), 16U);
  EXPECT_EQ(smc.count("count"), counts);
}

TEST_F(SensorReaderTest, whatHadNoAnswerIsLookedForAgainBeforeAnythingIsFrozen) {
  set(Sensors::m3CPUCoreKeys, 50);
  smc.setFloat("TCMz", 60);
  failInfo(Sensors::m3PerformanceBankBKeys);
  failInfo(std::span(&Sensors::cpuHotspotKey, 1));
  EXPECT_EQ(reader.readCPUCoreAverage().contributingKeys.size(), 4U) << "no topology yet";
  EXPECT_EQ(smc.count("info TCMz"), 2) << "asked twice";
  failInfo(Sensors::m3PerformanceBankBKeys, false);
  EXPECT_TRUE(reader.readCPUCoreAverage().hasValidatedFanZoneTopology);
  EXPECT_EQ(reader.readCPUCoreAverage().contributingKeys.size(), 16U);
  EXPECT_EQ(smc.count("count"), 3);
  smc.failInfo("TCMz", std::nullopt);
  EXPECT_EQ(reader.readCPUCoreAverage().hotspotTemperature, std::nullopt) << "two looks agreed without it";
  EXPECT_EQ(smc.count("count"), 3) << "what never answers is given up";
}

TEST_F(SensorReaderTest, condensesTheDieChannelsAndReadsEachOnce) {
  setCPU(40, 60, 80);
  set(Sensors::m3GPUClusterKeys, 55);
  for (const auto& [key, value] :
       Table<const char*, double>{{"Te0P", 44}, {"Tf4B", 92}, {"Tf2A", 71}, {"TCMz", 97.5}, {"TRDX", 88}}) {
    smc.setFloat(key, value);
  }
  CPUCoreAverage average = reader.readCPUCoreAverage();
  EXPECT_EQ(average.fanZoneReadings.size(), 2U);
  average.fanZoneReadings.clear();
  EXPECT_EQ(average, (CPUCoreAverage{.temperature = (4 * 40 + 4 + 6 * 60 + 6 * 80 + 12) / 16.0,
                                     .contributingKeys = sortedNames({Sensors::m3CPUCoreKeys}),
                                     .cpuMaximumTemperature = 92,
                                     .efficiencyAverageTemperature = 41,
                                     .efficiencyMaximumTemperature = 44,
                                     .performanceAverageTemperature = 71,
                                     .performanceMaximumTemperature = 92,
                                     .hotspotTemperature = 97.5,
                                     .gpuAverageTemperature = 57,
                                     .gpuMaximumTemperature = 71,
                                     .gpuContributingKeys = sortedNames({Sensors::m3GPUClusterKeys}),
                                     .gpuHotspotTemperature = 88,
                                     .hasValidatedFanZoneTopology = true}));
  smc.forgetAccesses();
  smc.failReads("TCMz", SMCError::readFailed("gone"));
  average = reader.readCPUCoreAverage();
  EXPECT_EQ(average.hotspotTemperature, std::nullopt);
  EXPECT_EQ(average.gpuHotspotTemperature, 88);
  EXPECT_EQ(smc.accesses().size(), 16U + 8U + 2U);
  for (const std::string& access : smc.accesses()) EXPECT_TRUE(access.starts_with("read ")) << access;
  // Only failures of the SMC are swallowed.
  smc.setReadHook([](const std::string&, int) { throw std::runtime_error("overtaken"); });
  EXPECT_THROW(reader.readAllTemperatures(), std::runtime_error);
}

TEST_F(SensorReaderTest, dieChannelsCountFrom20To115Degrees) {
  set(Sensors::m3CPUCoreKeys, 50);
  set(Sensors::m3GPUClusterKeys, 50);
  for (const auto& [value, counts] : Table<double, bool>{{19.9, false}, {20, true}, {115, true}, {115.1, false}}) {
    for (const char* key : {"Tf04", "Tf14", "TCMz", "TRDX"}) smc.setFloat(key, value);
    const CPUCoreAverage average = SensorReader(smc).readCPUCoreAverage();
    EXPECT_EQ(average.contributingKeys.size(), counts ? 16U : 15U) << value;
    EXPECT_EQ(average.gpuContributingKeys.size(), counts ? 8U : 7U) << value;
    EXPECT_EQ(average.hotspotTemperature.has_value(), counts) << value;
    EXPECT_EQ(average.gpuHotspotTemperature.has_value(), counts) << value;
  }
}

TEST_F(SensorReaderTest, theChannelsOfTheFirstGoodReadStay) {
  const Keys cpu = Sensors::m3CPUCoreKeys;
  const Keys gpu = Sensors::m3GPUClusterKeys;
  set(cpu, 50);
  set(gpu, 50);
  fail(cpu.first(5));
  fail(gpu.first(2));
  EXPECT_EQ(errorOfPoll(), "SMC read failed: CPU Core Average has only 11 valid channels");
  fail(cpu.subspan(4, 1), false);
  ASSERT_EQ(reader.readCPUCoreAverage().contributingKeys.size(), 12U);
  fail(cpu.first(4), false);
  fail(gpu.first(2), false);
  smc.forgetAccesses();
  EXPECT_EQ(reader.readCPUCoreAverage().contributingKeys.size(), 12U);
  EXPECT_EQ(reader.readCPUCoreAverage().gpuContributingKeys.size(), 6U);
  EXPECT_EQ(smc.count("read Te05") + smc.count("read Tf14"), 0);
  // Of 12 frozen channels 9 are needed, of 6 GPU channels 4, whatever else could be read.
  fail(cpu.subspan(4, 3));
  EXPECT_EQ(reader.readCPUCoreAverage().contributingKeys.size(), 9U);
  fail(cpu.subspan(4, 4));
  EXPECT_EQ(errorOfPoll(), "SMC read failed: CPU Core Average has only 8 valid channels");
  fail(cpu, false);
  fail(gpu.subspan(4, 3));
  EXPECT_EQ(errorOfPoll(), "SMC read failed: GPU cluster average has only 3 valid channels");
}

TEST_F(SensorReaderTest, theTopologyNeedsEnoughKeysOfEachBankAndOtherModelsAverageTheirCores) {
  using Count = std::size_t;
  for (const auto& [efficiency, bankA, bankB, isValidated] :
       Table<Count, Count, Count, bool>{{3, 4, 4, true}, {2, 6, 6, false}, {4, 3, 6, false}, {4, 6, 3, false}}) {
    test::ScriptedSMC machine(clock);
    const auto add = [&machine](Keys keys) {
      for (const SMCKey key : keys) machine.setFloat(stringFromKey(key), 50);
    };
    add(Keys(Sensors::m3EfficiencyCoreKeys).first(efficiency));
    add(Keys(Sensors::m3PerformanceBankAKeys).first(bankA));
    add(Keys(Sensors::m3PerformanceBankBKeys).first(bankB));
    for (const char* key : {"Tp01", "Tp02", "Tp03", "Tp04"}) machine.setFloat(key, 70);
    const CPUCoreAverage average = SensorReader(machine).readCPUCoreAverage();
    EXPECT_EQ(average.hasValidatedFanZoneTopology, isValidated);
    EXPECT_EQ(average.fanZoneReadings.size(), isValidated ? 2U : 0U);
    // Without the topology the banks are not trusted, and the cores go by their common prefixes.
    EXPECT_EQ(average.contributingKeys.back(), isValidated ? "Tf4B" : "Tp04");
  }
  for (const char* key : {"Tp01", "Tp05", "Te01", "Te02", "Tg01", "TB0T"}) smc.setFloat(key, 60);
  smc.setFloat("Te02", 80);
  EXPECT_EQ(reader.readCPUCoreAverage(),
            (CPUCoreAverage{
                .temperature = 65, .contributingKeys = {"Te01", "Te02", "Tp01", "Tp05"}, .cpuMaximumTemperature = 80}));
  smc.failReads("Te02", SMCError::readFailed("gone"));
  EXPECT_EQ(errorOfPoll(), "SMC read failed: CPU Core Average has only 3 valid channels");
}

TEST_F(SensorReaderTest, theGPUAverageNeedsFourKnownChannelsAndThreeValidOnes) {
  const Keys gpu = Sensors::m3GPUClusterKeys;
  set(Sensors::m3CPUCoreKeys, 50);
  set(gpu.first(3), 60);
  EXPECT_EQ(reader.readCPUCoreAverage().gpuAverageTemperature, std::nullopt);
  set(gpu.first(4), 60);
  SensorReader fresh(smc);
  fail(gpu.first(2));
  EXPECT_EQ(errorOf([&] { fresh.readCPUCoreAverage(); }),
            "SMC read failed: GPU cluster average has only 2 valid channels");
  fail(gpu.subspan(1, 1), false);
  EXPECT_EQ(fresh.readCPUCoreAverage().gpuContributingKeys, sortedNames({gpu.subspan(1, 3)}));
}

TEST_F(SensorReaderTest, zonesMixBothBanksTheEfficiencyCoresAndTheChassis) {
  using Pair = std::pair<double, double>;
  using Zone = std::pair<double, const char*>;
  // Own banks with 15 % of the efficiency cores, then 80 % of the own side and 20 % of the other; the hotter of CPU and
  // GPU, the CPU when they are equal; the warmer chassis side is raised and the other one lowered.
  for (const auto& [cpu, gpu, chassis, leftZone, rightZone] : Table<std::array<double, 3>, Pair, Pair, Zone, Zone>{
           {{40, 60, 80}, {0, 0}, {0, 0}, {0.8 * 57 + 0.2 * 74, leftCPU}, {0.2 * 57 + 0.8 * 74, rightCPU}},
           {{50, 50, 50}, {0, 0}, {40, 30}, {52.5, leftCPU}, {47.5, rightCPU}},
           {{50, 50, 50}, {0, 0}, {30, 40}, {47.5, leftCPU}, {52.5, rightCPU}},
           {{50, 50, 50}, {0, 0}, {34, 30}, {51.4, leftCPU}, {48.6, rightCPU}},
           {{50, 50, 50}, {0, 0}, {15, 15}, {50, leftCPU}, {50, rightCPU}},
           {{50, 50, 50}, {0, 0}, {85, 83}, {50.7, leftCPU}, {49.3, rightCPU}},
           {{64, 64, 64}, {64, 64}, {0, 0}, {64, leftCPU}, {64, rightCPU}},
           {{50, 50, 50}, {40, 70}, {0, 0}, {50, leftCPU}, {64, rightGPU}},
           {{50, 50, 50}, {90, 40}, {0, 0}, {80, leftGPU}, {50, rightCPU}}}) {
    setCPU(cpu[0], cpu[1], cpu[2]);
    if (gpu.first > 0) {
      set(Sensors::m3GPUClusterBankAKeys, gpu.first);
      set(Sensors::m3GPUClusterBankBKeys, gpu.second);
    }
    set(Sensors::m3LeftChassisKeys, chassis.first);
    set(Sensors::m3RightChassisKeys, chassis.second);
    const bool hasChassis = chassis.first > 0;
    const std::vector<FanZoneReading> zones = SensorReader(smc).readCPUCoreAverage().fanZoneReadings;
    ASSERT_EQ(zones.size(), 2U);
    for (const int fan : {0, 1}) {
      const FanZoneReading& zone = zones[static_cast<std::size_t>(fan)];
      const auto& [temperature, driver] = fan == 0 ? leftZone : rightZone;
      EXPECT_EQ(zone.fanIndex, fan);
      EXPECT_EQ(zone.zoneName, fan == 0 ? "Left" : "Right");
      EXPECT_NEAR(zone.temperature, temperature, 1e-9) << driver;
      EXPECT_EQ(zone.driver, driver);
      EXPECT_NEAR(zone.localComputeTemperature, hasChassis ? 50 : temperature, 1e-9);
      EXPECT_EQ(zone.localChassisTemperature,
                hasChassis ? std::optional(fan == 0 ? chassis.first : chassis.second) : std::nullopt);
      const Keys local = fan == 0 ? Keys(Sensors::m3PerformanceBankAKeys) : Keys(Sensors::m3PerformanceBankBKeys);
      const Keys localGPU = fan == 0 ? Keys(Sensors::m3GPUClusterBankAKeys) : Keys(Sensors::m3GPUClusterBankBKeys);
      const Keys side = fan == 0 ? Keys(Sensors::m3LeftChassisKeys) : Keys(Sensors::m3RightChassisKeys);
      EXPECT_EQ(zone.contributingKeys,
                driver[0] == 'G' ? sortedNames({localGPU})
                                 : sortedNames({Sensors::m3EfficiencyCoreKeys, local, hasChassis ? side : Keys()}));
    }
  }
}

TEST_F(SensorReaderTest, aBankThatDropsOutIsReplacedByTheAverageAndOneChassisSensorAloneIsNotTrusted) {
  setCPU(50, 60, 70);
  fail(Keys(Sensors::m3PerformanceBankAKeys).first(4));
  reader.readCPUCoreAverage();
  fail(Sensors::m3PerformanceBankAKeys);
  // The mean of four channels at 50 and six at 70 is 62; with the efficiency cores 60.2, the right bank 67.
  EXPECT_NEAR(reader.readCPUCoreAverage().fanZoneReadings.at(0).temperature, 0.8 * 60.2 + 0.2 * 67, 1e-9);
  fail(Sensors::m3PerformanceBankAKeys, false);
  fail(Sensors::m3EfficiencyCoreKeys);
  const auto zone = [this](std::size_t fan) { return SensorReader(smc).readCPUCoreAverage().fanZoneReadings.at(fan); };
  EXPECT_NEAR(zone(0).temperature, 0.8 * 60 + 0.2 * 70, 1e-9) << "nothing replaces the efficiency cores";

  fail(Sensors::m3EfficiencyCoreKeys, false);
  setCPU(50, 50, 50);
  set(Sensors::m3LeftChassisKeys, 14.9);
  set(Sensors::m3RightChassisKeys, 30);
  smc.setFloat("TaLP", 60);
  EXPECT_EQ(zone(0).localChassisTemperature, std::nullopt);
  EXPECT_EQ(zone(0).contributingKeys.size(), 10U);
  EXPECT_NEAR(zone(0).temperature, 50, 1e-9);
  EXPECT_NEAR(zone(1).temperature, 50, 1e-9);
  EXPECT_EQ(zone(1).localChassisTemperature, 30);
  smc.setFloat("Ts0P", 50);
  smc.setFloat("TDeL", 85.1);
  smc.failReads("TaLW", SMCError::readFailed("gone"));
  EXPECT_EQ(zone(0).localChassisTemperature, 55);
  EXPECT_NEAR(zone(0).temperature, 52.5, 1e-9);
  EXPECT_EQ(zone(0).contributingKeys.size(), 12U);
}

TEST(CPUCoreAverageTest, displaysAndControlsByTheHottestValueThereIs) {
  const std::vector<FanZoneReading> zones{{.fanIndex = 0, .temperature = 30}, {.fanIndex = 1, .temperature = 45}};
  for (const auto& [average, display, control] : Table<CPUCoreAverage, double, double>{
           {{.temperature = 50}, 50, 50},
           {{.temperature = 50, .cpuMaximumTemperature = 70}, 70, 50},
           {{.temperature = 50, .gpuAverageTemperature = 60}, 60, 60},
           {{.temperature = 50, .gpuAverageTemperature = 40, .gpuMaximumTemperature = 70}, 70, 50},
           {{.temperature = 50, .hotspotTemperature = 80, .gpuHotspotTemperature = 81}, 81, 50},
           {{.temperature = 50, .fanZoneReadings = zones}, 50, 45}}) {
    EXPECT_EQ(average.thermalDisplayTemperature(), display);
    EXPECT_EQ(average.controlTemperature(), control);
  }
}

}  // namespace
}  // namespace halcyra
