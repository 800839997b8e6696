// The helper's rules as scripts: who may ask it for what, what holds its session, and every way in which the fans go
// back to the firmware. See `HelperScript` for the words.

#include "fmt/format.h"
#include "gtest/gtest.h"

#include "Support/HelperRig.h"

namespace halcyra::test {
namespace {

struct HelperRow {
  const char* name;
  std::string text;
};

void PrintTo(const HelperRow& row, std::ostream* out) {
  *out << row.name;
}

using Rows = std::vector<HelperRow>;

class HelperRules : public testing::TestWithParam<HelperRow> {};

TEST_P(HelperRules, Hold) {
  HelperScript::check(GetParam().text);
}

const auto nameOf = [](const testing::TestParamInfo<HelperRow>& info) { return info.param.name; };

/// A refused start leaves nothing behind.
HelperRow refusedStart(const char* name, const std::string& start) {
  return {name,
          start + "; now: not session, unwritten, not locked; mode 1 A 0 manual = invalidSession; now: unwritten"};
}

/// A failed command has its code, drives nothing and does not end the session.
HelperRow refusedCommand(const char* name, const std::string& command) {
  return {name, "begin 1 A = ok; " + command + "; now: automatic, targets, session"};
}

INSTANTIATE_TEST_SUITE_P(
    Session, HelperRules,
    testing::ValuesIn(Rows{
        refusedStart("AnotherUser", "begin 3 A = unauthorizedClient"),
        refusedStart("NoIdentity", "begin 1 none = invalidSession UUID"),
        refusedStart("NoUUID", "begin 1 6F9619FF-8B86-4D11-B42D-00CF4FC964FF0 = invalidSession UUID"),
        refusedStart("NoDriver", "fault driver-gone; begin 1 A = controlUnavailable AppleSMC"),
        refusedStart("TestModeUnreadable", "fault result-read Ftst 0x85; begin 1 A = abnormalPreflight Ftst"),
        refusedCommand("NoSuchFan", "mode 1 A 2 manual = invalidFan"),
        refusedCommand("BelowAllFans", "mode 1 A -1 manual = invalidFan"),
        refusedCommand("BeyondTheKeys", "target 1 A 10 3000 = invalidFan"),
        refusedCommand("ModeRefused", "fault result F0Md 0x85; mode 1 A 0 manual = controlUnavailable"),
        refusedCommand("ModeNeverLatches", "fault never-latch F0Md; mode 1 A 0 manual = controlUnavailable"),
        refusedCommand("NoManualMode", "target 1 A 0 3000 = controlUnavailable"),
        refusedCommand("NoWritePermitted", "fault refuse-writes; mode 1 A 0 manual = controlUnavailable"),
        refusedCommand("AFanThatCanOnlyBeRead",
                       "end 1 A = ok; fault vanish F1Tg; begin 1 A = ok; "
                       "mode 1 A 1 manual = unsupportedHardware"),
        {"TheSuperuser", "begin 0 A = ok; now: session, locked"},
        {"ALockHeldElsewhere", "other-lock on; begin 1 A = busy somebody else; other-lock off; begin 1 A = ok"},
        {"ANewSessionReplacesTheOldAfterAHandBack",
         "take; x: target 1 A 0 4000; wait 0.01; begin 1 B = ok; now: automatic; x = invalidSession; "
         "mode 1 A 0 manual = invalidSession; mode 1 B 0 manual = ok"},
        {"OnlyItsOwnConnectionMayUseIt",
         "take; begin 2 B = busy; beat 2 A = invalidSession; mode 2 A 0 automatic = invalidSession; "
         "target 2 A 0 2000 = invalidSession; reset 2 A = invalidSession; end 2 A = invalidSession; "
         "beat 1 B = invalidSession; mode 1 B 0 automatic = invalidSession; target 1 B 0 2000 = invalidSession; "
         "reset 1 none = invalidSession; end 1 B = invalidSession; beat 3 A = unauthorizedClient; "
         "mode 3 A 0 automatic = unauthorizedClient; target 3 A 0 2000 = unauthorizedClient; "
         "reset 3 A = unauthorizedClient; end 3 A = unauthorizedClient; status 3 = unauthorizedClient; "
         "prepare 3 = unauthorizedClient; gone 2; wait 1; now: unwritten, manual; beat 1 A = ok"},
        {"ATargetThatFailsInManualModeSaysWhy",
         "take; target 1 A 0 90000 = internalFailure fan 0 target 90000 is outside; now: targets; "
         "fault set-mode 0 0; target 1 A 0 3500 = controlUnavailable"},
        {"AResetKeepsTheSession",
         "take; reset 1 A = ok; now: automatic, locked, session; mode 1 A 0 manual = ok; "
         "during 5: modes 1 0"},
        {"OneFanGivenBack", "take; mode 1 A 1 automatic = ok; now: modes 1 0, session"},
        {"AStartWhoseClientVanishes",
         "fault slow 50; x: begin 1 A; wait 0.3; x = open; gone 1; x = invalidSession; clear; "
         "wait 10; now: not session, not locked, unwritten; begin 2 B = ok"},
        {"AnIdleHelperEndsAfterItsLastMessage",
         "status 3 = unauthorizedClient; wait 1; status 1 = ok; wait 29.5; now: running; until 1: exited 0"},
    }),
    nameOf);

/// However a session ends, the hand-back overtakes a write that waits for its latch, and those behind it.
HelperRow ending(const char* name, const std::string& end, const std::string& process) {
  return {name,
          "take; fault never-latch F0Tg; x: target 1 A 0 5000; y: target 1 A 1 5000; z: mode 1 A 0 manual; wait 1; "
          "mark; " +
              end +
              "; wait 0.25; now: wrote F0Md, wrote F1Md; until 2: automatic; x = invalidSession; "
              "y = invalidSession; z = invalidSession; until 0.5: not locked; now: not session; wait 0.5; now: " +
              process + "; during 20: automatic; now: handbacks"};
}

/// Manual mode has been commanded and has not become effective yet.
const std::string pending =
    "begin 1 A = ok; fault latch-delay 3; x: mode 1 A 0 manual; written; now: automatic; mark; ";

INSTANTIATE_TEST_SUITE_P(
    HandBack, HelperRules,
    testing::ValuesIn(Rows{
        ending("Ended", "e: end 1 A", "running"),
        ending("ClientGone", "gone 1", "running"),
        ending("ToldToStop", "stop", "exited 0"),
        ending("BusLost", "lost", "exited 1"),
        ending("Uninstalled", "e: prepare 1", "exited 0"),
        {"OvertakesWritesThatWereAskedForEarlier",
         "take; fault never-latch F0Tg; x: target 1 A 0 4000; y: target 1 A 1 4001; z: target 1 A 0 4002; wait 3; "
         "mark; "
         "r: reset 1 A; until 2: automatic; r = ok; wait 11; now: handbacks; x = internalFailure overtaken; "
         "y = internalFailure overtaken; z = internalFailure overtaken"},
        // The write has latched; its end waits in the main queue behind the request for the fans.
        {"AWriteThatWasDoneMeanwhileIsNotAnsweredAsDone",
         "take; x: target 1 A 0 4000; hang 2; r: reset 1 A; now: wrote F0Tg; x = internalFailure overtaken; r = ok; "
         "now: automatic, session"},
        {"APendingModeIsWrittenOverAndWatched", pending + "end 1 A = ok; x = invalidSession; now: wrote F0Md, locked; "
                                                          "during 15: automatic; now: handbacks, not locked"},
        {"APendingModeWhileTheFirmwareIsBusyAtFirst",
         pending + "fault result F0Md 0x82 4; end 1 A = ok; now: wrote F0Md 1, handbacks; during 15: automatic"},
        {"AFanThatTurnsManualAfterwards", pending + "end 1 A = ok; clear latch-delay; fault set-mode 0 1 4000; "
                                                    "now: modes 1 0; until 2: automatic"},
        {"ASessionKeepsAFanThatWasOwedAndIsManual",
         pending + "end 1 A = ok; clear latch-delay; begin 1 B = ok; wait 0.1; fault set-mode 0 1 4000; mark; "
                   "mode 1 B 0 manual = ok; during 5: modes 1 0; now: not wrote F0Md; end 1 B = ok; now: automatic"},
        {"AFailingFanStopsNoOtherAndIsTriedAgain",
         "take; fault never-latch F0Md; x: end 1 A; until 2: modes 1 0; x = controlUnavailable Fan 0 could not be "
         "handed "
         "back to Automatic: SMC write failed: fan 0 automatic reset did not latch; now: locked, logged Fan 0 could "
         "not be "
         "handed back; wait 60; now: running, modes 1 0, locked; clear; until 5: automatic; now: logged every fan is "
         "automatic again, handbacks; wait 31; now: exited 0, not locked"},
        {"AFanThatNeverObeysDelaysNoOtherThatRefusesAtFirst",
         "take; fault never-latch F0Md; fault result F1Md 0x82 3; x: end 1 A; until 2: modes 1 0"},
        {"AFanThatReadsAutomaticIsCommandedAllTheSame",
         "take; fault value F0Md 0; fault freeze F1Md; x: end 1 A; wait 2; now: wrote F0Md, automatic"},
        {"AStopWaitsForAFanThatFails",
         "take; fault result F1Md 0x85; stop; wait 40; now: running, modes 0 1, locked; "
         "begin 1 B = busy; clear; until 3: automatic; until 1: exited 0"},
        {"ADriverThatComesBackIsAskedAgain",
         "take; fault driver-gone; end 1 A = controlUnavailable; wait 90; "
         "now: running, locked; clear; until 3: automatic; until 1: not locked"},
        {"AStopGivesUpOnADriverThatStaysAway",
         "take; fault driver-gone; stop; wait 9; now: running; until 5: exited 1"},
        {"AResetThatFailsIsNoSuccess",
         "take; fault result F0Md 0x85; reset 1 A = controlUnavailable Fan 0 could not be handed back; "
         "now: modes 1 0, session; clear; until 4: automatic; now: session"},
        {"AnUninstallIsRefusedWhileAnothersSessionLives",
         "take; prepare 2 = busy; now: unwritten; end 1 A = ok; prepare 2 = ok; now: running; begin 1 B = busy; "
         "until 1: exited 0"},
        {"NoSessionBeginsWhileAnUninstallIsPrepared",
         "take; fault slow 50; x: prepare 1; wait 0.2; begin 2 B = busy; x = ok"},
        {"AnUninstallLeavesNoManualFan",
         "take; fault result F0Md 0x85; prepare 1 = controlUnavailable; wait 5; "
         "now: running; clear; until 4: automatic"},
        {"AStatusThatItInterruptsIsAnswered", "take; fault slow 50; x: status 2; wait 0.2; y: end 1 A; x = ok; y = ok"},
    }),
    nameOf);

/// The helper died between a manual command and its latch, and the next one is to end before it would have latched.
HelperRow pendingAtTheEnd(const char* name, const std::string& before, const std::string& between, bool isGone,
                          bool isStopped) {
  return {name,
          fmt::format(
              "begin 1 A = ok; fault latch-delay 9; x: mode 1 A 0 manual; written; kill; mark; {}start; wait 1; "
              "{}now: automatic, unwritten, locked; {}{}wait {}; now: {}; clear; wait {}; now: exited 0, automatic, "
              "handbacks",
              before, between, isGone ? "fault driver-gone; wait 2; " : "", isStopped ? "stop; " : "",
              isStopped ? 5 : 60, isGone ? "running" : "exited 0", isStopped ? 10 : 45)};
}

HelperRow missingAtTheStart(const char* name, const std::string& fault, bool isStopped) {
  return {
      name,
      "cold; fault set-mode 0 1 4000; fault " + fault + "; start; wait 60; now: running, unwritten, locked; " +
          (isStopped ? "stop; until 15: exited 1" : "clear; until 3: automatic; wait 45; now: exited 0, handbacks")};
}

INSTANTIATE_TEST_SUITE_P(
    Start, HelperRules,
    testing::ValuesIn(Rows{
        {"AFanLeftInManualModeIsHandedBack",
         "take; kill; wait 30; now: manual; start; x: target 1 A 0 4000; begin 1 B = ok; x = invalidSession; "
         "now: automatic, handbacks, logged the helper has started"},
        {"ACommandOfADeadHelperThatLatchesLate",
         "begin 1 A = ok; fault latch-delay 3; x: mode 1 A 0 manual; written; kill; clear latch-delay; start; "
         "now: automatic; until 3.9: modes 1 0; until 2: automatic"},
        pendingAtTheEnd("ACommandOfADeadHelperAndAStop", "", "", false, true),
        pendingAtTheEnd("ACommandOfADeadHelperAndAStopAtTheFirstSight", "fault driver-gone; ", "clear driver-gone; ",
                        false, true),
        pendingAtTheEnd("ACommandOfADeadHelperAndAStopWithoutADriver", "", "", true, true),
        pendingAtTheEnd("ACommandOfADeadHelperWithoutADriver", "", "", true, false),
        missingAtTheStart("AMissingModeKeyIsWaitedFor", "vanish F0Md", false),
        missingAtTheStart("AMissingModeKeyAndAStop", "vanish F0Md", true),
        missingAtTheStart("AMissingDriverIsWaitedFor", "driver-gone", false),
        missingAtTheStart("AMissingDriverAndAStop", "driver-gone", true),
        {"ALiveOwnersFansAreNotTouched",
         "cold; fault set-mode 0 1 4000; other-lock on; start; wait 5; now: unwritten, modes 1 0, logged somebody "
         "else; "
         "other-lock off; begin 1 A = ok; now: automatic"},
        {"AutomaticFansAreNotWrittenTo",
         "cold; fault set-mode 1 3; start; wait 29; now: running; until 2: exited 0; now: unwritten, not locked"},
    }),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Watchdog, HelperRules,
    testing::ValuesIn(Rows{
        {"EndsTheSessionTwelveSecondsAfterItsLastHeartbeat",
         "take; wait 11.99; now: session, manual, unwritten; wait 0.26; now: not session, wrote F0Md, wrote F1Md; "
         "target 1 A 0 4000 = invalidSession; beat 1 A = invalidSession; until 3: automatic; until 1: not locked; "
         "now: handbacks"},
        {"OnlyHeartbeatsKeepASessionAlive",
         "take; wait 3; target 1 A 0 3003 = ok; status 1 = ok; beat 1 B = invalidSession; beat 2 A = invalidSession; "
         "wait 4; target 1 A 0 3007 = ok; wait 5; now: not session"},
        {"HeartbeatsKeepItAliveForHours", "take; heart 7200; now: session, manual; wait 18; now: automatic"},
        {"TheWallClockPlaysNoPart",
         "take; clock 86400; wait 11.9; now: session; clock -172800; wait 0.35; now: not session"},
        // Sent in time, and not looked at before the time is over.
        {"AfterAStandstillAMessageComesTooLate",
         "take; wait 10.5; suspend; wait 0.5; x: target 1 A 0 5000; y: beat 1 A; wait 9; resume; x = invalidSession; "
         "y = invalidSession; until 3: automatic; now: targets"},
        {"TheSameWhenItsMainQueueAloneHangs",
         "take; wait 10.5; hang 20; wait 0.5; x: target 1 A 0 5000; y: beat 1 A; x = invalidSession; y = "
         "invalidSession; "
         "until 3: automatic; now: targets"},
        {"HeartbeatsAreAnsweredWhileAWriteWaitsForItsLatch",
         "take; fault never-latch F0Tg; x: target 1 A 0 5000; wait 4; beat 1 A = ok; x = open; wait 5.5; beat 1 A = "
         "ok; "
         "x = open; x = internalFailure SMC write failed: fan 0 target 5000 did not latch within 10.0s; now: session"},
        {"InterruptsAWriteThatWaits",
         "take; fault never-latch F0Tg; wait 11; x: target 1 A 0 5000; wait 1.5; "
         "x = invalidSession; now: wrote F0Md; until 2: automatic"},
    }),
    nameOf);

}  // namespace
}  // namespace halcyra::test
