#include <functional>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "UI/SettingsState.h"
#include "UI/UIHarness.h"

namespace halcyra::test {

TEST(SettingsState, intervalStepsAreHalfSecondsBetweenOneAndFive) {
  const std::vector<std::pair<double, int>> cases{{1.0, 2}, {2.2, 4}, {2.3, 5}, {5.0, 10}, {0.1, 2}, {99.0, 10}};
  for (const auto& [seconds, step] : cases) EXPECT_EQ(settingsIntervalStep(seconds), step) << seconds;
  EXPECT_DOUBLE_EQ(settingsInterval(5), 2.5);
  EXPECT_DOUBLE_EQ(settingsInterval(1), 1.0);
  EXPECT_DOUBLE_EQ(settingsInterval(11), 5.0);
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
    UIHarness ui({.isSetUp = false,
                  .prepare = [&](TestPlatform& platform) { platform.serviceManagement.setDaemonStatus(each.status); }});
    const SettingsState state = makeSettingsState(ui.model().view(), {});
    EXPECT_EQ(state.helperStatus, each.text);
    EXPECT_EQ(state.helperApproved, each.approved) << each.text;
    EXPECT_EQ(state.version, "— (—)") << "a dash for what the bundle lacks";
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
  const SettingsState state = makeSettingsState(ui.model().view(), {"1.2.0", "34"});
  EXPECT_EQ(state.version, "1.2.0 (34)");
  EXPECT_EQ(state.intervalStep, 5);
  EXPECT_EQ(state.thresholdText, "100 °C") << "stored values are limited";
  EXPECT_EQ(state.owner, FanControlOwnership::anotherApp);
  EXPECT_TRUE(state.startAtLogin);
}

}  // namespace halcyra::test
