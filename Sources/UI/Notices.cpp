#include "UI/Notices.h"

namespace halcyra {

void Notices::follow(const ModelView& view) {
  // A command that takes, tests or returns the fans begins: what it will say is news, even in the same words.
  const bool commandBegins = view.isBusy && !wasBusy_;
  wasBusy_ = view.isBusy;
  if (commandBegins || dismissed_ != view.visibleError) dismissed_.reset();
  error_ = dismissed_ ? std::nullopt : view.visibleError;
  followTest(view);
}

void Notices::followTest(const ModelView& view) {
  if (view.supervisedTestRunning) {
    test_ = Test::running;
  } else if (view.supervisedTestPassed) {
    if (test_ != Test::notRun) test_ = Test::passed;
  } else if (test_ == Test::passed) {
    // The helper has gone, and its test with it.
    test_ = Test::notRun;
  } else if (test_ == Test::running && !view.isBusy) {
    // Only now: a test that has failed hands the fans back before it says why.
    test_ = Test::failed;
  }
}

void Notices::acknowledgeTest() {
  willChange_.announce();
  test_ = Test::notRun;
}

void Notices::dismissError() {
  if (!error_) return;
  willChange_.announce();
  dismissed_ = error_;
  error_.reset();
}

}  // namespace halcyra
