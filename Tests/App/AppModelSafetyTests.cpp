#include "gtest/gtest.h"

#include "App/ModelHarness.h"

namespace halcyra::test {

TEST(AppModelSafety, aCompetitorTakesTheFansAwayUntilItIsGone) {
  ModelHarness h(FanPreset::fullBlast());
  h.setCompetitor(ModelHarness::competitorPath);
  h.run(2.2);
  EXPECT_EQ(h.model().competingController(), "TG Pro");
  EXPECT_EQ(h.transcript(), (Lines{"reset S1", "end S1"}));
  EXPECT_EQ(h.errorText(), conflictText("TG Pro", "Full Blast"));
  EXPECT_EQ(h.model().visibleError(), std::nullopt);
  EXPECT_EQ(h.model().activePreset().name, "Full Blast");
  EXPECT_TRUE(h.logged("competing fan controller detected: TG Pro"));
  h.run(30);
  EXPECT_EQ(h.helper.openSession(), 0);

  h.setCompetitor(ModelHarness::otherCompetitorPath);
  h.run(0.6);
  EXPECT_EQ(h.model().competingController(), "Macs Fan Control") << "the monitor looks every half second";
  EXPECT_EQ(h.errorText(), conflictText("Macs Fan Control", "Full Blast"));
  EXPECT_EQ(h.model().visibleError(), std::nullopt);

  h.setCompetitor(std::nullopt);
  h.run(0.6);
  EXPECT_EQ(h.model().competingController(), std::nullopt);
  EXPECT_EQ(h.errorText(), "");
  EXPECT_EQ(h.model().activeConflictMessage(), std::nullopt);
  h.run(2);
  EXPECT_EQ(h.helper.openSession(), 2) << "restored by the next poll";
  const int scans = h.doubles.system.listings();
  h.run(20);
  EXPECT_EQ(h.doubles.system.listings() - scans, 10) << "with the polls only";
}

TEST(AppModelSafety, aCompetitorIsOnlyReportedWhereNoPresetDrives) {
  struct Row {
    bool monitoringOnly;
    bool message;
  };
  for (const Row& row : {Row{false, true}, Row{true, false}}) {
    SCOPED_TRACE(row.monitoringOnly);
    StartedModel h;
    if (row.monitoringOnly) {
      h.onMain([](AppModel& model) { model.setFanControlOwnership(FanControlOwnership::anotherApp); });
    }
    h.setCompetitor(ModelHarness::competitorPath);
    h.run(2.2);
    EXPECT_EQ(h.model().competingController(), "TG Pro");
    EXPECT_EQ(h.errorText(), "");
    EXPECT_EQ(h.model().activeConflictMessage().has_value(), row.message);
    EXPECT_EQ(h.transcript(), Lines{});
  }
}

TEST(AppModelSafety, aFailedWriteBesideACompetitorWaitsForItsEnd) {
  struct Row {
    /// 6: the helper takes it for a conflict.
    std::int64_t code;
    bool competitor;
    std::string message;
  };
  for (const Row& row : std::vector<Row>{
           {6, true, conflictText("TG Pro", "Constant")}, {99, true, "rejected"}, {6, false, "rejected"}}) {
    SCOPED_TRACE(std::to_string(row.code) + (row.competitor ? " beside a competitor" : ""));
    ModelHarness h(constantPreset(3000));
    h.helper.failNext("target", helperError(row.code, "rejected"));
    h.smc.setFanTarget(0, 2000);
    h.helper.hold("target");
    h.run(2.5);
    // Between two scans: the failure itself makes the model look.
    if (row.competitor) h.setCompetitor(ModelHarness::competitorPath);
    h.run(0.5);
    EXPECT_EQ(h.model().competingController(), std::nullopt);
    h.helper.release("target");
    h.run(0.1);
    EXPECT_EQ(h.errorText(), row.message);
    EXPECT_EQ(h.helper.openSession(), 0);
    if (row.competitor) {
      h.run(20);
      EXPECT_EQ(h.helper.openSession(), 0);
      EXPECT_EQ(h.errorText(), row.message) << "no attempt was made meanwhile";
      h.setCompetitor(std::nullopt);
      h.run(3);
    } else {
      h.run(8);
    }
    EXPECT_EQ(h.helper.openSession(), 2);
  }
}

TEST(AppModelSafety, ownershipMovesAwayAndBack) {
  ModelHarness h(FanPreset::fullBlast());
  h.onMain([](AppModel& model) { model.setFanControlOwnership(FanControlOwnership::aerovane); });
  EXPECT_EQ(h.transcript(), Lines{}) << "no change";
  h.onMain([](AppModel& model) { model.setFanControlOwnership(FanControlOwnership::anotherApp); });
  EXPECT_EQ(h.transcript(), (Lines{"reset S1", "end S1"}));
  EXPECT_EQ(h.model().activePreset().name, "Full Blast");
  EXPECT_EQ(h.doubles.userDefaults.string("fanControlOwnership.v1"), "anotherApp");
  h.run(20);
  EXPECT_EQ(h.helper.openSession(), 0);

  h.onMain([](AppModel& model) { model.setFanControlOwnership(FanControlOwnership::aerovane); });
  EXPECT_EQ(h.doubles.userDefaults.string("fanControlOwnership.v1"), "aerovane");
  h.run(0.9);
  EXPECT_EQ(h.helper.openSession(), 0) << "at least 1 s";
  h.run(3);
  EXPECT_EQ(h.helper.openSession(), 2);
}

TEST(AppModelSafety, ownershipTakenWhileACompetitorRunsIsAConflict) {
  ModelHarness h;
  h.doubles.userDefaults.setString("fanControlOwnership.v1", "anotherApp");
  h.doubles.userDefaults.setString("lastSelectedFanPresetID.v1", FanPreset::fullBlast().id.string());
  h.setCompetitor(ModelHarness::competitorPath);
  h.start();
  h.run(2);
  EXPECT_EQ(h.model().competingController(), "TG Pro");
  EXPECT_EQ(h.errorText(), "");
  h.onMain([](AppModel& model) { model.setFanControlOwnership(FanControlOwnership::aerovane); });
  EXPECT_EQ(h.errorText(), conflictText("TG Pro", "Full Blast"));
  h.run(5);
  EXPECT_EQ(h.transcript(), Lines{});
  h.setCompetitor(std::nullopt);
  h.run(3);
  EXPECT_EQ(h.helper.openSession(), 1);
}

TEST(AppModelSafety, theMachineSleepsOnlyOnceTheFansAreHandedBack) {
  ModelHarness h(FanPreset::fullBlast());
  h.helper.hold("end");
  h.sleepMachine();
  EXPECT_EQ(h.transcript(), (Lines{"reset S1", "end S1"}));
  EXPECT_EQ(h.helper.fans[0].mode, 0);
  EXPECT_EQ(h.sleepsAllowed(), 0);
  h.helper.release("end");
  h.run(0.1);
  EXPECT_EQ(h.sleepsAllowed(), 1);
  EXPECT_EQ(h.model().displayTemperature(), std::nullopt);
  EXPECT_TRUE(h.model().fanControlTemperatures().empty());
  const int calls = h.smc.calls;
  h.activate(curvePreset());
  h.run(60);
  EXPECT_EQ(h.smc.calls, calls) << "no poll while asleep";
  EXPECT_EQ(h.model().activePreset().name, "Full Blast");

  h.wakeMachine();
  h.run(0.1);
  EXPECT_EQ(h.helper.openSession(), 2);
  EXPECT_EQ(h.helper.fans[0].target, 5000);
  EXPECT_NE(h.model().displayTemperature(), std::nullopt);
}

TEST(AppModelSafety, installingReportsWhatCameOfIt) {
  struct Row {
    const char* name;
    int before, after;
    const char* failure;
    std::string error;
    std::string log;
    int settingsOpened;
  };
  const std::vector<Row> rows = {
      {"approved", 0, 1, nullptr, "", "helper register returned; state=Approved", 0},
      {"needs approval", 0, 2, nullptr, "", "helper register returned; state=Approval required", 1},
      {"fails", 0, 0, "denied", "denied", "helper register threw denied; state=Not installed", 0},
      {"fails for lack of approval", 2, 2, "denied", "", "helper register threw denied; state=Approval required", 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ModelHarness h;
    h.doubles.serviceManagement.setDaemonStatus(row.before);
    h.start();
    if (row.failure != nullptr) {
      h.doubles.serviceManagement.failRegister(ServiceManagementFailure(row.failure));
    }
    h.doubles.serviceManagement.setNeedsApproval(row.after == ServiceManagement::requiresApproval);
    h.onMain([](AppModel& model) { model.installHelper(); });
    EXPECT_EQ(h.errorText(), row.error);
    EXPECT_EQ(h.model().helperState(), helperInstallStateFromStatus(row.after));
    EXPECT_TRUE(h.logged("installHelper invoked"));
    EXPECT_TRUE(h.logged(row.log));
    EXPECT_EQ(h.doubles.serviceManagement.counts().settingsOpened, row.settingsOpened);
  }
}

TEST(AppModelSafety, uninstallingHandsBackFirst) {
  for (const bool refused : {false, true}) {
    SCOPED_TRACE(refused);
    ModelHarness h(FanPreset::fullBlast());
    if (refused) {
      h.helper.failNext("prepare", helperError(99, "not now"));
    }
    h.onMain([](AppModel& model) { model.uninstallHelper(); });
    EXPECT_EQ(h.transcript(), (Lines{"reset S1", "end S1", "prepare"}));
    EXPECT_EQ(h.errorText(), refused ? "not now" : "");
    EXPECT_EQ(h.model().helperState(), refused ? HelperInstallState::enabled : HelperInstallState::notRegistered);
    EXPECT_EQ(h.model().activePreset().name, "Apple Default");
  }
}

TEST(AppModelSafety, theLoginItemShowsWhatTheSystemSays) {
  StartedModel h;
  EXPECT_FALSE(h.model().launchAtLogin());
  h.onMain([](AppModel& model) { model.setLaunchAtLogin(true); });
  EXPECT_TRUE(h.model().launchAtLogin());
  h.doubles.serviceManagement.failMainApp(ServiceManagementFailure("no login items today"));
  h.onMain([](AppModel& model) { model.setLaunchAtLogin(false); });
  EXPECT_TRUE(h.model().launchAtLogin()) << "still registered";
  EXPECT_EQ(h.errorText(), "no login items today");
}

TEST(AppModelSafety, terminationHandsBackAndClosesEverythingBeforeItAnswers) {
  ModelHarness h(FanPreset::fullBlast());
  h.helper.hold("reset");
  int finished = 0;
  h.onMain([&](AppModel& model) { model.prepareForTermination([&] { ++finished; }); });
  EXPECT_EQ(finished, 0);
  EXPECT_EQ(h.smc.openConnections(), 1);
  h.helper.release("reset");
  h.run(0.1);
  EXPECT_EQ(finished, 1);
  EXPECT_EQ(h.transcript(), (Lines{"reset S1", "end S1"}));
  EXPECT_EQ(h.smc.openConnections(), 0);
  EXPECT_EQ(h.doubles.userDefaults.string("lastSelectedFanPresetID.v1"), FanPreset::fullBlast().id.string());

  const int calls = h.smc.calls;
  h.onMain([](AppModel& model) {
    model.poll();
    model.restartPolling();
    model.activate(FanPreset::fullBlast(), false);
    model.runSupervisedFan0Test();
  });
  h.setCompetitor(ModelHarness::competitorPath);
  h.run(30);
  EXPECT_EQ(h.smc.calls, calls);
  EXPECT_EQ(h.transcript().size(), 2u);
  EXPECT_FALSE(h.model().isBusy());
}

TEST(AppModelSafety, aReadFromBeforeTerminationIsNeverApplied) {
  StartedModel h;
  h.smc.callDuration = Seconds{0.01};
  h.run(2.1);
  const std::size_t samples = h.model().history().size();
  int finished = 0;
  h.onMain([&](AppModel& model) { model.prepareForTermination([&] { ++finished; }); });
  EXPECT_EQ(finished, 1) << "the SMC is closed behind the read";
  h.run(5);
  EXPECT_EQ(h.model().history().size(), samples);
}

TEST(AppModelSafety, theModelsEndStopsItsTimersAndClosesTheSMC) {
  ModelHarness h(FanPreset::fullBlast());
  h.destroyModel();
  EXPECT_EQ(h.smc.openConnections(), 0);
  const int calls = h.smc.calls;
  h.run(20);
  EXPECT_EQ(h.smc.calls, calls);
  h.sleepMachine();
  EXPECT_EQ(h.transcript(), Lines{});
}

}  // namespace halcyra::test
