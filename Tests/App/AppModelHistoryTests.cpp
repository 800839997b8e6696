#include <cmath>

#include "gtest/gtest.h"

#include "App/ModelHarness.h"

namespace halcyra::test {

namespace {

constexpr const char* off = "Notifications are off for Aerovane; enable them in System Settings → Notifications.";

TelemetrySnapshot snapshot(const std::vector<std::pair<std::string, double>>& sensors) {
  TelemetrySnapshot result;
  result.fans = {FanInfo{1, 2000, 1200, 5000, FanMode::automatic, 1500},
                 FanInfo{0, 1000, 1200, 5000, FanMode::automatic, 1500}};
  result.average.temperature = 40;
  result.average.cpuMaximumTemperature = 50;
  for (const auto& [key, value] : sensors) {
    result.readings.push_back({.keyName = key, .displayName = key, .value = value});
  }
  return result;
}

/// A model whose only samples are those that the test applies.
void startStill(ModelHarness& h) {
  h.start({.refreshHelperRegistration = true});
}

void startAlerting(ModelHarness& h) {
  h.doubles.userDefaults.setBoolean("overheatAlertsEnabled", true);
  h.start();
}

}  // namespace

TEST(AppModelHistory, everySensorStaysAlignedWithTheSamples) {
  ModelHarness h;
  startStill(h);
  h.onMain([](AppModel& model) {
    AppModelAccess::apply(model, snapshot({{"TA", 1}, {"TB", 2}}));
    AppModelAccess::apply(model, snapshot({{"TB", 3}, {"TC", 4}, {"TA", 5}}));
    AppModelAccess::apply(model, snapshot({}));
    AppModelAccess::apply(model, snapshot({{"TC", 6}}));
    ASSERT_EQ(model.history().size(), 4u);
    EXPECT_EQ(model.history()[0].rpms, (std::vector<std::int64_t>{1000, 2000})) << "by fan index";
    EXPECT_EQ(model.history()[0].cpuTemp, 50);
    EXPECT_EQ(model.history()[0].cpuCoreAverage, 40);
    EXPECT_EQ(model.history()[0].controlTemp, 40);
    EXPECT_EQ(model.history()[0].gpuCoreAverage, std::nullopt);
    const auto expect = [&](const char* key, const std::vector<float>& values) {
      const auto& series = model.sensorHistory().at(key);
      ASSERT_EQ(series.size(), values.size()) << key;
      for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_TRUE(series[i] == values[i] || (std::isnan(series[i]) && std::isnan(values[i]))) << key << i;
      }
    };
    const float none = NAN;
    expect("TA", {1, 5, none, none});
    expect("TB", {2, 3, none, none});
    expect("TC", {none, 4, none, 6});
  });
}

TEST(AppModelHistory, nothingIsRecordedBeforeThereAreFans) {
  ModelHarness h;
  startStill(h);
  h.onMain([](AppModel& model) {
    TelemetrySnapshot empty = snapshot({{"TA", 1}});
    empty.fans.clear();
    AppModelAccess::apply(model, empty);
    EXPECT_TRUE(model.history().empty());
    EXPECT_TRUE(model.sensorHistory().empty());
  });
}

TEST(AppModelHistory, isTrimmedInBatchesAndStaysAligned) {
  ModelHarness h;
  startStill(h);
  h.onMain([](AppModel& model) {
    for (int sample = 0; sample < 21600; ++sample) {
      AppModelAccess::apply(model,
                            sample < 300 ? snapshot({{"TA", sample}}) : snapshot({{"TA", sample}, {"TB", sample}}));
    }
    EXPECT_EQ(model.history().size(), 21600u);
    AppModelAccess::apply(model, snapshot({{"TA", 21600}, {"TB", 21600}}));
    EXPECT_EQ(model.history().size(), 21001u);
    for (const char* key : {"TA", "TB"}) {
      const auto& series = model.sensorHistory().at(key);
      ASSERT_EQ(series.size(), 21001u);
      EXPECT_EQ(series.front(), 600.0F);
      EXPECT_EQ(series.back(), 21600.0F);
    }
    AppModelAccess::apply(model, snapshot({{"TB", 7}}));
    EXPECT_EQ(model.sensorHistory().at("TB").back(), 7.0F);
    EXPECT_TRUE(std::isnan(model.sensorHistory().at("TA").back()));
    EXPECT_EQ(model.history().size(), model.sensorHistory().at("TA").size());
  });
}

TEST(AppModelHistory, anAlertComesAtTheThresholdAndAtMostEveryFiveMinutes) {
  ModelHarness h;
  h.smc.setDie(84.9);
  startAlerting(h);
  h.run(60);
  EXPECT_TRUE(h.doubles.notifications.shown().empty()) << "84.9 is below 85";
  h.smc.setDie(90);
  h.run(60);
  ASSERT_EQ(h.doubles.notifications.shown().size(), 1u);
  const UserNotification& alert = h.doubles.notifications.shown().front();
  EXPECT_EQ(alert.title, "High CPU Temperature");
  EXPECT_TRUE(alert.body.starts_with("CPU/GPU thermal signal reached 8")) << alert.body;
  EXPECT_TRUE(alert.body.ends_with(" °C (threshold 85 °C).")) << alert.body;
  EXPECT_EQ(alert.identifier.size(), 36u);
  EXPECT_TRUE(h.logged("overheat threshold crossed at 8"));
  h.run(230);
  EXPECT_EQ(h.doubles.notifications.shown().size(), 1u);
  h.run(20);
  EXPECT_EQ(h.doubles.notifications.shown().size(), 2u);
  h.onMain([](AppModel& model) { model.setOverheatAlertsEnabled(false); });
  h.run(900);
  EXPECT_EQ(h.doubles.notifications.shown().size(), 2u);
  EXPECT_EQ(h.doubles.userDefaults.boolean("overheatAlertsEnabled"), false);
}

TEST(AppModelHistory, anAlertWaitsForAnEstablishedTemperature) {
  ModelHarness h;
  h.smc.setDie(95);
  startAlerting(h);
  h.run(2);
  EXPECT_TRUE(h.doubles.notifications.shown().empty()) << "two samples may be a spike";
  h.run(2.1);
  EXPECT_EQ(h.doubles.notifications.shown().size(), 1u);
}

TEST(AppModelHistory, whatBecomesOfANotificationIsShown) {
  struct Row {
    bool granted;
    std::optional<Error> authorizationError, deliveryError;
    std::string message;
    std::string log;
  };
  const Error failure("d", 1, "no bus");
  const std::vector<Row> rows = {
      {true, std::nullopt, std::nullopt, "", "notification queued: Aerovane"},
      {false, std::nullopt, std::nullopt, off, "notification authorization denied"},
      {false, failure, std::nullopt, "Notification error: no bus", "notification authorization error: no bus"},
      {true, std::nullopt, failure, "", "notification delivery failed: no bus"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.log);
    ModelHarness h;
    h.doubles.notifications.setAuthorization(row.granted, row.authorizationError);
    h.doubles.notifications.failAdd(row.deliveryError);
    h.start();
    h.onMain([](AppModel& model) { model.sendTestNotification(); });
    EXPECT_EQ(h.errorText(), row.message);
    EXPECT_TRUE(h.logged(row.log));
    EXPECT_EQ(h.doubles.workspace.activations, 1);
    if (row.granted && !row.deliveryError) {
      ASSERT_EQ(h.doubles.notifications.shown().size(), 1u);
      EXPECT_EQ(h.doubles.notifications.shown()[0].title, "Aerovane");
      EXPECT_EQ(h.doubles.notifications.shown()[0].body, "Test notification — overheat alerts use this channel.");
    }
  }
}

TEST(AppModelHistory, alertsStayOnEvenWithoutPermission) {
  ModelHarness h;
  h.doubles.notifications.setAuthorization(false);
  h.start();
  h.onMain([](AppModel& model) { model.setOverheatAlertsEnabled(true); });
  EXPECT_TRUE(h.model().overheatAlertsEnabled());
  EXPECT_EQ(h.doubles.userDefaults.boolean("overheatAlertsEnabled"), true);
  EXPECT_EQ(h.errorText(), off);
  EXPECT_EQ(h.doubles.notifications.authorizationRequests(), 1);
}

TEST(AppModelHistory, theThresholdIsStoredWithinItsBounds) {
  StartedModel h;
  h.onMain([](AppModel& model) { model.setOverheatThreshold(200); });
  EXPECT_EQ(h.doubles.userDefaults.number("overheatThreshold"), 100.0);
  h.onMain([](AppModel& model) { model.setOverheatThreshold(NAN); });
  EXPECT_EQ(h.model().overheatThreshold(), 100.0);
}

}  // namespace halcyra::test
