#include <functional>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "UI/SettingsState.h"
#include "UI/UIHarness.h"

namespace halcyra::test {

TEST(SettingsState, intervalStepsAreHalfSecondsBetweenOneAndFive) {
  struct Case {
    double seconds;
    int step;
    double shown;
  };
  for (const Case& each : {Case{1.0, 2, 1.0}, Case{2.5, 5, 2.5}, Case{5.0, 10, 5.0}, Case{2.3, 5, 2.5},
                           Case{2.2, 4, 2.0}, Case{0.1, 2, 1.0}, Case{99.0, 10, 5.0}}) {
    EXPECT_EQ(settingsIntervalStep(each.seconds), each.step) << each.seconds;
    EXPECT_DOUBLE_EQ(settingsInterval(settingsIntervalStep(each.seconds)), each.shown) << each.seconds;
  }
  EXPECT_DOUBLE_EQ(settingsInterval(1), 1.0);
  EXPECT_DOUBLE_EQ(settingsInterval(11), 5.0);
}

TEST(SettingsState, versionShowsADashForWhatTheBundleLacks) {
  UIHarness ui;
  const std::vector<std::pair<BundleVersion, std::string>> cases{{{"1.2.0", "34"}, "1.2.0 (34)"},
                                                                 {{"1.2.0", std::nullopt}, "1.2.0 (—)"},
                                                                 {{std::nullopt, "34"}, "— (34)"},
                                                                 {{}, "— (—)"}};
  for (const auto& [version, text] : cases) {
    EXPECT_EQ(makeSettingsState(ui.model(), version).version, text);
  }
}

TEST(SettingsState, helperStatusHasTheStatesTexts) {
  struct Case {
    int status;
    const char* text;
    bool approved;
  };
  for (const Case& each : {Case{ServiceManagement::notRegistered, "Not installed", false},
                           Case{ServiceManagement::enabled, "Approved", true},
                           Case{ServiceManagement::requiresApproval, "Approval required", false},
                           Case{ServiceManagement::notFound, "Not set up", false}, Case{42, "Unknown", false}}) {
    UIHarness::Options options;
    options.isSetUp = false;
    options.prepare = [&](TestPlatform& platform) { platform.serviceManagement.setDaemonStatus(each.status); };
    UIHarness ui(options);
    const SettingsState state = makeSettingsState(ui.model(), {});
    EXPECT_EQ(state.helperStatus, each.text);
    EXPECT_EQ(state.helperApproved, each.approved) << each.text;
    EXPECT_EQ(state.supervisedTest, "Required");
  }
}

TEST(SettingsState, followsStoredSettings) {
  UIHarness::Options options;
  options.prepare = [](TestPlatform& platform) {
    platform.userDefaults.setNumber("pollingInterval", 2.5);
    platform.userDefaults.setNumber("overheatThreshold", 400.0);
    platform.userDefaults.setString("fanControlOwnership.v1", "anotherApp");
    platform.serviceManagement.setMainAppStatus(ServiceManagement::enabled);
  };
  UIHarness ui(options);
  const SettingsState state = makeSettingsState(ui.model(), {});
  EXPECT_EQ(state.applyInterval, "Apply 2.5 second interval");
  EXPECT_EQ(state.spokenInterval, "2.5 seconds");
  EXPECT_EQ(state.intervalStep, 5);
  EXPECT_EQ(state.thresholdText, "100 °C") << "stored values are limited";
  EXPECT_EQ(state.owner, FanControlOwnership::anotherApp);
  EXPECT_EQ(state.ownerDetail, detail(FanControlOwnership::anotherApp));
  EXPECT_TRUE(state.startAtLogin);
  EXPECT_FALSE(state.detectedWriter);
  EXPECT_EQ(state.supervisedTest, "Passed");
}

}  // namespace halcyra::test
