#include <optional>

#include "gtest/gtest.h"

#include "App/ModelHarness.h"

namespace halcyra::test {

namespace {

TelemetrySnapshot snapshotAt(double temperature) {
  TelemetrySnapshot snapshot;
  snapshot.fans = {FanInfo{0, 1500, 1200, 5000, FanMode::automatic, 1500}};
  snapshot.average.temperature = temperature;
  snapshot.average.cpuMaximumTemperature = temperature;
  return snapshot;
}

FanZoneReading zone(int fan, double temperature, const std::string& driver) {
  return {.fanIndex = fan, .zoneName = "Left", .temperature = temperature, .driver = driver};
}

}  // namespace

TEST(AppModelPoll, settingsAreLoadedWithinTheirBounds) {
  struct Row {
    std::optional<double> interval, threshold;
    double expectedInterval, expectedThreshold;
  };
  for (const Row& row : std::vector<Row>{
           {std::nullopt, 0.0, 2.0, 85.0}, {0.4, 30.0, 1.0, 40.0}, {9.0, 120.0, 5.0, 100.0}, {2.5, 70.0, 2.5, 70.0}}) {
    ModelHarness h;
    if (row.interval) h.doubles.userDefaults.setNumber("pollingInterval", *row.interval);
    if (row.threshold) h.doubles.userDefaults.setNumber("overheatThreshold", *row.threshold);
    h.start();
    EXPECT_EQ(h.model().pollingInterval(), row.expectedInterval);
    EXPECT_EQ(h.model().overheatThreshold(), row.expectedThreshold);
    EXPECT_FALSE(h.model().overheatAlertsEnabled());
    EXPECT_EQ(h.model().history().size(), 1u);
    h.run(row.expectedInterval);
    EXPECT_EQ(h.model().history().size(), 2u);
  }
}

TEST(AppModelPoll, aNewIntervalHoldsFromTheRestartOn) {
  StartedModel h;
  h.onMain([](AppModel& model) { model.setPollingInterval(17); });
  EXPECT_EQ(h.model().pollingInterval(), 5.0);
  EXPECT_EQ(h.doubles.userDefaults.number("pollingInterval"), 2.0) << "not stored before it is applied";
  h.onMain([](AppModel& model) { model.restartPolling(); });
  EXPECT_EQ(h.doubles.userDefaults.number("pollingInterval"), 5.0);
}

TEST(AppModelPoll, requestsDuringAReadFoldIntoOneMore) {
  ModelHarness h;
  h.smc.callDuration = Seconds{0.01};
  h.start();
  h.onMain([](AppModel& model) {
    for (int request = 0; request < 20; ++request) model.poll();
  });
  // The table has some forty keys: a read takes seconds, the first one with its discovery longer.
  ASSERT_EQ(h.model().history().size(), 0u);
  h.smc.callDuration = Seconds{0.0};
  h.run(1.0);
  EXPECT_EQ(h.model().history().size(), 2u);
}

TEST(AppModelPoll, aSnapshotBecomesPublishedState) {
  ModelHarness h;
  h.smc.setDie(60);
  h.smc.setTemperature("TCMz", 71);
  h.start();
  const AppModel& model = h.model();
  EXPECT_EQ(model.fans().size(), 2u);
  EXPECT_NEAR(*model.cpuCoreAverage(), 60, 1e-3);
  EXPECT_NEAR(*model.gpuCoreMaximum(), 60, 1e-3);
  EXPECT_EQ(model.displayTemperature(), 71) << "the first sample is shown at once";
  EXPECT_TRUE(model.thermalControlSupported());
  EXPECT_EQ(model.helperState(), HelperInstallState::enabled);
  EXPECT_NEAR(model.fanControlTemperatures().at(0), 60, 1e-3);
  EXPECT_EQ(model.fanControlDrivers().at(1), "CPU core bank B");
  EXPECT_NEAR(*model.controlTemperature(), 60, 1e-3);
  EXPECT_EQ(model.sustainedDieTemperature(), std::nullopt) << "needs three samples";
  EXPECT_NEAR(model.zoneTemperature(7, 1), 60, 1e-3);
  EXPECT_EQ(model.sensorReadings().size(), 26u);
  h.run(4);
  EXPECT_EQ(model.sustainedDieTemperature(), 71);
  h.smc.remove("TCMz");
  h.smc.remove("TRDX");
  h.run(2);
  EXPECT_EQ(model.sustainedDieTemperature(), 71) << "one missing sample is tolerated";
  h.run(2);
  EXPECT_EQ(model.sustainedDieTemperature(), std::nullopt);
}

TEST(AppModelPoll, controlTemperatureFallsBackToTheAverages) {
  StartedModel h;
  struct Row {
    std::optional<double> gpu;
    double expected;
  };
  for (const Row& row : {Row{std::nullopt, 44}, Row{40.0, 44}, Row{48.0, 48}}) {
    h.onMain([&](AppModel& model) {
      TelemetrySnapshot snapshot = snapshotAt(44);
      snapshot.average.gpuAverageTemperature = row.gpu;
      AppModelAccess::apply(model, snapshot);
      EXPECT_EQ(model.controlTemperature(), row.expected);
      EXPECT_TRUE(model.fanControlTemperatures().empty());
    });
  }
}

TEST(AppModelPoll, oddSnapshotsKeepWhatIsGood) {
  StartedModel h;
  h.onMain([](AppModel& model) {
    TelemetrySnapshot snapshot = snapshotAt(44);
    snapshot.fans.clear();
    snapshot.average.fanZoneReadings = {zone(0, 51, "first"), zone(0, 99, "second"), zone(1, 47, "right")};
    AppModelAccess::apply(model, snapshot);
    EXPECT_EQ(model.fans().size(), 2u) << "an empty list leaves the fans on show";
    EXPECT_EQ(model.fanControlDrivers(), (std::map<int, std::string>{{0, "first"}, {1, "right"}}));
    EXPECT_LT(model.fanControlTemperatures().at(0), 52);
    snapshot.average.fanZoneReadings = {zone(0, 51, "first")};
    AppModelAccess::apply(model, snapshot);
    EXPECT_FALSE(model.fanControlTemperatures().contains(1));
  });
}

TEST(AppModelPoll, theSecondFailureInARowClearsWhatIsDerived) {
  ModelHarness h(FanPreset::fullBlast());
  h.smc.setTemperature("TCMz", 106);
  h.run(6);
  ASSERT_TRUE(h.model().criticalThermalOverrideActive());
  const std::size_t samples = h.model().history().size();
  h.smc.broken = true;
  h.run(2);
  EXPECT_NE(h.errorText(), "");
  EXPECT_NE(h.model().displayTemperature(), std::nullopt) << "one failure changes nothing else";
  EXPECT_FALSE(h.model().fanControlTemperatures().empty());
  EXPECT_EQ(h.transcript(), Lines{});

  h.run(2);
  const AppModel& model = h.model();
  EXPECT_EQ(model.displayTemperature(), std::nullopt);
  EXPECT_EQ(model.controlTemperature(), std::nullopt);
  EXPECT_EQ(model.lastTemperatureSampleDate(), std::nullopt);
  EXPECT_EQ(model.sustainedDieTemperature(), std::nullopt);
  EXPECT_TRUE(model.fanControlTemperatures().empty());
  EXPECT_TRUE(model.fanControlDrivers().empty());
  EXPECT_FALSE(model.criticalThermalOverrideActive());
  EXPECT_EQ(model.history().size(), samples) << "failed polls leave no samples and take none away";
  EXPECT_EQ(h.transcript(), (Lines{"reset S1", "end S1"}));
  EXPECT_EQ(model.activePreset().name, "Full Blast");
  EXPECT_NE(h.errorText(), "");

  h.smc.broken = false;
  h.run(2.1);
  EXPECT_EQ(h.errorText(), "");
  EXPECT_TRUE(h.logged("cleared resolved error after telemetry recovery"));
  EXPECT_EQ(h.helper.openSession(), 2);
}

TEST(AppModelPoll, aFailureBetweenGoodReadsIsForgotten) {
  ModelHarness h(FanPreset::fullBlast());
  for (int round = 0; round < 3; ++round) {
    h.smc.broken = true;
    h.run(2);
    EXPECT_NE(h.errorText(), "");
    h.smc.broken = false;
    h.run(2);
    EXPECT_EQ(h.errorText(), "");
  }
  EXPECT_EQ(h.transcript(), Lines{});
}

TEST(AppModelPoll, anSMCThatCannotBeOpenedIsReportedAndPolledOn) {
  ModelHarness h;
  h.smc.openStatus = kIOReturnNotPermitted;
  h.process->mainQueue().async([&] {
    const auto model = AppModel::make(h.doubles.platform);
    EXPECT_TRUE(model->lastError().has_value());
  });
  h.start();
  h.run(2);
  EXPECT_NE(h.errorText(), "");
  EXPECT_TRUE(h.model().history().empty());
}

TEST(AppModelPoll, observersHearOfEveryPollBeforeItIsStored) {
  StartedModel h;
  int announced = 0;
  std::optional<Date> seen;
  std::optional<AppModel::Subscription> subscription;
  h.onMain([&](AppModel& model) {
    subscription = model.observe([&] {
      if (announced++ == 0) seen = model.lastTemperatureSampleDate();
    });
  });
  const auto before = h.model().lastTemperatureSampleDate();
  h.run(2);
  EXPECT_GT(announced, 0);
  EXPECT_EQ(seen, before);
  EXPECT_NE(h.model().lastTemperatureSampleDate(), before);
  subscription.reset();
  announced = 0;
  h.run(2);
  EXPECT_EQ(announced, 0);
}

}  // namespace halcyra::test
