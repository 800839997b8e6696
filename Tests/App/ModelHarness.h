#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "App/AppModel.h"
#include "App/FakeSMC.h"
#include "App/ScriptedHelper.h"
#include "Support/TestPlatform.h"
#include "Support/VirtualScheduler.h"

namespace halcyra {

/// The model's way in past its poller.
struct AppModelAccess {
  static void apply(AppModel& model, TelemetrySnapshot snapshot) {
    model.received(std::move(snapshot));
  }
};

}  // namespace halcyra

namespace halcyra::test {

/// What the application says while the competitor `name` is running.
std::string conflictText(const std::string& name, const std::string& preset);

/// An application in virtual time: the real model, client and poller over a scripted SMC and a scripted helper. From
/// the start the machine is the verified one with its fans at 1500 of 1200…5000 RPM and every die at 50 °C, the helper
/// is approved and the supervised test passed.
class ModelHarness {
 public:
  ModelHarness();
  /// Started, with `preset` driving the fans.
  explicit ModelHarness(const FanPreset& preset) : ModelHarness() { startDriving(preset); }
  ~ModelHarness();

  /// Creates the model and lets the first poll through.
  void start(AppModelOptions options = {});
  /// Starts, and has `preset` drive the fans; the transcript begins after that.
  void startDriving(const FanPreset& preset);
  /// Runs `work` on the main queue, and what follows from it at once (20 ms).
  void onMain(const std::function<void(AppModel&)>& work);
  void run(double seconds) { scheduler.runFor(Seconds{seconds}); }
  void activate(const FanPreset& preset) {
    onMain([&](AppModel& each) { each.activate(preset, false); });
  }
  AppModel& model() { return *model_; }
  void destroyModel();

  void setCompetitor(std::optional<std::string> executablePath);
  void sleepMachine();
  void wakeMachine();
  int sleepsAllowed() const { return doubles.power.allowed(); }
  bool logged(const std::string& message) const { return logCount(message) > 0; }
  /// Messages that contain `text`.
  std::size_t logCount(const std::string& text) const { return doubles.log.count(text); }

  std::vector<std::string> transcript() const { return helper.transcript(); }
  std::string errorText() { return model().lastError().value_or(""); }

  static constexpr const char* competitorPath = "/Library/PrivilegedHelperTools/com.tunabellysoftware.tgfanhelper";
  static constexpr const char* otherCompetitorPath = "/opt/x/com.crystalidea.macsfancontrol.smcwrite";

  VirtualScheduler scheduler;
  std::shared_ptr<VirtualProcess> process;
  FakeSMC smc;
  ScriptedHelper helper;
  TestPlatform doubles;

 private:
  std::shared_ptr<AppModel> model_;
};

class StartedModel : public ModelHarness {
 public:
  StartedModel() { start(); }
};

FanPreset curvePreset(double low = 30, double high = 50);
FanPreset constantPreset(std::int64_t rpm);
Error helperError(std::int64_t code, const std::string& description = "scripted failure");

using Lines = std::vector<std::string>;

}  // namespace halcyra::test
