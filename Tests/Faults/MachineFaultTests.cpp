// What happens to the fans when the machine's sensors, keys or driver fail.

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "Faults/FaultBench.h"
#include "Helpers/SensorReader.h"

namespace halcyra::test {
namespace {

/// A poll every 2 s; the second failed one hands back, and the fans' mode latches.
constexpr double staleLimit = 2 * 2 + 1.5;

struct SensorRow {
  std::string name;
  std::vector<std::string> faults;
};

void PrintTo(const SensorRow& row, std::ostream* out) {
  *out << row.name;
}

std::string nameOfSensorRow(const testing::TestParamInfo<SensorRow>& info) {
  return info.param.name;
}

void clear(FaultBench& bench, const std::vector<std::string>& faults) {
  for (const std::string& each : faults) bench.loop.fault("clear " + each.substr(0, each.find(' ')));
}

std::vector<std::string> atEveryDie(const std::string& command, const std::string& argument = "") {
  std::vector<std::string> faults;
  const auto add = [&](SMCKey key) { faults.push_back(command + " " + stringFromKey(key) + argument); };
  for (const SMCKey key : SensorReader::m3CPUCoreKeys) add(key);
  for (const SMCKey key : SensorReader::m3GPUClusterKeys) add(key);
  add(SensorReader::cpuHotspotKey);
  add(SensorReader::gpuHotspotKey);
  return faults;
}

bool allAtMaximum(FaultBench& bench) {
  const auto fans = bench.loop.truth().fans;
  return std::all_of(fans.begin(), fans.end(),
                     [](const auto& fan) { return fan.mode == 1 && fan.target == fan.maximum; });
}

class OneSensorTests : public testing::TestWithParam<SensorRow> {};

TEST_P(OneSensorTests, ControlGoesOnAndNoFanSlowsDown) {
  FaultBench bench("sustained");
  bench.startDriving(FanPreset::automatic());
  bench.run(120);
  const auto before = bench.mark();
  const std::vector<double> targets{bench.targetOf(0), bench.targetOf(1)};
  ASSERT_GT(targets[0], 2500) << "hot enough for the difference to show";
  for (const std::string& each : GetParam().faults) bench.loop.fault(each);
  bench.run(90);
  bench.expectUntouched(FanPreset::automatic(), before);
  EXPECT_EQ(bench.loop.model().lastError(), std::nullopt);
  for (int fan : {0, 1}) {
    // One channel of six weighs little; a reading that is none weighs nothing.
    EXPECT_GE(bench.targetOf(fan), targets.at(static_cast<std::size_t>(fan)) - 500) << "fan " << fan;
  }
  // A die that is really hot is still seen.
  bench.loop.fault("spike 110 8");
  EXPECT_TRUE(bench.until([&] { return allAtMaximum(bench); }, 2 + 1.5));
  clear(bench, GetParam().faults);
  bench.run(60);
  bench.expectUntouched(FanPreset::automatic(), before);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, OneSensorTests,
    testing::Values(SensorRow{"Lost", {"vanish Tf04"}}, SensorRow{"NaN", {"nan Tf04"}},
                    SensorRow{"Infinite", {"inf Tf04"}}, SensorRow{"OutOfRangeLow", {"value Tf04 0"}},
                    SensorRow{"OutOfRangeHigh", {"value Tf04 200"}}, SensorRow{"Frozen", {"freeze Tf04"}},
                    SensorRow{"JumpingUp", {"jump Tf04 12"}}, SensorRow{"JumpingDown", {"jump Tf04 -12"}},
                    SensorRow{"HotspotLost", {"vanish TCMz"}}, SensorRow{"HotspotNaN", {"nan TCMz"}},
                    SensorRow{"HotspotZero", {"value TCMz 0"}}, SensorRow{"HotspotFrozen", {"freeze TCMz"}},
                    SensorRow{"ChassisLost", {"vanish TaLP", "vanish TaLT"}}),
    nameOfSensorRow);

class AllSensorsTests : public testing::TestWithParam<SensorRow> {};

TEST_P(AllSensorsTests, HandsBackAtTheSecondFailedPollAndComesBack) {
  FaultBench bench("sustained");
  bench.startDriving(FanPreset::automatic());
  bench.run(60);
  const auto before = bench.mark();
  for (const std::string& each : GetParam().faults) bench.loop.fault(each);
  bench.run(1.9);
  EXPECT_TRUE(bench.loop.allManual()) << "one failed read is no loss";
  bench.expectHandedBackWithin(staleLimit - 1.9);
  bench.expectStaysHandedBack(60);
  EXPECT_EQ(bench.driveWritesSince(before), 0u) << "no reading is no reading, not a low one";
  EXPECT_TRUE(bench.loop.model().lastError());
  EXPECT_EQ(bench.loop.model().controlTemperature(), std::nullopt);
  clear(bench, GetParam().faults);
  bench.expectRestored(FanPreset::automatic(), before, 1, 10);
}

INSTANTIATE_TEST_SUITE_P(Rows, AllSensorsTests,
                         testing::Values(SensorRow{"Lost", atEveryDie("vanish")}, SensorRow{"NaN", atEveryDie("nan")},
                                         SensorRow{"Infinite", atEveryDie("inf")},
                                         SensorRow{"Zero", atEveryDie("value", " 0")},
                                         SensorRow{"OutOfRange", atEveryDie("value", " 200")}),
                         nameOfSensorRow);

TEST(AllSensorsTests, OneFailedPollIsNoLoss) {
  FaultBench bench;
  bench.startDriving(FanPreset::automatic());
  const auto before = bench.mark();
  const auto faults = atEveryDie("vanish");
  for (const std::string& each : faults) bench.loop.fault(each);
  ASSERT_TRUE(bench.until([&] { return bench.loop.model().lastError().has_value(); }, 3));
  clear(bench, faults);
  bench.run(20);
  bench.expectUntouched(FanPreset::automatic(), before);
  EXPECT_EQ(bench.loop.model().lastError(), std::nullopt);
}

TEST(MachineFaultTests, OneFansKeysVanishAndReturn) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  for (const char* key : {"F1Ac", "F1Mn", "F1Mx", "F1Md", "F1Tg"}) bench.loop.fault(std::string("vanish ") + key);
  // Nobody can reach that fan; the helper keeps at it.
  bench.allowance = 90;
  EXPECT_TRUE(bench.until([&] { return bench.loop.modes().at(0) == 0; }, staleLimit + 1));
  bench.run(45);
  EXPECT_EQ(bench.loop.modes().at(0), 0);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  EXPECT_TRUE(bench.loop.helperRuns()) << "it still owes a fan";
  EXPECT_TRUE(bench.loop.model().lastError());
  bench.loop.fault("clear vanish");
  bench.expectHandedBackWithin(2 + 1.5);
  // A first start may meet the fan before it is back, and is then refused. Until then a hand-back is asked for every 5
  // s.
  EXPECT_TRUE(bench.until([&] { return bench.isUnderControl(FanPreset::fullBlast()); }, 15));
  EXPECT_LE(bench.sessionsBegun() - before.sessions, 2u + 50 / 5);
  const auto settled = bench.mark();
  bench.run(20);
  bench.expectUntouched(FanPreset::fullBlast(), settled);
  EXPECT_EQ(bench.loop.model().lastError(), std::nullopt);
}

TEST(MachineFaultTests, AFanWhoseTargetIsGoneAtTheStartIsTakenAlongWhenItReturns) {
  FaultBench bench;
  bench.start();
  bench.loop.fault("vanish F1Tg");
  bench.run(4);
  const auto before = bench.mark();
  bench.loop.activate(FanPreset::fullBlast());
  EXPECT_TRUE(bench.until([&] { return bench.loop.modes() == std::vector<int>{1, 0}; }, 5));
  bench.run(30);
  EXPECT_EQ(bench.loop.modes(), (std::vector<int>{1, 0})) << "the other fan is driven, this one the firmware's";
  EXPECT_EQ(bench.sessionsBegun() - before.sessions, 1u);
  const auto alone = bench.mark();
  bench.loop.fault("clear vanish");
  bench.expectRestored(FanPreset::fullBlast(), alone, 1, 10);
}

TEST(MachineFaultTests, DriverGoneAndBack) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  bench.loop.fault("driver-gone");
  bench.allowance = 90;
  bench.run(45);
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  EXPECT_TRUE(bench.loop.helperRuns()) << "it still owes the fans";
  EXPECT_FALSE(bench.loop.model().hasHelperSession());
  EXPECT_TRUE(bench.loop.model().lastError());
  bench.loop.fault("clear driver-gone");
  bench.expectHandedBackWithin(2 + 1.5);
  EXPECT_TRUE(bench.until([&] { return bench.isUnderControl(FanPreset::fullBlast()); }, 15));
  // One that asks for the hand-back may come first.
  EXPECT_LE(bench.sessionsBegun() - before.sessions, 2u);
  const auto settled = bench.mark();
  bench.run(20);
  bench.expectUntouched(FanPreset::fullBlast(), settled);
}

TEST(MachineFaultTests, SlowDriver) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  // A read of every sensor takes longer than a poll: at most one is out and one waits.
  bench.loop.fault("slow 20");
  bench.run(60);
  bench.expectUntouched(FanPreset::fullBlast(), before);
  bench.loop.fault("clear slow");
  bench.run(10);
  bench.expectUntouched(FanPreset::fullBlast(), before);
}

TEST(MachineFaultTests, ADriverThatNeverFinishesARead) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  const auto before = bench.mark();
  bench.loop.fault("slow 1000");
  bench.allowance = 60;
  EXPECT_TRUE(bench.until([&] { return bench.loop.allAutomatic(); }, 75)) << "what is minutes old drives nothing";
  EXPECT_EQ(bench.driveWritesSince(before), 0u);
  EXPECT_TRUE(bench.loop.model().lastError());
  bench.loop.fault("clear slow");
  bench.expectRestored(FanPreset::fullBlast(), before, 1, 60);
}

TEST(MachineFaultTests, AReadThatEndsTooLateDrivesNothing) {
  FaultBench bench;
  bench.startDriving(FanPreset::fullBlast());
  bench.loop.fault("slow 120");
  bench.allowance = 60;
  EXPECT_TRUE(bench.until([&] { return bench.loop.allAutomatic(); }, 75));
  const auto stale = bench.mark();
  bench.run(200);
  EXPECT_TRUE(bench.loop.allAutomatic());
  EXPECT_EQ(bench.driveWritesSince(stale), 0u) << "its temperatures are a minute old";
  EXPECT_TRUE(bench.loop.model().lastError());
  bench.loop.fault("clear slow");
  EXPECT_TRUE(bench.until([&] { return bench.isUnderControl(FanPreset::fullBlast()); }, 60));
}

}  // namespace
}  // namespace halcyra::test
