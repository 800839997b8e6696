// The application around the model: its start, settings, alerts, the helper's installation, and its end.

#include <cmath>

#include "App/AppDelegate.h"
#include "App/AppRig.h"
#include "App/MenuBarTitle.h"
#include "App/UpdateManager.h"

namespace halcyra::test {
namespace {

class AppDelegateTest : public testing::Test {
 protected:
  std::shared_ptr<AppDelegate> launch(LaunchFlags flags, std::optional<ServiceManagementFailure> unregister = {},
                                      std::optional<ServiceManagementFailure> registering = {}) {
    AppModelOptions options;
    options.refreshHelperRegistration = flags.refreshHelperRegistration;
    rig.emplace(std::function<void(TestPlatform&)>(), options);
    rig->doubles().serviceManagement.failUnregister(std::move(unregister));
    rig->doubles().serviceManagement.failRegister(std::move(registering));
    AppDelegateSurroundings surroundings;
    surroundings.terminate = [this] { ++terminations; };
    surroundings.standardOutput = [this](const std::string& text) { output += text; };
    surroundings.standardError = [this](const std::string& text) { errors += text; };
    surroundings.startUpdates = [this] { ++updateStarts; };
    auto delegate = std::make_shared<AppDelegate>(rig->doubles().platform, rig->model().shared_from_this(), flags,
                                                  std::move(surroundings));
    rig->onMain([&](AppModel&) { delegate->applicationDidFinishLaunching(); });
    return delegate;
  }
  FakeServiceManagement::Counts counts() { return rig->doubles().serviceManagement.counts(); }

  std::optional<AppRig> rig;
  int terminations = 0;
  int updateStarts = 0;
  std::string output;
  std::string errors;
};

constexpr LaunchFlags refreshing{.refreshHelperRegistration = true};

TEST_F(AppDelegateTest, ALaunchStartsTheUpdaterAndInstallsTheHelperOnlyWhenAsked) {
  for (const bool asked : {false, true}) {
    launch({.installHelper = asked});
    EXPECT_EQ(updateStarts, asked ? 2 : 1);
    EXPECT_EQ(counts().registered, asked ? 1 : 0);
    EXPECT_EQ(counts().unregistered, 0);
  }
}

TEST_F(AppDelegateTest, QuittingTwiceHandsBackOnceAndEndsAfterIt) {
  const auto delegate = launch({});
  rig->drive(FanPreset::fullBlast());
  rig->onMain([&](AppModel&) {
    EXPECT_EQ(delegate->applicationShouldTerminate(), TerminateReply::terminateLater);
    EXPECT_EQ(delegate->applicationShouldTerminate(), TerminateReply::terminateLater);
    EXPECT_EQ(terminations, 0) << "the process must not end before the hand-back";
  });
  EXPECT_TRUE(rig->loop.runUntil([&] { return terminations > 0; }, 10));
  EXPECT_TRUE(rig->loop.allAutomatic());
  rig->run(10);
  EXPECT_EQ(terminations, 1);
}

TEST_F(AppDelegateTest, RefreshingRegistersAnewAndEndsWithoutAHandBack) {
  const auto delegate = launch(refreshing);
  EXPECT_EQ(output, "Aerovane helper registration refreshed: 1\n");
  EXPECT_EQ(errors, "");
  EXPECT_EQ(counts().unregistered, 1);
  EXPECT_EQ(counts().registered, 1);
  EXPECT_EQ(terminations, 1);
  EXPECT_EQ(updateStarts, 0);
  EXPECT_TRUE(rig->model().history().empty()) << "no telemetry is read";
  EXPECT_EQ(delegate->applicationShouldTerminate(), TerminateReply::terminateNow);
  EXPECT_EQ(menuBarTitle(rig->model().view()), "Fan") << "without fans and temperature it is a word";
}

TEST_F(AppDelegateTest, RefreshingEndsWhenTheOldRegistrationStays) {
  const auto delegate = launch(refreshing, ServiceManagementFailure("Busy."));
  rig->run(10);
  EXPECT_EQ(errors, "Aerovane helper unregister failed: Busy.\n");
  EXPECT_EQ(output, "");
  EXPECT_EQ(counts().registered, 0);
  EXPECT_EQ(terminations, 1);
}

TEST_F(AppDelegateTest, RefreshingTriesThreeTimesTwoSecondsApartOrUntilItSucceeds) {
  auto delegate = launch(refreshing, {}, ServiceManagementFailure("No."));
  rig->run(1.7);
  EXPECT_EQ(counts().registered, 1);
  rig->run(2.0);
  EXPECT_EQ(counts().registered, 2);
  EXPECT_EQ(terminations, 0);
  rig->run(20);
  EXPECT_EQ(counts().registered, 3);
  EXPECT_EQ(errors,
            "Aerovane helper register failed (attempt 1): No.\n"
            "Aerovane helper register failed (attempt 2): No.\n"
            "Aerovane helper register failed (attempt 3): No.\n");
  EXPECT_EQ(output, "");
  EXPECT_EQ(terminations, 1);

  delegate = launch(refreshing, {}, ServiceManagementFailure("No."));
  rig->run(1);
  rig->doubles().serviceManagement.failRegister(std::nullopt);
  rig->run(5);
  EXPECT_EQ(counts().registered, 2);
  EXPECT_EQ(output, "Aerovane helper registration refreshed: 1\n");
  EXPECT_EQ(terminations, 2);
}

class ScriptedUpdater : public Updater {
 public:
  void start() override { ++starts; }
  bool canCheckForUpdates() const override { return canCheck; }
  void checkForUpdates() override { ++checks; }

  bool canCheck = false;
  int starts = 0;
  int checks = 0;
};

TEST(UpdateManager, checksOrSaysWhyNot) {
  ScriptedUpdater updater;
  std::vector<Warning> warnings;
  UpdateManager manager(updater, [&](const Warning& warning) { warnings.push_back(warning); });
  EXPECT_EQ(updater.starts, 1);
  manager.checkForUpdates();
  ASSERT_EQ(warnings.size(), 1U);
  EXPECT_EQ(updater.checks, 0);
  EXPECT_EQ(warnings[0].message, "Unable to Check for Updates");
  EXPECT_EQ(warnings[0].informativeText,
            "Aerovane's updater is not ready. Check your internet connection and try again.");
  EXPECT_EQ(warnings[0].button, "OK");
  updater.canCheck = true;
  manager.checkForUpdates();
  EXPECT_EQ(updater.checks, 1);
  EXPECT_EQ(warnings.size(), 1U);
}

TEST(ModelSettings, AreLoadedAndStoredWithinTheirBounds) {
  struct Row {
    std::optional<double> interval, threshold;
    double expectedInterval, expectedThreshold;
  };
  for (const Row& row : std::vector<Row>{
           {std::nullopt, 0.0, 2.0, 85.0}, {0.4, 30.0, 1.0, 40.0}, {9.0, 120.0, 5.0, 100.0}, {2.5, 70.0, 2.5, 70.0}}) {
    AppRig rig([&](TestPlatform& platform) {
      if (row.interval) platform.userDefaults.setNumber("pollingInterval", *row.interval);
      if (row.threshold) platform.userDefaults.setNumber("overheatThreshold", *row.threshold);
    });
    EXPECT_EQ(rig.model().pollingInterval(), row.expectedInterval);
    EXPECT_EQ(rig.model().overheatThreshold(), row.expectedThreshold);
    EXPECT_FALSE(rig.model().overheatAlertsEnabled());
    EXPECT_EQ(rig.model().history().size(), 1U);
    rig.run(row.expectedInterval);
    EXPECT_EQ(rig.model().history().size(), 2U);
  }
  AppRig rig;
  rig.onMain([](AppModel& model) {
    model.setPollingInterval(17);
    model.setOverheatThreshold(200);
  });
  EXPECT_EQ(rig.model().pollingInterval(), 5.0);
  EXPECT_EQ(rig.doubles().userDefaults.number("pollingInterval"), 2.0) << "not stored before it is applied";
  EXPECT_EQ(rig.doubles().userDefaults.number("overheatThreshold"), 100.0);
  rig.onMain([](AppModel& model) {
    model.restartPolling();
    model.setOverheatThreshold(NAN);
  });
  EXPECT_EQ(rig.doubles().userDefaults.number("pollingInterval"), 5.0);
  EXPECT_EQ(rig.model().overheatThreshold(), 100.0);
}

TEST(ModelPolls, PublishWhatTheyReadAndFoldRequestsIntoOneMore) {
  AppRig rig;
  const AppModel& model = rig.model();
  EXPECT_EQ(model.fans().size(), 2U);
  EXPECT_TRUE(model.thermalControlSupported());
  EXPECT_EQ(model.helperState(), HelperInstallState::enabled);
  EXPECT_EQ(model.fanControlDrivers().size(), 2U);
  EXPECT_EQ(model.sustainedDieTemperature(), std::nullopt) << "needs three samples";
  EXPECT_NEAR(model.zoneTemperature(7, 1), *model.controlTemperature(), 1e-9) << "a fan without a zone has the hottest";
  const std::string title = menuBarTitle(model.view());
  EXPECT_TRUE(title.starts_with("L") && title.find("° R") != std::string::npos && title.ends_with("k")) << title;
  rig.run(4);
  EXPECT_TRUE(model.sustainedDieTemperature());

  int announced = 0;
  std::optional<Date> seen;
  std::optional<AppModel::Subscription> subscription;
  const auto before = model.lastTemperatureSampleDate();
  rig.onMain([&](AppModel& each) {
    subscription = each.observe([&] {
      if (announced++ == 0) seen = each.lastTemperatureSampleDate();
    });
  });
  rig.run(2);
  EXPECT_GT(announced, 0);
  EXPECT_EQ(seen, before) << "told before it is stored";
  EXPECT_NE(model.lastTemperatureSampleDate(), before);
  subscription.reset();
  announced = 0;
  // Reads of a second each: twenty requests and the timer's become one more.
  rig.loop.fault("slow 10");
  const std::size_t samples = model.history().size();
  rig.run(2.1);
  rig.onMain([](AppModel& each) {
    for (int request = 0; request < 20; ++request) each.poll();
  });
  rig.loop.fault("clear slow");
  rig.run(1.5);
  EXPECT_LE(model.history().size() - samples, 3U);
  EXPECT_EQ(announced, 0);
}

TEST(ModelInstallation, ReportsWhatCameOfIt) {
  struct Row {
    const char* name;
    int before, after;
    const char* failure;
    std::string error;
    std::string log;
    int settingsOpened;
  };
  for (const Row& row : std::vector<Row>{
           {"approved", 0, 1, nullptr, "", "helper register returned; state=Approved", 0},
           {"needs approval", 0, 2, nullptr, "", "helper register returned; state=Approval required", 1},
           {"fails", 0, 0, "denied", "denied", "helper register threw denied; state=Not installed", 0},
           {"unapproved", 2, 2, "denied", "", "helper register threw denied; state=Approval required", 1}}) {
    SCOPED_TRACE(row.name);
    AppRig rig([&](TestPlatform& platform) {
      platform.serviceManagement.setDaemonStatus(row.before);
      platform.serviceManagement.setNeedsApproval(row.after == ServiceManagement::requiresApproval);
      if (row.failure != nullptr) platform.serviceManagement.failRegister(ServiceManagementFailure(row.failure));
    });
    rig.onMain([](AppModel& model) { model.installHelper(); });
    EXPECT_EQ(rig.errorText(), row.error);
    EXPECT_EQ(rig.model().helperState(), helperInstallStateFromStatus(row.after));
    EXPECT_TRUE(rig.doubles().log.contains(row.log));
    EXPECT_EQ(rig.doubles().serviceManagement.counts().settingsOpened, row.settingsOpened);
  }
  AppRig rig;
  rig.onMain([](AppModel& model) { model.setLaunchAtLogin(true); });
  EXPECT_TRUE(rig.model().launchAtLogin());
  rig.doubles().serviceManagement.failMainApp(ServiceManagementFailure("no login items today"));
  rig.onMain([](AppModel& model) { model.setLaunchAtLogin(false); });
  EXPECT_TRUE(rig.model().launchAtLogin()) << "still registered";
  EXPECT_EQ(rig.errorText(), "no login items today");
}

void setDies(AppRig& rig, double celsius) {
  for (const auto& keys :
       {std::vector<SMCKey>(SensorReader::m3CPUCoreKeys.begin(), SensorReader::m3CPUCoreKeys.end()),
        std::vector<SMCKey>(SensorReader::m3GPUClusterKeys.begin(), SensorReader::m3GPUClusterKeys.end()),
        std::vector<SMCKey>{SensorReader::cpuHotspotKey, SensorReader::gpuHotspotKey}}) {
    for (const SMCKey key : keys) rig.loop.fault("value " + stringFromKey(key) + " " + std::to_string(celsius));
  }
}

TEST(OverheatAlerts, ComeAtTheThresholdAndAtMostEveryFiveMinutes) {
  AppRig rig([](TestPlatform& platform) { platform.userDefaults.setBoolean("overheatAlertsEnabled", true); });
  const auto& shown = rig.doubles().notifications.shown();
  setDies(rig, 84.9);
  rig.run(60);
  EXPECT_TRUE(shown.empty()) << "84.9 is below 85";
  setDies(rig, 90);
  rig.run(60);
  ASSERT_EQ(shown.size(), 1U);
  EXPECT_EQ(shown[0].title, "High CPU Temperature");
  EXPECT_TRUE(shown[0].body.starts_with("CPU/GPU thermal signal reached 8")) << shown[0].body;
  EXPECT_TRUE(shown[0].body.ends_with(" °C (threshold 85 °C).")) << shown[0].body;
  EXPECT_EQ(shown[0].identifier.size(), 36U);
  rig.run(230);
  EXPECT_EQ(shown.size(), 1U);
  rig.run(20);
  EXPECT_EQ(shown.size(), 2U);
  rig.onMain([](AppModel& model) { model.setOverheatAlertsEnabled(false); });
  rig.run(400);
  EXPECT_EQ(shown.size(), 2U);
  EXPECT_EQ(rig.doubles().userDefaults.boolean("overheatAlertsEnabled"), false);
}

TEST(OverheatAlerts, WhatBecomesOfANotificationIsShown) {
  const std::string off = "Notifications are off for Aerovane; enable them in System Settings → Notifications.";
  struct Row {
    bool granted;
    std::optional<Error> authorizationError, deliveryError;
    std::string message;
    std::string log;
  };
  const Error failure("d", 1, "no bus");
  for (const Row& row : std::vector<Row>{
           {true, std::nullopt, std::nullopt, "", "notification queued: Aerovane"},
           {false, std::nullopt, std::nullopt, off, "notification authorization denied"},
           {false, failure, std::nullopt, "Notification error: no bus", "notification authorization error: no bus"},
           {true, std::nullopt, failure, "", "notification delivery failed: no bus"}}) {
    SCOPED_TRACE(row.log);
    AppRig rig;
    auto& notifications = rig.doubles().notifications;
    notifications.setAuthorization(row.granted, row.authorizationError);
    notifications.failAdd(row.deliveryError);
    rig.onMain([](AppModel& model) { model.sendTestNotification(); });
    EXPECT_EQ(rig.errorText(), row.message);
    EXPECT_TRUE(rig.doubles().log.contains(row.log));
    EXPECT_EQ(rig.doubles().workspace.activations, 1);
    EXPECT_EQ(notifications.shown().size(), row.granted && !row.deliveryError ? 1U : 0U);
    rig.onMain([](AppModel& model) { model.setOverheatAlertsEnabled(true); });
    EXPECT_TRUE(rig.model().overheatAlertsEnabled()) << "they stay on even without permission";
  }
}

TEST(ModelEnd, NothingIsReadAfterItAndAHandBackIsFinishedWithoutIt) {
  AppRig rig;
  rig.drive(FanPreset::fullBlast());
  int completed = 0;
  rig.onMain([&](AppModel& model) { model.resetToAutomatic({.reason = "last act"}, [&] { ++completed; }); });
  rig.loop.application->process->mainQueue().async([&] { rig.loop.application->model.reset(); });
  rig.run(3);
  EXPECT_EQ(completed, 1);
  EXPECT_TRUE(rig.loop.allAutomatic());
  bool completedAtOnce = false;
  AppRig idle;
  idle.onMain([&](AppModel& model) {
    model.resetToAutomatic({.reason = "settings emergency reset", .selection = Selection::drop},
                           [&] { completedAtOnce = true; });
    EXPECT_TRUE(completedAtOnce && !model.isBusy()) << "without a session nobody is asked";
  });
  EXPECT_FALSE(idle.loop.helperRuns());
}

}  // namespace
}  // namespace halcyra::test
