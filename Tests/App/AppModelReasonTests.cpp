// Every hand-back says in the log why, and keeps or drops the selection as its reason asks.

#include <algorithm>

#include "gtest/gtest.h"

#include "App/ModelHarness.h"

namespace halcyra::test {
namespace {

struct ReasonRow {
  const char* name;
  std::string reason;
  bool keepsSelection;
  bool pollsOn;
  std::function<void(ModelHarness&)> cause;
};

std::vector<ReasonRow> reasonRows() {
  const auto model = [](std::function<void(AppModel&)> work) {
    return [work = std::move(work)](ModelHarness& h) { h.onMain(work); };
  };
  return {
      {"apple default", "apple default selected", false, true,
       [](ModelHarness& h) { h.activate(FanPreset::systemDefault()); }},
      {"topology", "unverified hardware topology", true, true, model([](AppModel& m) {
         TelemetrySnapshot snapshot;
         snapshot.fans = m.fans();
         snapshot.average.temperature = 50;
         snapshot.average.cpuMaximumTemperature = 50;
         AppModelAccess::apply(m, std::move(snapshot));
         EXPECT_FALSE(m.thermalControlSupported());
         m.activate(FanPreset::fullBlast(), false);
       })},
      {"telemetry", "Thermal or fan telemetry became stale", true, true,
       [](ModelHarness& h) {
         h.smc.broken = true;
         h.run(4.1);
       }},
      {"an error", "stuck", true, true,
       [](ModelHarness& h) {
         h.helper.failNext("target", helperError(99, "stuck"));
         h.smc.setFanTarget(0, 2000);
         h.run(2.5);
       }},
      {"competitor", conflictText("TG Pro", "Constant"), true, true,
       [](ModelHarness& h) {
         h.setCompetitor(ModelHarness::competitorPath);
         h.run(2.2);
       }},
      {"ownership", "another app selected as fan controller", true, true,
       model([](AppModel& m) { m.setFanControlOwnership(FanControlOwnership::anotherApp); })},
      {"sleep", "system sleep", true, false, [](ModelHarness& h) { h.sleepMachine(); }},
      {"termination", "application termination", true, false, model([](AppModel& m) { m.prepareForTermination({}); })},
      {"uninstall", "helper uninstall", false, true, model([](AppModel& m) { m.uninstallHelper(); })},
      {"deletion", "deleted active preset", false, true,
       model([](AppModel& m) { m.deletePreset(FanPreset(m.activePreset())); })},
      {"emergency", "settings emergency reset", false, true,
       model([](AppModel& m) { m.resetToAutomatic({.reason = "settings emergency reset", .selection = Selection::drop}); })},
  };
}

TEST(AppModelReasons, everyReasonIsLoggedOnceAndDoesWhatItSays) {
  for (const ReasonRow& row : reasonRows()) {
    SCOPED_TRACE(row.name);
    ModelHarness h(constantPreset(3000));
    row.cause(h);
    h.run(0.1);
    EXPECT_EQ(h.logCount("smart control disengaged: "), 1U);
    EXPECT_TRUE(h.logged("smart control disengaged: " + row.reason));
    const Lines sent = h.transcript();
    EXPECT_EQ(std::count(sent.begin(), sent.end(), "end S1"), 1);
    EXPECT_EQ(std::count(sent.begin(), sent.end(), "reset S1"), 1);
    EXPECT_EQ(h.model().activePreset().name, row.keepsSelection ? "Constant" : FanPreset::systemDefault().name);
    h.smc.broken = false;
    const int calls = h.smc.calls;
    h.run(4.5);
    EXPECT_EQ(h.smc.calls > calls, row.pollsOn);
  }
}

}  // namespace
}  // namespace halcyra::test
