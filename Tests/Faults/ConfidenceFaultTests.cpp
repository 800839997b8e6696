// What drives only with a fresh reading behind it, what the way out interrupts, and what the end and sleep wait for.

#include "Support/Scenario.h"

namespace halcyra::test {
namespace {

using Rows = std::vector<ScenarioRow>;

const std::string atFullBlast = "preset full-blast; until 30: driven; mark; ";

class ConfidenceFaults : public testing::TestWithParam<ScenarioRow> {};

TEST_P(ConfidenceFaults, EndAsTheyMust) {
  Scenario::check(GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    FreshReadings, ConfidenceFaults,
    testing::Values(
        ScenarioRow{"APresetChosenAfterAWakeWaits",
                    atFullBlast + "doze; wait 5; fault 999 slow 10; wake; preset cooling; mark; during 3: undriven; "
                                  "now: not error, selected cooling; until 15: driven; now: sessions 1"},
        ScenarioRow{"APresetChosenWhileTelemetryIsStaleWaits",
                    "blind 999 vanish; wait 10; mark; preset full-blast; during 20: undriven; preset smart-auto; "
                    "during 10: undriven; now: begins 0, selected smart-auto; clear vanish; until 10: driven"},
        ScenarioRow{"APresetChosenBeforeTheFirstReadingWaits",
                    "before fault 999 slow 25; preset full-blast; now: not error, selected full-blast, begins 0; "
                    "clear slow; until 20: driven; now: not error"},
        ScenarioRow{"ItIsSaidWhenTheFirstReadingShowsAnotherMachine",
                    "before fault 999 slow 25; before model Mac14; before store supervisedFanTestHardwareModel "
                    "Mac14; preset full-blast; now: not error; clear slow; "
                    "until 20: error remains in safe monitoring-only mode; during 10: automatic; now: begins 0"},
        ScenarioRow{"AReadingThatGrowsTooOldHandsBackAtOnce",
                    atFullBlast + "fault 999 slow 60; during 10: manual; until 8: automatic; mark; "
                                  "during 60: undriven; now: error not been read for 15 seconds; clear slow; "
                                  "until 30: driven; now: not error"},
        ScenarioRow{"ADriverThatKeepsUpIsFollowed",
                    atFullBlast + "fault 999 slow 20; during 60: untouched; clear slow; during 10: untouched"},
        ScenarioRow{"ADriverThatIsTooSlowIsNotDrivenByNowAndThen",
                    "fault 999 slow 30; wait 20; preset full-blast; during 120: undriven; now: begins 0; clear slow; "
                    "until 30: driven"}),
    nameOfScenario);

INSTANTIATE_TEST_SUITE_P(
    WayOut, ConfidenceFaults,
    testing::Values(
        ScenarioRow{"AppleDefaultInterruptsAnActivation",
                    "message begin late 3; preset full-blast; sent begin; preset apple-default; wait 0; "
                    "now: selected apple-default, not busy; during 20: undriven; now: automatic, not session"},
        ScenarioRow{"AppleDefaultInterruptsTheTakingOfTheFans",
                    "preset full-blast; sent mode; preset apple-default; until 3: automatic; mark; "
                    "during 20: released; now: selected apple-default, not busy, not session"},
        ScenarioRow{"AppleDefaultInterruptsTheSupervisedTest",
                    "before store supervisedFanTestProtocolVersion 0; supervised-test; sent mode; preset "
                    "apple-default; until 3: automatic; mark; during 20: released; now: not busy, not passed"}),
    nameOfScenario);

INSTANTIATE_TEST_SUITE_P(
    Waiting, ConfidenceFaults,
    testing::Values(
        ScenarioRow{"TheEndWaitsForAHandBackThatFails", atFullBlast + "allow 40; fault 999 refuse-writes; quit; "
                                                                      "during 14: quits 0; until 1.5: not quits 0"},
        ScenarioRow{"TheEndComesWithTheConfirmation", atFullBlast +
                                                          "allow 12; fault 5 refuse-writes; quit; during 4: quits 0; "
                                                          "until 5: quits 1; now: automatic"},
        ScenarioRow{"TheEndJustAfterTheHelperWasKilled",
                    atFullBlast + "kill-helper; quit; until 14: quits 1; now: automatic"},
        ScenarioRow{"SleepWaitsForAHandBackThatIsOwed",
                    atFullBlast + "allow 30; fault 6 refuse-writes; preset apple-default; "
                                  "wait 2; doze; during 1: not asleep 1; until 13: asleep 1; now: automatic"}),
    nameOfScenario);

INSTANTIATE_TEST_SUITE_P(
    Machine, ConfidenceFaults,
    testing::Values(
        ScenarioRow{
            "APassOnAnotherModelDoesNotCount",
            "before store supervisedFanTestHardwareModel Mac14; preset full-blast; now: error Approve the helper; "
            "during 10: automatic; now: begins 0, not passed"},
        ScenarioRow{"AFanWithImpossibleLimitsIsLeftAlone",
                    "before fault 999 value F0Mn 9000; preset full-blast; until 30: modes 0 1; mark; "
                    "during 10: modes 0 1; now: not error, target 1 6200, logged 1 fan 0 is left alone; clear value; "
                    "until 30: driven; now: sessions 1"},
        ScenarioRow{"LimitsThatTurnImpossibleWhileDrivingHandThatFanBackAlone",
                    atFullBlast + "fault 999 value F0Mn 9000; until 8: modes 0 1; mark; during 10: modes 0 1; "
                                  "now: sessions 0, not error; clear value; until 30: driven; now: sessions 1"},
        ScenarioRow{"ADriverThatComesLater",
                    "before fault 20 driver-gone; now: error AppleSMC; until 40: temperature; now: not error; "
                    "preset full-blast; until 30: driven"}),
    nameOfScenario);

}  // namespace
}  // namespace halcyra::test
