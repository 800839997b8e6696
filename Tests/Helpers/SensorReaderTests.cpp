#include <functional>
#include <gtest/gtest.h>

#include "Helpers/SensorReader.h"
#include "Support/ManualClock.h"
#include "Support/ScriptedSMC.h"
#include "Support/Values.h"

namespace halcyra {
namespace {

using test::errorOf;
using test::ManualClock;
using test::ScriptedSMC;
using Names = std::vector<std::string>;

class SensorReaderTest : public testing::Test {
 protected:
  void setAll(std::span<const SMCKey> keys, double value) {
    for (const SMCKey key : keys) {
      smc.setFloat(stringFromKey(key), value);
    }
  }
  /// The CPU channels of the verified model.
  void addCPU(double value = 50) { setAll(SensorReader::m3CPUCoreKeys, value); }
  void addGPU(double value = 50) { setAll(SensorReader::m3GPUClusterKeys, value); }
  void failFirst(std::span<const SMCKey> keys, std::size_t count) {
    for (const SMCKey key : keys.first(count)) {
      smc.failReads(stringFromKey(key), SMCError::readFailed("gone"));
    }
  }

  ManualClock clock;
  ScriptedSMC smc{clock};
  SensorReader reader{smc};
};

TEST_F(SensorReaderTest, discoversTemperatureKeysInTableOrder) {
  smc.setFloat("TB0T", 30);
  smc.setFloat("F0Ac", 2000);
  smc.setKey("TA0P", "sp78", 2, SMCValue::makeFloat(25));
  smc.setKey("TX01", "flt", 2, SMCValue::makeFloat(25));
  smc.setKey("TX02", "sp78", 4, SMCValue::makeFloat(25));
  smc.setKey("TX03", "ui8", 1, SMCValue::makeUInt8(25));
  smc.setFloat("TX04", 25);
  smc.setFloat("TX05", 25);
  smc.setFloat("tX06", 25);
  smc.setFloat("TX07", 25);
  smc.failIndex(6);
  smc.failInfo("TX05", SMCError::readFailed("gone"));
  Names names;
  for (const SMCKeyInfo& info : reader.discoverTemperatureSensors()) {
    names.push_back(info.keyName);
  }
  EXPECT_EQ(names, (Names{"TB0T", "TA0P", "TX07"}));
}

TEST_F(SensorReaderTest, discoveryFailsOnlyWithTheKeyCount) {
  addCPU();
  smc.failKeyCount(SMCError::keyCountMismatch());
  const char* const text = "SMC key enumeration count did not match #KEY";
  EXPECT_EQ(errorOf([&] { reader.readAllTemperatures(); }), text);
  EXPECT_EQ(errorOf([&] { reader.readCPUCoreAverage(); }), text);
  smc.failKeyCount(std::nullopt);
  smc.setKeyCount(0xFFFFFFFF);
  EXPECT_EQ(errorOf([&] { reader.readAllTemperatures(); }), text);
  EXPECT_EQ(smc.count("index 0"), 0);
  smc.setKeyCount(20);
  EXPECT_EQ(reader.readAllTemperatures().size(), 16U);
}

TEST_F(SensorReaderTest, discoversOnceButRepeatsAnEmptyDiscovery) {
  EXPECT_TRUE(reader.readAllTemperatures().empty());
  EXPECT_TRUE(reader.readAllTemperatures().empty());
  addCPU();
  reader.readAllTemperatures();
  smc.setFloat("TB0T", 30);
  EXPECT_EQ(reader.readAllTemperatures().size(), 16U);
  EXPECT_EQ(smc.count("count"), 3);
}

TEST_F(SensorReaderTest, whatHadNoAnswerIsLookedForAgainBeforeAnythingIsFrozen) {
  addCPU();
  smc.setFloat("TCMz", 60);
  for (const SMCKey key : SensorReader::m3PerformanceBankBKeys) {
    smc.failInfo(stringFromKey(key), SMCError::readFailed("gone"));
  }
  smc.failInfo("TCMz", SMCError::readFailed("gone"));
  EXPECT_EQ(reader.readCPUCoreAverage().contributingKeys.size(), 4U) << "no topology yet";
  EXPECT_EQ(smc.count("info TCMz"), 2) << "asked twice";
  for (const SMCKey key : SensorReader::m3PerformanceBankBKeys) {
    smc.failInfo(stringFromKey(key), std::nullopt);
  }
  EXPECT_TRUE(reader.readCPUCoreAverage().hasValidatedFanZoneTopology);
  EXPECT_EQ(reader.readCPUCoreAverage().contributingKeys.size(), 16U);
  EXPECT_EQ(smc.count("count"), 3);
  smc.failInfo("TCMz", std::nullopt);
  EXPECT_EQ(reader.readCPUCoreAverage().hotspotTemperature, std::nullopt) << "two looks agreed without it";
  EXPECT_EQ(smc.count("count"), 3) << "what never answers is given up";
}

TEST_F(SensorReaderTest, listsWhatIsPlausible) {
  const std::pair<const char*, double> sensors[] = {{"TX01", -40},   {"TX02", 125},       {"TX03", -40.1},
                                                    {"TX04", 125.1}, {"TX05", test::nan}, {"TX06", 50}};
  for (const auto& [key, value] : sensors) smc.setFloat(key, value);
  smc.failReads("TX06", SMCError::readFailed("gone"));
  const std::vector<SensorReading> expected{{"TX01", "TX01", -40, "°C"}, {"TX02", "TX02", 125, "°C"}};
  EXPECT_EQ(reader.readAllTemperatures(), expected);
  EXPECT_EQ(errorOf([&] { reader.readTemperature(SMCKey::fromString("TX04"), "Battery"); }),
            "SMC read failed: Battery returned an implausible temperature");
}

TEST_F(SensorReaderTest, condensesTheDieChannels) {
  setAll(SensorReader::m3EfficiencyCoreKeys, 40);
  setAll(SensorReader::m3PerformanceBankAKeys, 60);
  setAll(SensorReader::m3PerformanceBankBKeys, 80);
  smc.setFloat("Te0P", 44);
  smc.setFloat("Tf4B", 92);
  setAll(SensorReader::m3GPUClusterKeys, 55);
  smc.setFloat("Tf2A", 71);
  smc.setFloat("TCMz", 97.5);
  smc.setFloat("TRDX", 88);
  const CPUCoreAverage average = reader.readCPUCoreAverage();
  EXPECT_DOUBLE_EQ(average.temperature, (4 * 40 + 4 + 6 * 60 + 6 * 80 + 12) / 16.0);
  EXPECT_DOUBLE_EQ(average.cpuMaximumTemperature, 92);
  EXPECT_DOUBLE_EQ(average.efficiencyAverageTemperature.value(), 41);
  EXPECT_DOUBLE_EQ(average.efficiencyMaximumTemperature.value(), 44);
  EXPECT_DOUBLE_EQ(average.performanceAverageTemperature.value(), 71);
  EXPECT_DOUBLE_EQ(average.performanceMaximumTemperature.value(), 92);
  EXPECT_DOUBLE_EQ(average.gpuAverageTemperature.value(), 57);
  EXPECT_DOUBLE_EQ(average.gpuMaximumTemperature.value(), 71);
  EXPECT_DOUBLE_EQ(average.hotspotTemperature.value(), 97.5);
  EXPECT_DOUBLE_EQ(average.gpuHotspotTemperature.value(), 88);
  EXPECT_EQ(average.contributingKeys, (Names{"Te05", "Te0L", "Te0P", "Te0S", "Tf04", "Tf09", "Tf0A", "Tf0B", "Tf0D",
                                             "Tf0E", "Tf44", "Tf49", "Tf4A", "Tf4B", "Tf4D", "Tf4E"}));
  EXPECT_EQ(average.gpuContributingKeys, (Names{"Tf14", "Tf18", "Tf19", "Tf1A", "Tf24", "Tf28", "Tf29", "Tf2A"}));
  EXPECT_TRUE(average.hasValidatedFanZoneTopology);
  EXPECT_EQ(average.fanZoneReadings.size(), 2U);
}

TEST_F(SensorReaderTest, dieChannelsCountFrom20To115Degrees) {
  const std::pair<double, bool> cases[] = {{19.9, false}, {20, true}, {115, true}, {115.1, false}};
  for (const auto& [value, counts] : cases) {
    addCPU();
    addGPU();
    for (const char* key : {"Tf04", "Tf14", "TCMz", "TRDX"}) smc.setFloat(key, value);
    const CPUCoreAverage average = SensorReader(smc).readCPUCoreAverage();
    EXPECT_EQ(average.contributingKeys.size(), counts ? 16U : 15U) << value;
    EXPECT_EQ(average.gpuContributingKeys.size(), counts ? 8U : 7U) << value;
    EXPECT_EQ(average.hotspotTemperature.has_value(), counts) << value;
    EXPECT_EQ(average.gpuHotspotTemperature.has_value(), counts) << value;
  }
}

TEST_F(SensorReaderTest, theChannelsOfTheFirstGoodReadStay) {
  addCPU();
  addGPU();
  failFirst(SensorReader::m3CPUCoreKeys, 5);
  failFirst(SensorReader::m3GPUClusterKeys, 2);
  EXPECT_EQ(errorOf([&] { reader.readCPUCoreAverage(); }),
            "SMC read failed: CPU Core Average has only 11 valid channels");
  smc.failReads("Tf04", std::nullopt);
  ASSERT_EQ(reader.readCPUCoreAverage().contributingKeys.size(), 12U);
  for (const char* key : {"Te05", "Te0L", "Te0P", "Te0S", "Tf14", "Tf18"}) {
    smc.failReads(key, std::nullopt);
  }
  smc.forgetAccesses();
  EXPECT_EQ(reader.readCPUCoreAverage().contributingKeys.size(), 12U);
  EXPECT_EQ(reader.readCPUCoreAverage().gpuContributingKeys.size(), 6U);
  EXPECT_EQ(smc.count("read Te05"), 0);
  EXPECT_EQ(smc.count("read Tf14"), 0);
  // Of 12 frozen channels 9 are needed, of 6 GPU channels 4, whatever else could be read.
  failFirst(SensorReader::m3PerformanceBankAKeys, 3);
  EXPECT_EQ(reader.readCPUCoreAverage().contributingKeys.size(), 9U);
  failFirst(SensorReader::m3PerformanceBankAKeys, 4);
  EXPECT_EQ(errorOf([&] { reader.readCPUCoreAverage(); }),
            "SMC read failed: CPU Core Average has only 8 valid channels");
  smc.failReads("Tf0B", std::nullopt);
  failFirst(SensorReader::m3GPUClusterBankBKeys, 3);
  EXPECT_EQ(errorOf([&] { reader.readCPUCoreAverage(); }),
            "SMC read failed: GPU cluster average has only 3 valid channels");
}

TEST_F(SensorReaderTest, theTopologyNeedsEnoughKeysOfEachBank) {
  struct Case {
    std::size_t efficiency, bankA, bankB;
    bool isValidated;
  };
  for (const Case& each : {Case{3, 4, 4, true}, Case{2, 6, 6, false}, Case{4, 3, 6, false}, Case{4, 6, 3, false}}) {
    ScriptedSMC machine(clock);
    const auto add = [&](std::span<const SMCKey> keys, std::size_t count) {
      for (const SMCKey key : keys.first(count)) machine.setFloat(stringFromKey(key), 50);
    };
    add(SensorReader::m3EfficiencyCoreKeys, each.efficiency);
    add(SensorReader::m3PerformanceBankAKeys, each.bankA);
    add(SensorReader::m3PerformanceBankBKeys, each.bankB);
    for (const char* key : {"Tp01", "Tp02", "Tp03", "Tp04"}) machine.setFloat(key, 70);
    const CPUCoreAverage average = SensorReader(machine).readCPUCoreAverage();
    EXPECT_EQ(average.hasValidatedFanZoneTopology, each.isValidated);
    EXPECT_EQ(average.fanZoneReadings.size(), each.isValidated ? 2U : 0U);
    // Without the topology the banks are not trusted, and the cores go by their common prefixes.
    EXPECT_EQ(average.contributingKeys.back(), each.isValidated ? "Tf4B" : "Tp04");
  }
}

TEST_F(SensorReaderTest, otherModelsAverageTheirCoresWithoutZones) {
  for (const char* key : {"Tp01", "Tp05", "Te01", "Te02", "Tg01", "TB0T"}) smc.setFloat(key, 60);
  smc.setFloat("Te02", 80);
  const CPUCoreAverage average = reader.readCPUCoreAverage();
  EXPECT_EQ(average.contributingKeys, (Names{"Te01", "Te02", "Tp01", "Tp05"}));
  EXPECT_DOUBLE_EQ(average.temperature, 65);
  EXPECT_EQ(average.efficiencyAverageTemperature, std::nullopt);
  EXPECT_EQ(average.gpuAverageTemperature, std::nullopt);
  EXPECT_TRUE(average.fanZoneReadings.empty());
  EXPECT_FALSE(average.hasValidatedFanZoneTopology);
  smc.failReads("Te02", SMCError::readFailed("gone"));
  EXPECT_EQ(errorOf([&] { reader.readCPUCoreAverage(); }),
            "SMC read failed: CPU Core Average has only 3 valid channels");
}

TEST_F(SensorReaderTest, theGPUAverageNeedsFourKnownChannelsAndTwoValidOnes) {
  addCPU();
  setAll(std::span(SensorReader::m3GPUClusterKeys).first(3), 60);
  const CPUCoreAverage without = reader.readCPUCoreAverage();
  EXPECT_EQ(without.gpuAverageTemperature, std::nullopt);

  setAll(std::span(SensorReader::m3GPUClusterKeys).first(4), 60);
  failFirst(SensorReader::m3GPUClusterKeys, 2);
  SensorReader fresh(smc);
  EXPECT_EQ(errorOf([&] { fresh.readCPUCoreAverage(); }),
            "SMC read failed: GPU cluster average has only 2 valid channels");
  failFirst(SensorReader::m3GPUClusterKeys, 1);
  smc.failReads("Tf18", std::nullopt);
  EXPECT_EQ(fresh.readCPUCoreAverage().gpuContributingKeys, (Names{"Tf18", "Tf19", "Tf1A"}));
}

TEST_F(SensorReaderTest, hotspotsMayBeMissingAndOnlyFailuresOfTheSMCAreSwallowed) {
  addCPU();
  smc.setFloat("TCMz", 90);
  smc.setFloat("TRDX", 90);
  smc.failReads("TCMz", SMCError::readFailed("gone"));
  const CPUCoreAverage average = reader.readCPUCoreAverage();
  EXPECT_EQ(average.hotspotTemperature, std::nullopt);
  EXPECT_EQ(average.gpuHotspotTemperature, 90);
  smc.setReadHook([](const std::string&, int) { throw std::runtime_error("overtaken"); });
  EXPECT_THROW(reader.readAllTemperatures(), std::runtime_error);
}

TEST_F(SensorReaderTest, aPollReadsEachChannelOnceAndNoMetadata) {
  addCPU();
  addGPU();
  reader.readCPUCoreAverage();
  smc.forgetAccesses();
  reader.readCPUCoreAverage();
  EXPECT_EQ(smc.accesses().size(), 16U + 8U);
  for (const std::string& access : smc.accesses()) EXPECT_TRUE(access.starts_with("read ")) << access;
}

}  // namespace
}  // namespace halcyra
