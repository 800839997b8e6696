#include <functional>

#include "gtest/gtest.h"

#include "App/ModelHarness.h"

namespace halcyra::test {

namespace {

constexpr const char* abnormal = "The helper preflight contained an abnormal fan reading";
constexpr const char* passedKey = "supervisedFanTestProtocolVersion";

void runTest(ModelHarness& h) {
  h.onMain([](AppModel& model) { model.runSupervisedFan0Test(); });
}

void startUntested(ModelHarness& h) {
  h.doubles.userDefaults.setInteger(passedKey, 0);
  h.start();
}

}  // namespace

TEST(SupervisedTest, drivesOneFanOnceAndRemembersThatItPassed) {
  ModelHarness h;
  startUntested(h);
  ASSERT_FALSE(h.model().supervisedTestPassed());
  h.helper.hold("end");
  runTest(h);
  EXPECT_EQ(h.transcript(), (Lines{"begin S1", "mode S1 0 manual", "target S1 0 2000", "reset S1", "end S1"}));
  EXPECT_TRUE(h.model().isBusy()) << "until the session has ended";
  h.helper.release("end");
  h.run(0.1);
  EXPECT_FALSE(h.model().isBusy());
  EXPECT_TRUE(h.model().supervisedTestPassed());
  EXPECT_EQ(h.doubles.userDefaults.integer(passedKey), 1);
  EXPECT_EQ(h.errorText(), "");
  EXPECT_EQ(h.helper.openSession(), 0);
}

TEST(SupervisedTest, everyFailureCleansUpAndShowsWhy) {
  struct Row {
    const char* name;
    std::function<void(ScriptedHelper&)> fault;
    std::string message;
    Lines transcript;
  };
  const Lines whole = {"begin S1", "mode S1 0 manual", "target S1 0 2000", "reset S1", "reset S1", "end S1"};
  const Lines preflight = {"begin S1", "reset S1", "end S1"};
  const std::vector<Row> rows = {
      {"start", [](ScriptedHelper& s) { s.failNext("begin", helperError(99, "a")); }, "a", {"begin S1"}},
      {"invalid session", [](ScriptedHelper& s) { s.breakNext("begin", Error("d", 1, "b")); }, "b", {"begin S1"}},
      {"fan manual already", [](ScriptedHelper& s) { s.fans[1].mode = 1; }, abnormal, preflight},
      {"no headroom", [](ScriptedHelper& s) { s.fans[0].maximum = 1500; }, abnormal, preflight},
      {"mode",
       [](ScriptedHelper& s) { s.failNext("mode", helperError(99, "c")); },
       "c",
       {"begin S1", "mode S1 0 manual", "reset S1", "end S1"}},
      {"target", [](ScriptedHelper& s) { s.failNext("target", helperError(99, "d")); }, "d", whole},
      {"reset", [](ScriptedHelper& s) { s.failNext("reset", helperError(99, "e")); }, "e", whole},
      {"target and clean-up",
       [](ScriptedHelper& s) {
         s.failNext("target", helperError(99, "d"));
         s.failNext("reset", helperError(99, "first reset"));
         s.failNext("reset", helperError(99, "clean-up"));
       },
       "clean-up", whole},
      {"reset without effect",
       [](ScriptedHelper& s) {
         s.onFanChange = [&s](int, const ScriptedHelper::Fan& fan) {
           if (fan.mode == 0) s.statusOverride = PropertyList{{"protocolVersion", 1}, {"fanCount", 2}, {"fan0Mode", 1}};
         };
       },
       "Automatic mode could not be verified after the test", whole},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ModelHarness h;
    startUntested(h);
    row.fault(h.helper);
    runTest(h);
    EXPECT_EQ(h.errorText(), row.message);
    EXPECT_EQ(h.transcript(), row.transcript);
    EXPECT_FALSE(h.model().isBusy());
    EXPECT_FALSE(h.model().supervisedTestPassed());
    EXPECT_EQ(h.doubles.userDefaults.integer(passedKey), 0);
    EXPECT_EQ(h.helper.openSession(), 0);
    EXPECT_EQ(h.helper.fans[0].mode, 0);
  }
}

TEST(SupervisedTest, isRefusedWhereFansMayNotBeDriven) {
  struct Row {
    const char* name;
    std::function<void(ModelHarness&)> obstacle;
    std::string message;
  };
  const std::vector<Row> rows = {
      {"ownership", [](ModelHarness& h) { h.doubles.userDefaults.setString("fanControlOwnership.v1", "anotherApp"); },
       "Aerovane is in monitoring-only mode. Change fan-control ownership in Settings before running the write test."},
      {"hardware", [](ModelHarness& h) { h.doubles.system.setModel("Mac14,1"); },
       "The supervised write test is unavailable because this Mac's fan topology has not been hardware-validated. "
       "Monitoring remains available."},
      {"helper", [](ModelHarness& h) { h.doubles.serviceManagement.setDaemonStatus(2); }, ""},
      {"competitor", [](ModelHarness& h) { h.setCompetitor(ModelHarness::competitorPath); },
       "TG Pro may write to the fans as well. Close or remove it before running the write test."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ModelHarness h;
    row.obstacle(h);
    startUntested(h);
    runTest(h);
    EXPECT_EQ(h.model().visibleError(), h.model().lastError()) << "no banner tells it on Apple Default";
    EXPECT_EQ(h.errorText().substr(0, row.message.size()), row.message);
    EXPECT_EQ(h.errorText().empty(), row.message.empty());
    EXPECT_EQ(h.transcript(), Lines{});
    EXPECT_FALSE(h.model().isBusy());
  }
}

TEST(SupervisedTest, failsWhenSomethingComesBetween) {
  struct Row {
    const char* name;
    std::function<void(ModelHarness&)> event;
    std::string message;
  };
  const std::vector<Row> rows = {
      {"sleep", [](ModelHarness& h) { h.sleepMachine(); }, "The supervised fan test was interrupted: system sleep"},
      {"ownership",
       [](ModelHarness& h) {
         h.onMain([](AppModel& model) { model.setFanControlOwnership(FanControlOwnership::anotherApp); });
       },
       "The supervised fan test was interrupted: another app selected as fan controller"},
      {"quit", [](ModelHarness& h) { h.onMain([](AppModel& model) { model.prepareForTermination({}); }); },
       "The supervised fan test was interrupted: application termination"},
      {"competitor",
       [](ModelHarness& h) {
         h.setCompetitor(ModelHarness::competitorPath);
         h.run(2.5);
       },
       "TG Pro's privileged SMC helper is still running."},
      {"session lost",
       [](ModelHarness& h) {
         h.helper.dropSession();
         h.run(4.5);
       },
       "The fan-control session expired."},
  };
  for (const Row& row : rows) {
    for (const char* operation : {"begin", "mode", "target"}) {
      if (row.name == std::string("session lost") && operation == std::string("begin")) {
        continue;
      }
      SCOPED_TRACE(std::string(row.name) + " during " + operation);
      ModelHarness h;
      startUntested(h);
      h.helper.hold(operation);
      runTest(h);
      ASSERT_TRUE(h.model().isBusy());
      const std::size_t sent = h.transcript().size();
      row.event(h);
      h.helper.release(operation);
      h.run(0.5);
      EXPECT_EQ(h.errorText().substr(0, row.message.size()), row.message);
      EXPECT_FALSE(h.model().supervisedTestPassed());
      EXPECT_FALSE(h.model().isBusy());
      EXPECT_FALSE(h.model().hasHelperSession());
      EXPECT_EQ(h.helper.openSession(), 0);
      EXPECT_EQ(h.helper.fans[0].mode, 0);
      for (std::size_t line = sent; line < h.transcript().size(); ++line) {
        EXPECT_TRUE(h.transcript()[line] == "reset S1" || h.transcript()[line] == "end S1") << h.transcript()[line];
      }
    }
  }
}

TEST(SupervisedTest, aLostSessionKeepsTheModelBusyUntilTheCleanUpHasEnded) {
  ModelHarness h;
  startUntested(h);
  h.helper.hold("mode");
  runTest(h);
  h.helper.hold("end");
  h.helper.dropSession();
  h.run(5);
  EXPECT_EQ(h.transcript().back(), "end S1");
  EXPECT_TRUE(h.model().isBusy());
  h.helper.release("end");
  h.run(0.1);
  EXPECT_FALSE(h.model().isBusy());
}

}  // namespace halcyra::test
