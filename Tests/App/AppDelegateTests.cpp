#include <string>

#include "gtest/gtest.h"

#include "App/AppDelegate.h"
#include "App/MenuBarTitle.h"
#include "App/ModelHarness.h"
#include "App/UpdateManager.h"
#include "XPC/FanControlXPC.h"

namespace halcyra::test {

namespace {

class AppDelegateTest : public testing::Test {
 protected:
  std::shared_ptr<AppDelegate> make(LaunchFlags flags = {}) {
    AppModelOptions options;
    options.refreshHelperRegistration = flags.refreshHelperRegistration;
    harness.start(options);
    AppDelegateSurroundings surroundings;
    surroundings.terminate = [this] { ++terminations; };
    surroundings.standardOutput = [this](const std::string& text) { output += text; };
    surroundings.standardError = [this](const std::string& text) { errors += text; };
    surroundings.startUpdates = [this] { ++updateStarts; };
    auto delegate = std::make_shared<AppDelegate>(harness.doubles.platform, harness.model().shared_from_this(), flags,
                                                  std::move(surroundings));
    return delegate;
  }
  /// On the main queue, as the program calls it.
  void launch(AppDelegate& delegate) {
    harness.onMain([&](AppModel&) { delegate.applicationDidFinishLaunching(); });
  }
  FakeServiceManagement::Counts counts() { return harness.doubles.serviceManagement.counts(); }

  ModelHarness harness;
  int terminations = 0;
  int updateStarts = 0;
  std::string output;
  std::string errors;
};

constexpr LaunchFlags refreshing{.refreshHelperRegistration = true};

TEST_F(AppDelegateTest, launchStartsTheUpdaterAndInstallsTheHelperOnlyWhenAsked) {
  for (const bool asked : {false, true}) {
    auto delegate = make({.installHelper = asked});
    launch(*delegate);
    EXPECT_EQ(updateStarts, asked ? 2 : 1);
    EXPECT_EQ(counts().registered, asked ? 1 : 0);
  }
  EXPECT_EQ(counts().unregistered, 0);
}

TEST_F(AppDelegateTest, quittingTwiceHandsBackOnceAndEndsAfterIt) {
  auto delegate = make();
  harness.onMain([](AppModel& model) { model.activate(FanPreset::fullBlast(), false); });
  harness.run(5);
  ASSERT_TRUE(harness.model().hasHelperSession());
  const std::size_t before = harness.transcript().size();
  TerminateReply first{};
  TerminateReply second{};
  harness.onMain([&](AppModel&) {
    first = delegate->applicationShouldTerminate();
    second = delegate->applicationShouldTerminate();
    EXPECT_EQ(terminations, 0) << "the process must not end before the hand-back";
  });
  EXPECT_EQ(first, TerminateReply::terminateLater);
  EXPECT_EQ(second, TerminateReply::terminateLater);
  harness.run(10);
  EXPECT_EQ(terminations, 1);
  const Lines lines = harness.transcript();
  EXPECT_EQ(Lines(lines.begin() + static_cast<std::ptrdiff_t>(before), lines.end()), (Lines{"reset S1", "end S1"}));
  EXPECT_FALSE(harness.model().hasHelperSession());
}

TEST_F(AppDelegateTest, refreshingRegistersAnewAndEndsWithoutHandBack) {
  auto delegate = make(refreshing);
  launch(*delegate);
  harness.run(0.1);
  EXPECT_EQ(output, "Aerovane helper registration refreshed: 1\n");
  EXPECT_EQ(errors, "");
  EXPECT_EQ(counts().unregistered, 1);
  EXPECT_EQ(counts().registered, 1);
  EXPECT_EQ(terminations, 1);
  EXPECT_EQ(updateStarts, 0);
  EXPECT_EQ(harness.smc.opens(), 0) << "no telemetry is read";
  EXPECT_EQ(delegate->applicationShouldTerminate(), TerminateReply::terminateNow);
}

TEST_F(AppDelegateTest, refreshingEndsWhenTheOldRegistrationStays) {
  auto delegate = make(refreshing);
  harness.doubles.serviceManagement.failUnregister(ServiceManagementFailure("Busy."));
  launch(*delegate);
  harness.run(10);
  EXPECT_EQ(errors, "Aerovane helper unregister failed: Busy.\n");
  EXPECT_EQ(output, "");
  EXPECT_EQ(counts().registered, 0);
  EXPECT_EQ(terminations, 1);
}

TEST_F(AppDelegateTest, refreshingTriesThreeTimesTwoSecondsApart) {
  auto delegate = make(refreshing);
  harness.doubles.serviceManagement.failRegister(ServiceManagementFailure("No."));
  launch(*delegate);
  harness.run(1.9);
  EXPECT_EQ(counts().registered, 1);
  harness.run(2.0);
  EXPECT_EQ(counts().registered, 2);
  EXPECT_EQ(terminations, 0);
  harness.run(20);
  EXPECT_EQ(counts().registered, 3);
  EXPECT_EQ(errors,
            "Aerovane helper register failed (attempt 1): No.\n"
            "Aerovane helper register failed (attempt 2): No.\n"
            "Aerovane helper register failed (attempt 3): No.\n");
  EXPECT_EQ(output, "");
  EXPECT_EQ(terminations, 1);
}

TEST_F(AppDelegateTest, refreshingRecoversAtTheSecondAttempt) {
  auto delegate = make(refreshing);
  harness.doubles.serviceManagement.failRegister(ServiceManagementFailure("No."));
  launch(*delegate);
  harness.run(1);
  harness.doubles.serviceManagement.failRegister(std::nullopt);
  harness.run(5);
  EXPECT_EQ(counts().registered, 2);
  EXPECT_EQ(output, "Aerovane helper registration refreshed: 1\n");
  EXPECT_EQ(terminations, 1);
}

TelemetrySnapshot snapshotOf(const std::vector<std::pair<int, std::int64_t>>& fans) {
  TelemetrySnapshot snapshot;
  for (const auto& [index, rpm] : fans) snapshot.fans.push_back({index, rpm, 1000, 6000, FanMode::automatic});
  return snapshot;
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

TEST(MenuBarTitle, showsZonesThenSpeeds) {
  StartedModel harness;
  // Without zones the displayed temperature stands alone; fans come by index, whatever order they are reported in.
  harness.onMain([](AppModel& model) {
    const std::string title = menuBarTitle(model.view());
    EXPECT_EQ(title, "L50° R50° 1.5k·1.5k");
    AppModelAccess::apply(model, snapshotOf({{1, 2040}, {0, 980}}));
    EXPECT_TRUE(menuBarTitle(model.view()).ends_with(" 980·2.0k")) << menuBarTitle(model.view());
  });
}

TEST(MenuBarTitle, withoutFansAndTemperatureItIsAWord) {
  ModelHarness harness;
  harness.start({.refreshHelperRegistration = true});
  EXPECT_EQ(menuBarTitle(harness.model().view()), "Fan");
}

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

}  // namespace

}  // namespace halcyra::test
