#include <algorithm>

#include "gtest/gtest.h"

#include "App/ModelHarness.h"

namespace halcyra::test {

namespace {

constexpr double pollPeriod = 2.0;

FanPreset renamedConstant(const FanPreset& preset, std::int64_t rpm) {
  FanPreset changed = preset;
  changed.constantRPM = rpm;
  return changed;
}

/// Runs whole polls so that the dies have settled in every filter.
void letSettle(ModelHarness& h) {
  h.run(20 * pollPeriod);
  h.helper.clearTranscript();
}

}  // namespace

TEST(AppModelControl, aFixedTargetIsWrittenOnceItIsFiftyRPMOff) {
  struct Row {
    std::int64_t wanted;
    double reported;
    bool writes;
  };
  for (const Row& row : std::vector<Row>{{3049, 3049, false},
                                         {3050, 3050, true},
                                         {2951, 2951, false},
                                         {2950, 2950, true},
                                         {3030, 3079, false},
                                         {3030, 3080, true}}) {
    SCOPED_TRACE(std::to_string(row.wanted) + " reported " + std::to_string(row.reported));
    ModelHarness h;
    const FanPreset preset = constantPreset(3000);
    h.startDriving(preset);
    h.onMain([&](AppModel& model) { model.savePreset(renamedConstant(preset, row.wanted)); });
    h.smc.setFanTarget(0, row.reported);
    h.smc.setFanTarget(1, static_cast<double>(row.wanted));
    h.run(pollPeriod);
    EXPECT_EQ(h.helper.count("target S1 0 " + std::to_string(row.wanted)), row.writes ? 1u : 0u);
  }
}

TEST(AppModelControl, aFanWithoutAReportedTargetIsWrittenEveryPoll) {
  ModelHarness h(FanPreset::fullBlast());
  h.helper.onFanChange = {};
  h.smc.remove("F0Tg");
  h.run(3 * pollPeriod);
  EXPECT_EQ(h.helper.count("target S1 0 5000"), 3u);
  EXPECT_EQ(h.helper.count("target S1 1 5000"), 0u);
}

TEST(AppModelControl, aFanForMonitoringOnlyWhoseTargetComesAndGoesRestartsNothing) {
  ModelHarness h;
  h.helper.fans[1].controllable = false;
  h.startDriving(FanPreset::fullBlast());
  h.smc.remove("F1Tg");
  h.run(2 * pollPeriod);
  h.smc.clearFailures();
  h.run(4 * pollPeriod);
  EXPECT_TRUE(h.helper.transcript().empty()) << h.helper.transcript().front();
}

TEST(AppModelControl, aCurveFollowsItsZonesWithHysteresis) {
  ModelHarness h;
  FanPreset preset = curvePreset(30, 90);
  preset.hysteresis = 5;
  h.smc.setDie(60);
  h.startDriving(preset);
  EXPECT_EQ(h.helper.fans[0].target, 3100);
  h.smc.setDie(70);
  letSettle(h);
  const std::int64_t warm = h.helper.fans[0].target;
  EXPECT_NEAR(static_cast<double>(warm), 3733, 60);
  EXPECT_GE(h.logCount("fan-zone decision fan=0 zone=Left driver=CPU core bank A keys=Te05"), 2u);

  h.smc.setDie(66);
  letSettle(h);
  h.run(10 * pollPeriod);
  EXPECT_EQ(h.helper.fans[0].target, warm) << "4 °C below the anchor is within the band of 5";
  EXPECT_EQ(h.transcript(), Lines{});

  h.smc.setDie(50);
  letSettle(h);
  EXPECT_LT(h.helper.fans[0].target, 2700);
}

TEST(AppModelControl, eachFanFollowsItsOwnZone) {
  ModelHarness h;
  h.smc.setDie(50);
  h.startDriving(curvePreset(40, 90));
  h.smc.setBankB(85);
  letSettle(h);
  EXPECT_GT(h.helper.fans[1].target, h.helper.fans[0].target + 800);
  EXPECT_GT(h.model().fanControlTemperatures().at(1), h.model().fanControlTemperatures().at(0));
}

TEST(AppModelControl, whileTheOverrideIsActiveEveryPresetRunsAtMaximum) {
  for (const FanPreset& preset : {curvePreset(90, 100), constantPreset(2000), FanPreset::automatic()}) {
    SCOPED_TRACE(preset.name);
    ModelHarness h(preset);
    h.smc.setTemperature("TCMz", 105);
    h.run(pollPeriod);
    EXPECT_TRUE(h.model().criticalThermalOverrideActive());
    EXPECT_EQ(h.helper.fans[0].target, 5000);
    EXPECT_EQ(h.helper.fans[1].target, 5000);
    EXPECT_TRUE(h.logged("critical raw-die override engaged at 105.000000°C"));
    h.run(4 * pollPeriod);
    EXPECT_EQ(h.model().fanControlDrivers().at(0), "CPU core bank A") << "however hot the die has been";
    h.smc.setTemperature("TCMz", 50);
    h.run(7 * pollPeriod);
    EXPECT_TRUE(h.model().criticalThermalOverrideActive()) << "14 s below the release level";
    h.run(60 * pollPeriod * 3);
    EXPECT_FALSE(h.model().criticalThermalOverrideActive());
    EXPECT_EQ(h.logCount("critical raw-die override cleared after sustained cooling"), 1u);
    EXPECT_LT(h.helper.fans[0].target, 2100);
  }
}

TEST(AppModelControl, aCurveIsNotTouchedWhileTheOverrideIsActive) {
  ModelHarness h;
  FanPreset preset = curvePreset(30, 90);
  preset.hysteresis = 10;
  h.smc.setDie(60);
  h.startDriving(preset);
  // 95 °C under the override must not become the curve's anchor.
  h.smc.setDie(95);
  h.smc.setTemperature("TCMz", 106);
  h.run(10 * pollPeriod);
  h.smc.setDie(58);
  h.smc.setTemperature("TCMz", 101);
  h.run(40 * pollPeriod);
  EXPECT_TRUE(h.model().criticalThermalOverrideActive());
  EXPECT_EQ(h.helper.fans[0].target, 5000);
  h.smc.setTemperature("TCMz", 58);
  h.run(10 * pollPeriod);
  EXPECT_FALSE(h.model().criticalThermalOverrideActive());
  EXPECT_EQ(h.helper.fans[0].target, 3100) << "58 °C is within the band below the anchor of 60 °C";
}

TEST(AppModelControl, smartAutoRisesAtOnceAndStepsDownSlowly) {
  ModelHarness h;
  h.smc.setDie(95);
  h.startDriving(FanPreset::automatic());
  ASSERT_EQ(h.helper.fans[0].target, 5000);
  h.smc.setDie(45);
  std::vector<std::pair<double, std::int64_t>> steps{{0.0, 5000}};
  for (int poll = 1; poll <= 250; ++poll) {
    h.run(pollPeriod);
    if (h.helper.fans[0].target != steps.back().second) {
      steps.emplace_back(poll * pollPeriod, h.helper.fans[0].target);
    }
  }
  ASSERT_EQ(steps.back().second, 1200);
  for (std::size_t i = 1; i < steps.size(); ++i) {
    EXPECT_LE(steps[i - 1].second - steps[i].second, 500);
    EXPECT_GT(steps[i - 1].second, steps[i].second);
    EXPECT_GE(steps[i].first - steps[i - 1].first, 30.0);
  }
  EXPECT_TRUE(h.logged("smart auto: fan 0 steps down to 4500 RPM after cooldown hold"));
  EXPECT_TRUE(h.logged("smart auto: fan 0 tier 5 → 4 at "));

  h.smc.setDie(95);
  h.run(6 * pollPeriod);
  EXPECT_EQ(h.helper.fans[0].target, 5000);
}

TEST(AppModelControl, smartAutoReassertsATargetThatReadsBackWrong) {
  for (const double offset : {49.0, 50.0}) {
    SCOPED_TRACE(offset);
    ModelHarness h(FanPreset::fullBlast());
    h.activate(FanPreset::automatic());
    letSettle(h);
    const std::int64_t commanded = h.helper.fans[0].target;
    h.smc.setFanTarget(0, static_cast<double>(commanded) + offset);
    h.run(pollPeriod);
    EXPECT_EQ(h.helper.count("target S1 0 " + std::to_string(commanded)), offset < 50 ? 0u : 1u);
    EXPECT_EQ(h.logCount("reason=target readback reassertion"), offset < 50 ? 0u : 1u);
  }
}

TEST(AppModelControl, smartAutoLooksAheadWhileTheDieHeatsFast) {
  ModelHarness h;
  h.smc.setDie(58);
  h.startDriving(FanPreset::automatic());
  h.run(10 * pollPeriod);
  // 58 °C is 0.21 of the way.
  EXPECT_EQ(h.helper.fans[0].target, 1998);
  for (int poll = 0; poll < 6; ++poll) {
    h.smc.setTemperature("TCMz", 60 + 4 * poll);
    h.run(pollPeriod);
  }
  EXPECT_EQ(h.logCount("smart auto: predictive boost engaged (sustained die "), 1u);
  EXPECT_EQ(h.helper.fans[0].target, 2530) << "the zones count as the next tier, 60 °C";
  EXPECT_EQ(h.model().fanControlDrivers().at(0), "CPU core bank A");
  h.smc.setTemperature("TCMz", 87);
  h.run(pollPeriod);
  h.smc.setTemperature("TCMz", 94);
  h.run(pollPeriod);
  EXPECT_EQ(h.helper.fans[0].target, 2720) << "a sustained 87 °C counts as the floor's next tier, 88 °C";
  EXPECT_EQ(h.model().fanControlDrivers().at(0), "Sustained die heat");
  EXPECT_TRUE(h.logged("reason=smart auto (die-heat floor)"));
  h.run(4 * pollPeriod);
  EXPECT_GT(h.helper.fans[0].target, 3000) << "the sustained 94 °C itself";
}

TEST(AppModelControl, writesWaitForTheOneInFlightAndOnlyTheNewestFollows) {
  ModelHarness h;
  const FanPreset preset = constantPreset(2000);
  h.startDriving(preset);
  h.helper.hold("target");
  for (const std::int64_t rpm : {2500, 3000, 3500}) {
    h.onMain([&](AppModel& model) { model.savePreset(renamedConstant(preset, rpm)); });
    h.run(pollPeriod);
  }
  EXPECT_EQ(h.transcript(), (Lines{"target S1 0 2500", "target S1 1 2500"}));
  h.helper.release("target");
  h.run(0.1);
  EXPECT_EQ(h.transcript(), (Lines{"target S1 0 2500", "target S1 1 2500", "target S1 0 3500", "target S1 1 3500"}));
  h.run(3 * pollPeriod);
  EXPECT_EQ(h.transcript().size(), 4u);
}

TEST(AppModelControl, anAnswerToTheOldPresetDoesNotReachTheNewOne) {
  ModelHarness h;
  const FanPreset preset = constantPreset(2000);
  h.startDriving(preset);
  h.helper.hold("target");
  h.onMain([&](AppModel& model) { model.savePreset(renamedConstant(preset, 2500)); });
  h.run(pollPeriod);
  ASSERT_EQ(h.helper.heldCount("target"), 2u);
  h.helper.failNext("target", helperError(99));
  h.activate(FanPreset::fullBlast());
  h.helper.release("target");
  h.run(0.2);
  EXPECT_EQ(h.errorText(), "") << "the failed write belonged to the old preset";
  EXPECT_EQ(h.helper.fans[0].target, 5000);
  EXPECT_EQ(h.helper.fans[1].target, 5000);
  h.run(3 * pollPeriod);
  EXPECT_EQ(h.helper.count("reset S1"), 0u);
}

}  // namespace halcyra::test
