// What happens to the fans when the application or the helper fails, ends, or cannot write, and when what is between
// them fails. Each row is a scenario over the whole program; see `Scenario` for its words.

#include "Support/Scenario.h"

namespace halcyra::test {
namespace {

using Rows = std::vector<ScenarioRow>;

const std::string driving = "preset full-blast; until 30: driven; mark; ";
const std::string steady = "edit steady 3000; preset steady; until 30: driven; mark; ";

/// The preset drives both fans again within so many seconds, in exactly one more session, and goes on.
std::string comesBack(int seconds) {
  return "until " + std::to_string(seconds) +
         ": driven; now: sessions 1; during 10: driven; now: sessions 1, not error; ";
}

class ApplicationFaults : public testing::TestWithParam<ScenarioRow> {};

TEST_P(ApplicationFaults, EndAsTheyMust) {
  Scenario::check(GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ApplicationFaults,
    testing::ValuesIn(Rows{
        {"Killed",
         driving + "kill-application 62; until 2: automatic; during 59: released; now: not helper; " + comesBack(25)},
        {"KilledDuringActivation", "preset full-blast; %; kill-application 65; wait 2.5; mark; during 60: released"},
        {"Stopped", driving +
                        "sent heartbeat 0.01; mark; stop-application 75; during 11.5: manual; until 2: automatic; "
                        "during 60: released; " +
                        comesBack(20)},
        {"StoppedForLessThanTheWatchdog", driving + "stop-application 7; during 37: untouched"},
        {"Hung", driving +
                     "hang-application 90; until 23.5: automatic; now: undriven; mark; during 60: released; "
                     "now: beats 0, sessions 0; " +
                     comesBack(45)},
        {"HungForLessThanTheProbe", driving + "hang-application 8; during 48: untouched"},
        {"QuitTwiceDuringActivation",
         "fault 999 latch-delay 1.5; preset full-blast; %; quit; quit; until 10: quits 2; now: not session, sessions 0 "
         "1; "
         "mark; during 90: released; now: sessions 0 1, quits 2"},
        {"QuitUnderControl", driving + "quit; until 5: quits 1; now: carried reset S1 / end S1; during 60: released; "
                                       "now: sessions 0, quits 1, selected full-blast"},
        {"UninstalledWithALiveSession",
         driving + "uninstall 999; until 10: unregistered 1; during 90: released; now: not helper, unregistered 1, "
                   "state Not installed, selected apple-default, not error, carried reset S1 / end S1 / prepare"},
        {"TwoApplications",
         steady + "second-application 200 apple-default; wait 6; second-preset full-blast; during 60: untouched; "
                  "now: targets 0, second not session, second error, begins 2 14; until 1: second not busy; "
                  "kill-application 999; until 2: automatic; until 20: second session; until 10: second not busy; "
                  "now: sessions 1, target 0 5700, target 1 6200; until 150: automatic"},
    }),
    nameOfScenario);

Rows helperKills() {
  Rows rows;
  const auto add = [&](const std::string& name, const std::string& kind, const std::string& before,
                       const std::string& cause, const std::string& end) {
    // Every call of the driver takes a moment, so that there is a middle; messages take 0.2 ms.
    rows.push_back({"Before" + name, before + cause + "sent " + kind + "; at 1: helper; kill-helper; " + end});
    rows.push_back({"During" + name, before + "fault 999 slow 2; " + cause + "sent " + kind +
                                         " 0.004; clear slow; at 1: helper; kill-helper; " + end});
    rows.push_back({"After" + name, before + cause + "sent " + kind + " 2.5; at 1: helper; kill-helper; " + end});
  };
  // A heartbeat or a poll finds out, and starts a new helper, which hands back.
  for (const char* kind : {"begin", "mode", "target", "heartbeat"}) {
    add(std::string("Driving_") + kind, kind, "allow 5.5; ", "preset full-blast; ",
        "mark; until 5.5: automatic; " + comesBack(20));
  }
  for (const char* kind : {"reset", "end"}) {
    add(std::string("HandingBack_") + kind, kind, "allow 5.5; " + driving, "preset apple-default; ",
        "until 5.5: automatic; during 60: released; now: sessions 0, not busy, selected apple-default");
  }
  add("Uninstalling", "prepare", "allow 5.5; " + driving, "uninstall 999; ",
      "until 5.5: automatic; during 60: released; now: error, unregistered 0");
  // By then it ends by itself.
  rows.back() = {"AfterUninstalling", driving +
                                          "uninstall 999; sent prepare; until 2: not helper; now: automatic; "
                                          "during 60: released; now: not error, unregistered 1"};
  return rows;
}

class HelperKills : public testing::TestWithParam<ScenarioRow> {};

TEST_P(HelperKills, EndAsTheyMust) {
  Scenario::check(GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Rows, HelperKills, testing::ValuesIn(helperKills()), nameOfScenario);

/// A write that fails for good hands back, is tried again not before 5 s, and the second fan is not touched meanwhile.
ScenarioRow lasting(const std::string& name, const std::string& fault, const std::string& message) {
  return {name, "edit steady 3000; fault 999 " + fault + "; preset steady; until 2: sessions 1; until 12: error " +
                    message + "; until 3: automatic; now: targets 1, error " + message +
                    "; mark; wait 60; now: sessions 2 12, selected steady; clear " + fault.substr(0, fault.find(' ')) +
                    "; until 60: driven; mark; during 20: untouched; now: not error"};
}

/// One that fails in passing costs neither the activation nor the hand-back.
ScenarioRow passing(const std::string& name, const std::string& fault) {
  return {name, "allow 6; fault 999 " + fault +
                    "; preset full-blast; until 30: driven; now: not error, carried begin S1 / "
                    "mode S1 0 manual / target S1 0 5700 / mode S1 1 manual / target S1 1 6200; fault 999 " +
                    fault + "; preset apple-default; until 6: automatic; mark; during 30: released; now: not error"};
}

class WriteFaults : public testing::TestWithParam<ScenarioRow> {};

TEST_P(WriteFaults, EndAsTheyMust) {
  Scenario::check(GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WriteFaults,
    testing::ValuesIn(Rows{
        lasting("TargetRefused", "result F0Tg 0x86", "result"),
        lasting("ModeRefused", "result F0Md 0x86", "macOS rejected manual fan control"),
        lasting("TargetNeverLatches", "never-latch F0Tg", "did not latch within 10.0s"),
        lasting("ModeNeverLatches", "never-latch F0Md", "macOS rejected manual fan control"),
        lasting("TargetReadbackDiffersForEver", "value F0Tg 2000", "did not latch within 10.0s"),
        passing("PassingBadCommand", "result F0Md 0x82 12"),
        passing("PassingBadParameter", "result F1Md 0x83 12"),
        passing("SlowLatch", "latch-delay 4"),
        // A helper that owes a fan stays and tries every 2 s, and the user is told.
        {"HandBackRefused", driving + "allow 60; fault 999 refuse-writes; preset apple-default; wait 30; "
                                      "now: manual, helper, error; clear refuse-writes; until 3: automatic; "
                                      "during 60: released"},
        // The application sees it in a poll, leaves the helper 5 s for it, and starts one at the next poll.
        {"HandBackRefusedAndTheHelperDies",
         driving +
             "allow 60; fault 999 refuse-writes; preset apple-default; wait 20; kill-helper; clear refuse-writes; "
             "now: manual; until 10.5: automatic; wait 1; now: undriven; mark; during 60: released; "
             "now: sessions 0, selected apple-default, not busy"},
        {"HandBackNeverLatches",
         driving + "allow 60; fault 999 never-latch F0Md; preset apple-default; until 2: modes 1 0; until 25: error; "
                   "now: modes 1 0; clear never-latch; until 3: automatic; during 60: released"},
        {"WhatAnotherPartyDrivesAfterwardsIsLeftToIt",
         driving +
             "preset apple-default; until 2: automatic; wait 12; mark; other-party 0 1 3000; during 60: modes 1 0; "
             "now: sessions 0"},
        {"AStoppedHelperWritesNothingForASessionThatIsOver",
         steady +
             "fault 999 slow 2; edit steady 4000; sent target 0.004; mark; allow 30; stop-helper 20; wait 19.9; "
             "clear slow; until 1.6: automatic; now: undriven; " +
             comesBack(30)},
        {"ReadbackDiffersOnce", steady + "other-party 0 1 2000; until 3.5: target 0 3000; during 30: untouched; "
                                         "now: targets 0 3000, targets 1"},
        {"AFanMadeAutomaticByAnotherParty", steady + "other-party 0 0; until 4: automatic; " + comesBack(15)},
        {"AModeThatReadsAutomaticIsWrittenOver",
         "allow 40; fault 999 value F0Md 0; preset full-blast; wait 30; preset apple-default; until 5: automatic; "
         "clear value; mark; during 30: released"},
    }),
    nameOfScenario);

Rows replyFaults() {
  Rows rows;
  const std::vector<std::pair<std::string, std::string>> faults = {
      {"Lost", "lose-reply"}, {"Late", "late 3"}, {"LaterThanTheWatchdog", "late 16"}, {"Twice", "twice"}};
  for (const auto& [name, fault] : faults) {
    // A lost start leaves a session that nobody drives; the watchdog ends it, and the second one drives.
    const bool sessionFalls = name == "Lost" || name == "LaterThanTheWatchdog";
    for (const std::string kind : {"begin", "mode", "target", "heartbeat"}) {
      const bool isBeat = kind == "heartbeat";
      rows.push_back(
          {"Driving_" + kind + name, "message " + kind + " " + fault + "; preset full-blast; sent " + kind + "; " +
                                         (name == "Late" && !isBeat ? "during 2.9: not driven; " : "") +
                                         "until 60: driven; now: sessions 1 " + (sessionFalls && !isBeat ? "2" : "1") +
                                         "; mark; during 40: untouched; now: undriven, not error, useless " +
                                         (name == "Twice" ? "1" : "0")});
    }
    for (const std::string kind : {"reset", "end"}) {
      rows.push_back(
          {"HandingBack_" + kind + name,
           driving + "message " + kind + " " + fault +
               "; preset apple-default; until 2: automatic; during 60: released; now: not busy, not session, "
               "sessions 0; preset steady; until 30: driven; now: sessions 1"});
    }
  }
  return rows;
}

/// The connection or the bus fails while a command of an activation is out.
Rows interruptions() {
  Rows rows;
  for (const std::string kind : {"begin", "mode", "target"}) {
    rows.push_back({"Interrupted_" + kind,
                    "message " + kind + " fail 4097; preset full-blast; sent " + kind +
                        "; wait 1; now: error; until 1: automatic; wait 2; now: automatic; mark; " + comesBack(15)});
    rows.push_back({"BusGone_" + kind, "preset full-blast; sent " + kind +
                                           " 0.02; lose-bus 32; wait 2; mark; during 29: released; " + comesBack(20)});
  }
  return rows;
}

class LinkFaults : public testing::TestWithParam<ScenarioRow> {};

TEST_P(LinkFaults, EndAsTheyMust) {
  Scenario::check(GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Replies, LinkFaults, testing::ValuesIn(replyFaults()), nameOfScenario);
INSTANTIATE_TEST_SUITE_P(Interruptions, LinkFaults, testing::ValuesIn(interruptions()), nameOfScenario);
INSTANTIATE_TEST_SUITE_P(
    Sessions, LinkFaults,
    testing::ValuesIn(Rows{
        {"BusyAtARestoreIsQuietAndTriedAgain",
         "before select full-blast; before messages begin refuse 1 busy; during 30: released; "
         "now: not error, begins 3 8; until 1: not busy; messages begin pass; " +
             comesBack(9)},
        {"ExpiredWithoutHeartbeats",
         driving +
             "sent heartbeat 0.01; mark; messages heartbeat lose-request; during 11.5: manual; now: sessions 0; "
             "until 2: automatic; now: undriven; messages heartbeat pass; " +
             comesBack(15)},
        {"ARefusedHeartbeatIsALostSession",
         driving + "message heartbeat refuse 2; sent heartbeat; until 2: automatic; " + comesBack(10)},
        {"OneFailedHeartbeatIsNoLossTwoAre",
         driving +
             "message heartbeat fail 4097; during 20: untouched; message heartbeat fail 4097; "
             "message heartbeat fail 4097; until 10: automatic; " +
             comesBack(10)},
        {"Invalidated", driving +
                            "invalidate; wait 1; now: not session; until 13.5: automatic; now: undriven, not error; " +
                            comesBack(15)},
        {"BusGone",
         driving + "lose-bus 62; until 2: automatic; during 59: released; now: not helper, not busy; " + comesBack(20)},
    }),
    nameOfScenario);

}  // namespace
}  // namespace halcyra::test
