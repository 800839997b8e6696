// What the model asks the helper for, in which order, and what it shows: rows of scenarios over the whole program.

#include "fmt/format.h"

#include "Support/Scenario.h"

namespace halcyra::test {
namespace {

using Rows = std::vector<ScenarioRow>;

const std::string underControl = "preset full-blast; until 30: driven; mark; ";
const std::string atSteadySpeed = "edit steady 3000; preset steady; until 30: driven; mark; ";
const std::string untested = "before store supervisedFanTestProtocolVersion 0; ";

class ModelRows : public testing::TestWithParam<ScenarioRow> {};

TEST_P(ModelRows, GoAsWritten) {
  Scenario::check(GetParam().text);
}

/// Each missing precondition refuses with its message, and the helper is asked for nothing.
Rows activationRefusals() {
  struct Refusal {
    const char* name;
    const char* obstacle;
    const char* message;
    const char* selected;
  };
  const std::vector<Refusal> refusals = {
      {"Ownership", "store fanControlOwnership.v1 anotherApp",
       "Aerovane is in monitoring-only mode. Choose “Aerovane controls fans” in Settings before applying a preset.",
       "apple-default"},
      {"Hardware", "model Mac14,1",
       "remains in safe monitoring-only mode until its sensor and fan topology is validated.", "apple-default"},
      {"Competitor", "competitor 99", "TG Pro's privileged SMC helper is still running. Open TG Pro", "full-blast"},
      {"NoFans",
       "fault 999 vanish F0Ac; before fault 999 vanish F0Md; before fault 999 vanish F0Tg; before fault 999 vanish "
       "F1Ac; "
       "before fault 999 vanish F1Md; before fault 999 vanish F1Tg",
       "No controllable fans are currently available. Aerovane will retry when they return.", "full-blast"},
      {"Helper", "helper-status 2", "Approve the helper and complete the supervised fan test first.", "full-blast"},
      {"Test", "store supervisedFanTestProtocolVersion 2",
       "Approve the helper and complete the supervised fan test first.", "full-blast"},
  };
  Rows rows;
  for (const Refusal& each : refusals) {
    rows.push_back({each.name, fmt::format("before {}; preset full-blast; now: error {}, selected {}, not busy; "
                                           "during 10: automatic; now: carried, begins 0",
                                           each.obstacle, each.message, each.selected)});
  }
  return rows;
}

INSTANTIATE_TEST_SUITE_P(Refusals, ModelRows, testing::ValuesIn(activationRefusals()), nameOfScenario);

/// Before the next poll could put them right.
Rows firstTargets() {
  struct First {
    const char* name;
    const char* preset;
    double dies;
    const char* left;
    const char* right;
  };
  Rows rows;
  for (const First& each :
       {First{"Curve", "cooling", 40, "3490 3550", "3750 3810"},
        First{"SmartAuto", "smart-auto", 67.5, "3490 3550", "3750 3810"},
        First{"Override", "battery-saver", 106, "5700", "6200"}, First{"Full", "full-blast", 40, "5700", "6200"},
        First{"AboveTheLimit", "steady", 40, "5700", "6000"}}) {
    rows.push_back({each.name, fmt::format("before dies {}; edit steady 6000; preset {}; sent target; at 5: not busy; "
                                           "now: target 0 {}, target 1 {}",
                                           each.dies, each.preset, each.left, each.right)});
  }
  return rows;
}

INSTANTIATE_TEST_SUITE_P(FirstTargets, ModelRows, testing::ValuesIn(firstTargets()), nameOfScenario);

Rows activationFailures() {
  Rows rows;
  for (const std::string kind : {"begin", "mode", "target"}) {
    rows.push_back(
        {"Chosen_" + kind, "message " + kind + " refuse 99 no such luck; preset full-blast; sent " + kind +
                               "; until 1: error no such luck; until 2: automatic; mark; during 3: released; "
                               "now: not busy, not session, error no such luck, selected full-blast; "
                               "until 8: driven; now: sessions 1, not error"});
  }
  // Passing failures of a restore are not shown.
  for (const auto& [name, failure, isShown] :
       {std::tuple{"Busy", "refuse 1", false}, std::tuple{"InvalidSession", "refuse 2", false},
        std::tuple{"Connection", "fail 4097", false}, std::tuple{"Service", "fail 4099", false},
        std::tuple{"OtherCocoaError", "fail 4096", true}, std::tuple{"RealFailure", "refuse 99 y", true}}) {
    rows.push_back(
        {std::string("Restored") + name,
         fmt::format("before select full-blast; before messages begin {}; now: {}error, begins 1 2, not logged 0 "
                     "restoring remembered preset: Full Blast; until 1: not busy; messages begin pass; "
                     "until 9: driven; now: not error, sessions 1",
                     failure, isShown ? "" : "not ")});
  }
  rows.push_back({"ChosenInvalidSession",
                  "message begin refuse 2; preset full-blast; until 1: error; now: not busy, logged 0 "
                  "control session lost; mark; during 3.5: sessions 0; until 8: driven"});
  rows.push_back(
      {"ChoosingAgainLiftsTheWait",
       "message begin refuse 99 x; preset full-blast; until 1: error x; helper-status 2; wait 2; "
       "preset cooling; now: error Approve; helper-status 1; until 5: driven; now: not error, selected cooling"});
  return rows;
}

INSTANTIATE_TEST_SUITE_P(Failures, ModelRows, testing::ValuesIn(activationFailures()), nameOfScenario);
INSTANTIATE_TEST_SUITE_P(
    Activation, ModelRows,
    testing::ValuesIn(Rows{
        {"IsIgnoredWhileBusy",
         "message begin late 3; preset full-blast; sent begin 0.01; preset cooling; "
         "now: selected full-blast, busy; until 30: driven; now: selected full-blast, logged 1 "
         "remembered preset: Full Blast"},
        {"AnObstacleHandsBackASessionThatIsHeld",
         underControl +
             "helper-status 2; wait 2; preset cooling; now: error Approve; until 2: automatic; wait 0.5; now: carried "
             "reset S1 / end S1, selected cooling; helper-status 1; during 4: released; until 8: driven; "
             "now: sessions 1, not error"},
        {"AnAbnormalPreflightIsNeverDriven",
         "fault 999 value Ftst 1; preset full-blast; until 2: error The helper did not find a fan it can safely "
         "control; "
         "until 1: not busy; now: carried begin S1 / reset S1 / end S1, undriven"},
        {"APresetEditedWhileItIsRestoredIsDrivenAsEdited",
         atSteadySpeed +
             "doze; at 3: asleep 1; message begin late 3; wake; sent begin; edit steady 4000; until 30: driven; "
             "now: target 0 4000, not error"},
        {"TheSameWhenTheHelperIsBusy",
         atSteadySpeed +
             "doze; at 3: asleep 1; message begin refuse 1; wake; sent begin; edit steady 4000; until 30: driven; "
             "now: target 0 4000, not error"},
        {"TheEmergencyResetInterruptsIt",
         "preset full-blast; %; emergency-reset; wait 2; mark; during 60: released; "
         "now: sessions 0, not busy, not error, not session, selected apple-default"},
        {"AppleDefaultWithoutASessionIsSelectedAtOnce",
         "before helper-status 2; preset full-blast; preset apple-default; now: selected apple-default, not busy; "
         "helper-status 1; during 8: released; now: carried"},
    }),
    nameOfScenario);

INSTANTIATE_TEST_SUITE_P(
    Control, ModelRows,
    testing::ValuesIn(Rows{
        {"WantedLessThanFiftyOff", atSteadySpeed + "edit steady 3049; wait 6; now: targets 0, targets 1"},
        {"WantedFiftyOff", atSteadySpeed + "edit steady 3050; wait 6; now: targets 0 3050, targets 1 3050"},
        {"ReportedLessThanFiftyOff", atSteadySpeed + "other-party 0 1 3049; wait 6; now: targets 0"},
        {"ReportedFiftyOff", atSteadySpeed + "other-party 0 1 3050; wait 6; now: targets 0 3000, targets 1"},
        {"SmartAutoLessThanFiftyOff",
         "before dies 50; preset smart-auto; until 30: driven; wait 60; mark; other-party 0 1 1399; "
         "wait 6; now: targets 0, logged 0 reason=target readback reassertion"},
        {"SmartAutoFiftyOff",
         "before dies 45; preset smart-auto; until 30: driven; wait 60; mark; other-party 0 1 1400; "
         "wait 6; now: targets 0 1350, logged 1 reason=target readback reassertion"},
        {"ACurveFollowsItsZoneWithHysteresis",
         "before dies 60; edit mine 6000; preset mine; until 30: driven; now: target 0 3490 3550; dies 70; wait 60; "
         "now: target 0 4150 4260; mark; dies 68.5; wait 60; now: targets 0; dies 50; wait 60; now: target 0 2700 "
         "3000"},
        {"EachFanFollowsItsOwnZone",
         "before dies 35; edit mine 6000; preset mine; until 30: driven; wait 20; now: target 0 1500 2000, target 1 "
         "2000 2800; fault 999 value Tf04 60; fault 999 value Tf09 60; "
         "fault 999 value Tf0A 60; fault 999 value Tf0B 60; fault 999 value Tf0D 60; fault 999 value Tf0E 60; wait 60; "
         "now: target 0 2700 3100, target 1 3200 3700"},
        {"SmartAutoRisesAtOnceAndStepsDownSlowly",
         "before dies 95; preset smart-auto; until 30: driven; now: target 0 5700; mark; dies 45; wait 500; now: "
         "gentle 0, "
         "target 0 1350, logged 1 smart auto: fan 0 steps down to 5200 RPM after cooldown hold; dies 95; until 12: "
         "target 0 5700"},
    }),
    nameOfScenario);

Rows overrides() {
  Rows rows;
  for (const std::string preset : {"cooling", "steady", "smart-auto"}) {
    rows.push_back(
        {"Drives_" + preset.substr(0, 5),
         "before dies 48; preset " + preset +
             "; until 30: driven; fault 999 value TCMz 105; until 2.1: override; until 2: target 0 5700, "
             "target 1 6200; now: logged 1 critical raw-die override engaged at 105.000000°C; wait 8; "
             "dies 40; during 14: override; until 400: not override; until 200: target 0 1350 4600; now: not "
             "override, logged 1 "
             "critical raw-die override cleared after sustained cooling"});
  }
  return rows;
}

INSTANTIATE_TEST_SUITE_P(Override, ModelRows, testing::ValuesIn(overrides()), nameOfScenario);

/// Every hand-back says in the log why, once, and keeps or drops the selection as its reason asks.
Rows handBacks() {
  struct Reason {
    const char* name;
    const char* cause;
    const char* reason;
    const char* selected;
  };
  Rows rows;
  for (const Reason& each : {
           Reason{"AppleDefault", "preset apple-default", "apple default selected", "apple-default"},
           Reason{"Telemetry", "blind 9 vanish", "Thermal or fan telemetry became stale", "steady"},
           Reason{"AnError", "message target refuse 99 stuck; other-party 0 1 2000", "stuck", "steady"},
           Reason{"Competitor", "competitor 9", "TG Pro's privileged SMC helper", "steady"},
           Reason{"Ownership", "other-owner 9", "another app selected as fan controller", "steady"},
           Reason{"Sleep", "doze", "system sleep", "steady"},
           Reason{"Termination", "quit", "application termination", "steady"},
           Reason{"Uninstall", "message prepare refuse 99; uninstall 999", "helper uninstall", "apple-default"},
           Reason{"Deletion", "delete steady", "deleted active preset", "apple-default"},
           Reason{"Emergency", "emergency-reset", "settings emergency reset", "apple-default"},
       }) {
    rows.push_back(
        {each.name,
         fmt::format("{}{}; until 6: automatic; wait 0.2; now: logged 1 smart control disengaged: , logged 1 "
                     "smart control disengaged: {}, carried * / reset S1 / end S1, selected {}, not session",
                     atSteadySpeed, each.cause, each.reason, each.selected)});
  }
  return rows;
}

INSTANTIATE_TEST_SUITE_P(Reasons, ModelRows, testing::ValuesIn(handBacks()), nameOfScenario);
INSTANTIATE_TEST_SUITE_P(
    HandBack, ModelRows,
    testing::ValuesIn(Rows{
        {"AWriteThatFindsTheSessionGoneEndsItWithoutAReset",
         atSteadySpeed +
             "message target refuse 2; other-party 0 1 2000; until 12: sessions 1; until 10: driven; now: carried "
             "end S1 / begin S2 / *, logged 1 control session lost (, not error, selected steady"},
        {"AFailedResetIsShownAndTheSessionEnded", underControl +
                                                      "allow 9; fault 6 refuse-writes; message reset refuse 99 stuck; "
                                                      "emergency-reset; until 2: error stuck; until 20: automatic; "
                                                      "wait 3; now: not error, not busy"},
        {"AFailedEndIsForgottenOnceTheFansAreSeen",
         underControl + "message end refuse 99 stuck; emergency-reset; wait 3; now: automatic, not error, not busy"},
        {"ASessionThatWasGoneIsNoFailure",
         underControl + "message end refuse 2; emergency-reset; wait 2; now: not error, not busy"},
        {"TwoAtOnce", underControl + "message reset late 2; emergency-reset; preset apple-default; until 4: not busy; "
                                     "now: carried reset S1 / end S1, selected apple-default, not error"},
        {"AFailureBesideACompetitorIsTheCompetitors",
         atSteadySpeed +
             "message target refuse 6 rejected; other-party 0 1 2000; sent target; competitor 30; wait 0.2; "
             "now: error TG Pro's privileged SMC helper; until 2: automatic; during 25: automatic; until 12: driven"},
        {"WithoutOneItIsItsOwn", atSteadySpeed +
                                     "message target refuse 6 rejected; other-party 0 1 2000; sent target; wait 0.2; "
                                     "now: error rejected; until 12: driven"},
        {"ACompetitorIsReportedWhereNothingDrives",
         "competitor 60; wait 3; now: competing TG Pro, conflict, not error, carried"},
        {"AndNotWhereNothingMay",
         "before store fanControlOwnership.v1 anotherApp; competitor 60; wait 3; "
         "now: competing TG Pro, not conflict, not error, carried"},
        {"OwnershipTakenBesideACompetitorIsAConflict",
         "before select full-blast; before store fanControlOwnership.v1 anotherApp; competitor 20; wait 3; other-owner "
         "1; wait 2; "
         "now: error TG Pro's privileged SMC helper; during 10: automatic; until 15: driven"},
        {"NothingIsSelectedWhileAsleep",
         underControl + "doze; at 3: asleep 1; preset cooling; wait 5; now: selected full-blast"},
        {"NothingBeginsAfterTermination",
         underControl + "quit; until 5: quits 1; mark; preset cooling; supervised-test; competitor 20; "
                        "during 30: released; now: samples 0, sessions 0, not busy"},
        {"AnUninstallThatIsRefusedRemovesNothing",
         underControl +
             "message prepare refuse 99 not now; uninstall 999; until 5: error not now; "
             "now: unregistered 0, automatic, state Approved, selected apple-default, carried reset S1 / end S1"},
        {"ADriverThatIsMissingAtTheStartIsSaid", "before fault 999 driver-gone; now: error, samples 0"},
        {"AFailedReadBetweenGoodOnesIsForgotten",
         underControl + "blind 99 nan; until 3: error; clear nan; until 3: not error; blind 99 nan; "
                        "until 3: error; clear nan; until 3: not error; "
                        "now: untouched"},
    }),
    nameOfScenario);

Rows supervisedTests() {
  Rows rows = {
      {"Passes", untested +
                     "now: not passed; message end late 1; supervised-test; sent end; now: busy; until 3: not busy; "
                     "now: passed, not error, automatic, not session, carried begin S1 / mode S1 0 manual / "
                     "target S1 0 1850 / reset S1 / end S1"},
      {"AFanThatIsManualAlready", untested + "supervised-test; until 9: passed; wait 15; mark; other-party 1 1 3000; "
                                             "supervised-test; until 5: error The helper preflight contained an "
                                             "abnormal fan reading; wait 1; now: carried begin S2 / reset S2 / end S2"},
      {"AnOldErrorDoesNotStayDuringIt",
       "message begin refuse 99 old; preset full-blast; until 1: error old; preset apple-default; "
       "supervised-test; sent begin; now: busy, not error; until 9: not busy; now: not error"},
      {"RefusedByOwnership", untested +
                                 "before store fanControlOwnership.v1 anotherApp; supervised-test; now: error Change "
                                 "fan-control ownership in Settings before running the write test., carried, not busy"},
      {"RefusedByHardware",
       untested + "before model Mac14,1; supervised-test; now: error has not been hardware-validated., carried"},
      {"RefusedWithoutAHelper",
       untested + "before helper-status 2; supervised-test; now: not error, carried, not busy"},
      {"RefusedBesideACompetitor",
       untested + "competitor 60; wait 3; supervised-test; now: visible TG Pro may write to the fans as "
                  "well. Close or remove it before running the write test., carried, not busy"},
  };
  for (const std::string kind : {"begin", "mode", "target", "reset"}) {
    rows.push_back({"Fails_" + kind, untested + "message " + kind +
                                         " refuse 99 oops; supervised-test; until 5: error oops; "
                                         "until 5: not busy; now: not passed, automatic, not session"});
  }
  const std::vector<std::tuple<const char*, const char*, const char*>> events = {
      {"Sleep", "doze", "The supervised fan test was interrupted: system sleep"},
      {"Ownership", "other-owner 99",
       "The supervised fan test was interrupted: another app selected as fan controller"},
      {"Quit", "quit", "The supervised fan test was interrupted: application termination"},
      {"Competitor", "competitor 99", "TG Pro's privileged SMC helper is still running."},
      {"SessionLost", "message heartbeat refuse 2 expired", "expired"}};
  for (const auto& [name, event, message] : events) {
    for (const std::string kind : {"begin", "mode", "target"}) {
      if (kind == "begin" && name == std::string("SessionLost")) continue;
      rows.push_back(
          {name + ("_" + kind), fmt::format("{}message {} late 6; supervised-test; sent {} 0.1; {}; wait 5; "
                                            "now: error {}, not passed, automatic; wait 4; now: not passed, not busy, "
                                            "not session, automatic",
                                            untested, kind, kind, event, message)});
    }
  }
  return rows;
}

INSTANTIATE_TEST_SUITE_P(SupervisedTest, ModelRows, testing::ValuesIn(supervisedTests()), nameOfScenario);

}  // namespace
}  // namespace halcyra::test
