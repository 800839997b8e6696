#include "UI/FirstRunState.h"

namespace halcyra {

namespace {

using Mark = FirstRunState::Mark;

bool isInstalled(HelperInstallState state) {
  return state == HelperInstallState::enabled || state == HelperInstallState::requiresApproval;
}

/// What keeps the supervised test from being run, beside its order; none when it may be run.
std::optional<std::string> testObstacle(const ModelView& view) {
  if (view.fanControlOwnership == FanControlOwnership::anotherApp) {
    return "Another app controls the fans. Change the owner in Settings first.";
  }
  if (view.fans.empty()) return "No controllable fans were detected on this Mac.";
  if (!view.thermalControlSupported) return "This Mac has not been validated for fan control.";
  if (view.helperState != HelperInstallState::enabled) return "Install and approve the helper first.";
  if (view.competingController) return *view.competingController + " is running. Close or remove it first.";
  return std::nullopt;
}

void describeTest(FirstRunState& state, const ModelView& view, const Notices& notices) {
  state.isTesting = notices.test() == Notices::Test::running;
  state.showsTestCaption = !view.supervisedTestPassed;
  state.showsTest = state.showsTestCaption && !view.fans.empty();
  state.canTest = view.helperState == HelperInstallState::enabled && !view.isBusy && view.thermalControlSupported &&
                  view.fanControlOwnership != FanControlOwnership::anotherApp;
  FirstRunState::Step& step = state.steps[2];
  const auto obstacle = testObstacle(view);
  if (view.supervisedTestPassed) {
    step.mark = Mark::done;
    step.value = "Passed";
    return;
  }
  if (state.isTesting) {
    step.mark = Mark::current;
    step.value = "Running…";
    state.testNote = FirstRunText::testRuns;
  } else if (notices.test() == Notices::Test::failed) {
    step.mark = Mark::failed;
    step.value = "Failed";
    state.testNoteIsError = true;
    state.testNote = obstacle.value_or(FirstRunText::testFailed);
  } else {
    step.mark = view.helperState == HelperInstallState::enabled ? Mark::current : Mark::ahead;
    step.value = step.mark == Mark::current ? "Required" : "";
    state.testNote = obstacle.value_or(FirstRunText::testDoes);
  }
}

}  // namespace

FirstRunState makeFirstRunState(const ModelView& view, const Notices& notices, const std::string& command) {
  FirstRunState state;
  const bool isEnabled = view.helperState == HelperInstallState::enabled;
  const bool isLeft = !isEnabled || !view.supervisedTestPassed;
  state.isComplete = !isLeft && notices.test() == Notices::Test::passed;
  state.isShown = isLeft || state.isComplete;
  state.steps = {FirstRunState::Step{FirstRunText::install, "", Mark::current},
                 FirstRunState::Step{FirstRunText::approve, "", Mark::ahead},
                 FirstRunState::Step{FirstRunText::test, "", Mark::ahead}};
  if (isInstalled(view.helperState)) {
    state.steps[0].mark = Mark::done;
    state.steps[0].value = "Installed";
    state.steps[1].mark = isEnabled ? Mark::done : Mark::current;
    state.steps[1].value = rawValue(view.helperState);
  } else {
    state.steps[0].value = rawValue(view.helperState);
  }
  state.showsSetUp = !isEnabled;
  state.canSetUp = !view.isBusy;
  if (view.helperState == HelperInstallState::requiresApproval) state.command = command;
  describeTest(state, view, notices);
  return state;
}

std::optional<std::string> presetObstacle(const ModelView& view) {
  if (view.fans.empty()) return "No fans are known yet.";
  if (!view.thermalControlSupported) return "This Mac has not been validated for fan control.";
  if (view.fanControlOwnership == FanControlOwnership::anotherApp) {
    return "Another app controls the fans. Change the owner in Settings.";
  }
  if (!view.supervisedTestPassed) {
    return view.helperState == HelperInstallState::enabled ? "Run the supervised fan test first."
                                                           : "Install and approve the helper first.";
  }
  if (view.isBusy) return "Please wait: the fans are being taken or handed back.";
  return std::nullopt;
}

}  // namespace halcyra
