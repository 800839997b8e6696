#include <functional>

#include "gtest/gtest.h"

#include "App/ModelHarness.h"
#include "XPC/HelperXPCError.h"

namespace halcyra::test {

namespace {

constexpr const char* notReady = "Approve the helper and complete the supervised fan test first.";
constexpr const char* noFans = "No controllable fans are currently available. Aerovane will retry when they return.";

struct Refusal {
  const char* name;
  std::function<void(ModelHarness&)> obstacle;
  std::string message;
  bool selects;
};

std::vector<Refusal> refusals() {
  return {
      {"ownership", [](ModelHarness& h) { h.doubles.userDefaults.setString("fanControlOwnership.v1", "anotherApp"); },
       "Aerovane is in monitoring-only mode. Choose “Aerovane controls fans” in Settings before applying a preset.",
       false},
      {"hardware", [](ModelHarness& h) { h.doubles.system.setModel("Mac14,1"); },
       "Fan control is hardware-verified only on Mac15,11. This Mac14,1 remains in safe monitoring-only mode until its "
       "sensor and fan topology is validated.",
       false},
      {"unknown hardware", [](ModelHarness& h) { h.doubles.system.setModel(""); },
       "Fan control is hardware-verified only on Mac15,11. This Unknown Mac remains in safe monitoring-only mode until "
       "its sensor and fan topology is validated.",
       false},
      {"competitor", [](ModelHarness& h) { h.setCompetitor(ModelHarness::competitorPath); },
       conflictText("TG Pro", "Full Blast"), true},
      {"no fans",
       [](ModelHarness& h) {
         for (const char* key : {"F0Ac", "F0Md", "F0Tg", "F1Ac", "F1Md", "F1Tg"}) h.smc.remove(key);
       },
       noFans, true},
      {"helper", [](ModelHarness& h) { h.doubles.serviceManagement.setDaemonStatus(2); }, notReady, true},
      {"test", [](ModelHarness& h) { h.doubles.userDefaults.setInteger("supervisedFanTestProtocolVersion", 2); },
       notReady, true},
  };
}

}  // namespace

TEST(AppModelActivation, everyMissingPreconditionRefusesWithItsMessage) {
  for (const Refusal& refusal : refusals()) {
    SCOPED_TRACE(refusal.name);
    ModelHarness h;
    refusal.obstacle(h);
    h.start();
    h.activate(FanPreset::fullBlast());
    EXPECT_EQ(h.errorText(), refusal.message);
    EXPECT_EQ(h.model().activePreset().name, refusal.selects ? "Full Blast" : "Apple Default");
    EXPECT_FALSE(h.model().isBusy());
    h.run(10);
    EXPECT_EQ(h.transcript(), Lines{}) << "the helper must not be asked for anything";
  }
}

TEST(AppModelActivation, anObstacleHandsBackASessionThatIsHeld) {
  ModelHarness h(FanPreset::fullBlast());
  h.doubles.serviceManagement.setDaemonStatus(2);
  h.run(2);
  h.activate(curvePreset());
  EXPECT_EQ(h.errorText(), notReady);
  EXPECT_EQ(h.transcript(), (Lines{"reset S1", "end S1"}));
  EXPECT_EQ(h.model().activePreset().name, "Curve");
  h.doubles.serviceManagement.setDaemonStatus(1);
  h.run(4);
  EXPECT_EQ(h.transcript().size(), 2u) << "not restored before 5 s";
  h.run(4);
  EXPECT_EQ(h.helper.count("begin S2"), 1u);
  EXPECT_EQ(h.errorText(), "");
}

TEST(AppModelActivation, enablesTheFansOneAfterAnother) {
  StartedModel h;
  h.helper.hold("mode");
  h.activate(FanPreset::fullBlast());
  EXPECT_EQ(h.transcript(), (Lines{"begin S1", "mode S1 0 manual"}));
  EXPECT_TRUE(h.model().isBusy());
  EXPECT_TRUE(h.model().hasHelperSession());
  h.activate(curvePreset());
  EXPECT_EQ(h.model().activePreset().name, "Full Blast") << "ignored while busy";
  h.helper.release("mode");
  h.run(0.1);
  EXPECT_EQ(h.transcript(),
            (Lines{"begin S1", "mode S1 0 manual", "target S1 0 5000", "mode S1 1 manual", "target S1 1 5000"}));
  EXPECT_FALSE(h.model().isBusy());
  EXPECT_EQ(h.errorText(), "");
  EXPECT_TRUE(h.logged("remembered preset: Full Blast"));
  EXPECT_EQ(h.doubles.userDefaults.string("lastSelectedFanPresetID.v1"), FanPreset::fullBlast().id.string());
}

TEST(AppModelActivation, drivesOnlyFansThatTheHelperCanControl) {
  ModelHarness h;
  h.helper.fans[0].controllable = false;
  h.start();
  h.activate(FanPreset::fullBlast());
  EXPECT_EQ(h.transcript(), (Lines{"begin S1", "mode S1 1 manual", "target S1 1 5000"}));
  EXPECT_EQ(h.model().controllableFanIndices(), std::set<int>{1});
}

TEST(AppModelActivation, firstTargetFollowsThePresetAndTheOverride) {
  FanPreset unlinked = curvePreset();
  unlinked.linkedFans = false;
  unlinked.fan0Settings = FanCurveSettings{.lowTemperature = 60, .highTemperature = 90, .constantRPM = std::nullopt};
  unlinked.fan1Settings = FanCurveSettings{.lowTemperature = 30, .highTemperature = 90, .constantRPM = std::nullopt};
  struct Row {
    FanPreset preset;
    double die;
    std::int64_t left, right;
  };
  const std::vector<Row> rows = {
      {curvePreset(), 40, 3100, 3100},
      {unlinked, 60, 1200, 3100},
      {constantPreset(3000), 40, 3000, 3000},
      {constantPreset(6000), 40, 5000, 5000},
      {FanPreset::fullBlast(), 40, 5000, 5000},
      {FanPreset::automatic(), 67.5, 3100, 3100},
      {FanPreset::batterySaver(), 106, 5000, 5000},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.preset.name + " at " + std::to_string(row.die));
    ModelHarness h;
    h.smc.setDie(row.die);
    h.start();
    h.activate(row.preset);
    // The very first target, before the next poll could put it right.
    const Lines sent = h.transcript();
    ASSERT_GE(sent.size(), 5u);
    EXPECT_EQ(sent[2], "target S1 0 " + std::to_string(row.left));
    EXPECT_EQ(sent[4], "target S1 1 " + std::to_string(row.right));
    EXPECT_EQ(h.helper.fans[0].mode + h.helper.fans[1].mode, 2);
  }
}

TEST(AppModelActivation, aFailureHandsBackAndTriesAgainAfterFiveSeconds) {
  for (const char* operation : {"begin", "mode", "target"}) {
    for (const bool broken : {false, true}) {
      SCOPED_TRACE(std::string(operation) + (broken ? " broken" : " refused"));
      StartedModel h;
      const Error error = broken ? Error(cocoaErrorDomain, 4097, "gone") : helperError(99, "no such luck");
      if (broken) {
        h.helper.breakNext(operation, error);
      } else {
        h.helper.failNext(operation, error);
      }
      h.activate(FanPreset::fullBlast());
      EXPECT_EQ(h.errorText(), error.localizedDescription());
      EXPECT_FALSE(h.model().isBusy());
      EXPECT_FALSE(h.model().hasHelperSession());
      EXPECT_EQ(h.helper.openSession(), 0);
      EXPECT_EQ(h.helper.count("reset S1"), operation == std::string("begin") ? 0u : 1u);
      EXPECT_EQ(h.model().activePreset().name, "Full Blast");
      h.run(4.5);
      EXPECT_EQ(h.helper.count("begin S2"), 0u);
      h.run(4);
      EXPECT_EQ(h.helper.count("begin S2"), 1u);
      EXPECT_EQ(h.helper.fans[1].target, 5000);
      EXPECT_EQ(h.errorText(), "") << "cleared by the activation that succeeds";
    }
  }
}

TEST(AppModelActivation, choosingAgainLiftsTheWaitOfAFailure) {
  StartedModel h;
  h.helper.failNext("begin", helperError(99));
  h.activate(FanPreset::fullBlast());
  h.doubles.serviceManagement.setDaemonStatus(2);
  h.run(2);
  h.activate(curvePreset());
  EXPECT_EQ(h.errorText(), notReady);
  h.doubles.serviceManagement.setDaemonStatus(1);
  h.run(2);
  EXPECT_EQ(h.helper.count("begin S2"), 1u);
  EXPECT_EQ(h.errorText(), "");
}

TEST(AppModelActivation, anAbnormalPreflightIsNeverDriven) {
  const std::vector<PropertyList> statuses = {
      {{"protocolVersion", 2}, {"fanCount", 2}},
      {{"protocolVersion", 1}, {"fanCount", 2}, {"fanTestMode", 1}},
      {{"protocolVersion", 1}, {"fanCount", 0}, {"fans", PropertyList::array()}},
      nullptr,
  };
  for (const PropertyList& status : statuses) {
    SCOPED_TRACE(status.dump());
    ModelHarness h;
    h.helper.statusOverride = status;
    h.start();
    h.activate(FanPreset::fullBlast());
    EXPECT_EQ(h.errorText(), "The helper did not find a fan it can safely control on this Mac");
    EXPECT_EQ(h.transcript(), (Lines{"begin S1", "reset S1", "end S1"}));
    EXPECT_FALSE(h.model().isBusy());
  }
}

TEST(AppModelActivation, aRememberedPresetComesBackByItselfAndRetriesQuietly) {
  struct Row {
    const char* name;
    std::function<void(ScriptedHelper&)> failure;
    std::string message;
  };
  const std::vector<Row> rows = {
      {"none", [](ScriptedHelper&) {}, ""},
      {"busy", [](ScriptedHelper& helper) { helper.failNext("begin", helperError(1)); }, ""},
      {"invalid session", [](ScriptedHelper& helper) { helper.failNext("begin", helperError(2)); }, ""},
      {"interrupted", [](ScriptedHelper& helper) { helper.breakNext("begin", Error(cocoaErrorDomain, 4097, "x")); },
       ""},
      {"invalidated", [](ScriptedHelper& helper) { helper.breakNext("begin", Error(cocoaErrorDomain, 4099, "x")); },
       ""},
      {"other Cocoa error",
       [](ScriptedHelper& helper) { helper.breakNext("begin", Error(cocoaErrorDomain, 4096, "x")); }, "x"},
      {"real failure", [](ScriptedHelper& helper) { helper.failNext("begin", helperError(99, "y")); }, "y"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ModelHarness h;
    h.doubles.userDefaults.setString("lastSelectedFanPresetID.v1", FanPreset::fullBlast().id.string());
    row.failure(h.helper);
    h.start();
    h.run(0.1);
    EXPECT_EQ(h.errorText(), row.message);
    EXPECT_FALSE(h.model().isBusy());
    EXPECT_EQ(h.helper.count("begin S1"), 1u);
    if (std::string(row.name) != "none") {
      EXPECT_FALSE(h.model().hasHelperSession());
      h.run(4.8);
      EXPECT_EQ(h.helper.count("begin S2"), 0u) << "not before 5 s";
      h.run(3);
      EXPECT_EQ(h.helper.count("begin S2"), 1u);
    }
    EXPECT_EQ(h.helper.fans[0].mode, 1);
    EXPECT_TRUE(h.logged("restoring remembered preset: Full Blast"));
  }
}

TEST(AppModelActivation, anInvalidSessionAnswerToAChosenPresetIsAPlainFailure) {
  StartedModel h;
  h.helper.failNext("begin", helperError(2));
  h.activate(FanPreset::fullBlast());
  EXPECT_FALSE(h.model().isBusy());
  EXPECT_NE(h.errorText(), "");
  EXPECT_FALSE(h.logged("control session lost"));
  h.run(4.5);
  EXPECT_EQ(h.helper.count("begin S2"), 0u);
  h.run(3);
  EXPECT_EQ(h.helper.count("begin S2"), 1u);
}

TEST(AppModelActivation, aSessionThatStartsTooLateIsEndedAndDrivesNothing) {
  StartedModel h;
  h.helper.hold("begin");
  h.activate(FanPreset::fullBlast());
  h.sleepMachine();
  EXPECT_EQ(h.sleepsAllowed(), 1);
  h.helper.release("begin");
  h.run(0.1);
  EXPECT_EQ(h.transcript(), (Lines{"begin S1", "end S1"}));
  EXPECT_EQ(h.helper.openSession(), 0);
  EXPECT_FALSE(h.model().isBusy());
  h.wakeMachine();
  h.run(0.1);
  EXPECT_EQ(h.helper.count("begin S2"), 1u);
  EXPECT_EQ(h.helper.fans[0].target, 5000);
}

TEST(AppModelActivation, aPresetThatIsEditedWhileItsSessionStartsIsDrivenAsEdited) {
  for (const bool isRefused : {false, true}) {
    SCOPED_TRACE(isRefused);
    ModelHarness h;
    const FanPreset preset = constantPreset(2000);
    h.startDriving(preset);
    h.sleepMachine();
    h.helper.hold("begin");
    h.wakeMachine();
    h.run(0.1);
    ASSERT_EQ(h.transcript().back(), "begin S2");
    FanPreset edited = preset;
    edited.constantRPM = 4000;
    h.onMain([&](AppModel& model) { model.savePreset(edited); });
    if (isRefused) h.helper.failNext("begin", HelperXPCError::make(HelperXPCError::Code::busy, "busy"));
    h.helper.release("begin");
    h.run(20);
    EXPECT_EQ(h.model().activePreset().constantRPM, 4000);
    EXPECT_EQ(h.helper.fans[0].target, 4000);
    EXPECT_EQ(h.model().lastError(), std::nullopt);
  }
}

TEST(AppModelActivation, repliesUnderAChangedGenerationAreDropped) {
  for (const char* operation : {"mode", "target"}) {
    SCOPED_TRACE(operation);
    StartedModel h;
    h.helper.hold(operation);
    h.activate(FanPreset::fullBlast());
    const std::size_t sent = h.transcript().size();
    h.onMain([](AppModel& model) { model.resetToAutomatic({.reason = "settings emergency reset", .selection = Selection::drop}); });
    EXPECT_FALSE(h.model().isBusy());
    h.helper.release(operation);
    h.run(6);
    EXPECT_EQ(h.transcript().size(), sent + 2) << "nothing after the hand-back";
    EXPECT_EQ(h.transcript().back(), "end S1");
    EXPECT_EQ(h.model().activePreset().name, "Apple Default");
    EXPECT_EQ(h.errorText(), "") << "the late error is nobody's";
    EXPECT_EQ(h.helper.fans[0].mode, 0);
  }
}

TEST(AppModelActivation, aFanThatVanishesWhileItsModeLatchesIsAnAbnormalPreflight) {
  StartedModel h;
  h.helper.hold("mode");
  h.activate(FanPreset::fullBlast());
  h.onMain([](AppModel& model) {
    TelemetrySnapshot snapshot;
    snapshot.fans = {FanInfo{1, 1500, 1200, 5000, FanMode::automatic, 1500}};
    snapshot.average.temperature = 40;
    AppModelAccess::apply(model, snapshot);
  });
  h.helper.release("mode");
  h.run(0.1);
  EXPECT_EQ(h.errorText(), "The helper preflight contained an abnormal fan reading");
  EXPECT_EQ(h.helper.openSession(), 0);
  EXPECT_EQ(h.helper.count("target S1 0 5000"), 0u);
}

TEST(AppModelActivation, aFanWithImpossibleLimitsIsLeftAloneAndNamedOnce) {
  ModelHarness h;
  h.start({.refreshHelperRegistration = true});
  const auto poll = [](AppModel& model) {
    TelemetrySnapshot snapshot;
    snapshot.fans = {FanInfo{0, 1500, 5000, 1200, FanMode::automatic, 1200},
                     FanInfo{1, 1500, 1200, 5000, FanMode::automatic, 1200}};
    snapshot.average.temperature = 40;
    snapshot.average.hasValidatedFanZoneTopology = true;
    AppModelAccess::apply(model, snapshot);
  };
  h.onMain(poll);
  h.onMain([](AppModel& model) { model.activate(FanPreset::automatic(), false); });
  h.onMain(poll);
  EXPECT_EQ(h.transcript(), (Lines{"begin S1", "mode S1 1 manual", "target S1 1 1200"}));
  EXPECT_EQ(h.logCount("fan 0 is left alone"), 1u);
}

TEST(AppModelActivation, appleDefaultWithoutASessionIsSelectedAtOnce) {
  ModelHarness h;
  h.doubles.serviceManagement.setDaemonStatus(2);
  h.start();
  h.activate(FanPreset::fullBlast());
  bool busy = true;
  h.onMain([&](AppModel& model) {
    model.activate(FanPreset::systemDefault(), false);
    busy = model.isBusy();
  });
  EXPECT_FALSE(busy);
  EXPECT_EQ(h.model().activePreset(), FanPreset::systemDefault());
  EXPECT_EQ(h.doubles.userDefaults.string("lastSelectedFanPresetID.v1"), FanPreset::systemDefault().id.string());
  h.doubles.serviceManagement.setDaemonStatus(1);
  h.run(6);
  EXPECT_EQ(h.transcript(), Lines{}) << "nothing is left to restore";
}

}  // namespace halcyra::test
