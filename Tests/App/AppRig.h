#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "gtest/gtest.h"

#include "Support/ClosedLoop.h"

namespace halcyra::test {

using Lines = std::vector<std::string>;

/// The application on the simulated Mac, in virtual time, for what a scenario has no words for.
class AppRig {
 public:
  explicit AppRig(std::function<void(TestPlatform&)> prepare = {}, AppModelOptions options = {}) {
    loop.prepareApplication = std::move(prepare);
    loop.modelOptions = options;
    loop.startApplication();
    run(0.5);
  }

  AppModel& model() { return loop.model(); }
  TestPlatform& doubles() { return *loop.application->doubles; }
  void run(double seconds) { loop.run(seconds); }
  /// Runs `work` on the main queue, and what follows from it at once.
  void onMain(const std::function<void(AppModel&)>& work) {
    bool done = false;
    loop.application->process->mainQueue().async([&] {
      work(loop.model());
      done = true;
    });
    EXPECT_TRUE(loop.runUntil([&] { return done; }, 60));
    run(0.1);
  }
  /// Selects a preset and waits until it drives the fans.
  void drive(const FanPreset& preset) {
    onMain([&](AppModel& model) {
      if (preset.kind == PresetKind::custom) model.savePreset(preset);
      model.activate(preset, false);
    });
    EXPECT_TRUE(loop.runUntil([&] { return loop.allManual() && !model().isBusy(); }, 30)) << errorText();
  }
  std::string errorText() { return model().lastError().value_or(""); }

  ClosedLoop loop{"idle", 7};
};

}  // namespace halcyra::test
