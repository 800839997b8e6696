#include "App/ModelHarness.h"

#include <utility>

#include "gtest/gtest.h"

#include "XPC/HelperXPCError.h"

namespace halcyra::test {

namespace {

constexpr Seconds settling{0.02};
constexpr std::int32_t competitorProcess = 99;

}  // namespace

ModelHarness::ModelHarness()
    : process(scheduler.makeProcess("application")),
      smc(process->clock()),
      helper(*process),
      doubles(process, smc, helper) {
  doubles.serviceManagement.setDaemonStatus(ServiceManagement::enabled);
  doubles.userDefaults.setInteger("supervisedFanTestProtocolVersion", 1);
  doubles.userDefaults.setString("supervisedFanTestHardwareModel", "Mac15,11");
  helper.onFanChange = [this](int index, const ScriptedHelper::Fan& fan) {
    smc.setFanMode(index, fan.mode);
    smc.setFanTarget(index, static_cast<double>(fan.target));
  };
}

ModelHarness::~ModelHarness() {
  destroyModel();
}

void ModelHarness::start(AppModelOptions options) {
  process->mainQueue().async([this, options] { model_ = AppModel::make(doubles.platform, options); });
  scheduler.runFor(settling);
}

void ModelHarness::startDriving(const FanPreset& preset) {
  start();
  onMain([&](AppModel& each) {
    if (preset.kind == PresetKind::custom) each.savePreset(preset);
    each.activate(preset, false);
  });
  ASSERT_FALSE(model().isBusy());
  ASSERT_TRUE(model().hasHelperSession()) << errorText();
  helper.clearTranscript();
}

void ModelHarness::onMain(const std::function<void(AppModel&)>& work) {
  bool done = false;
  process->mainQueue().async([&] {
    work(*model_);
    done = true;
  });
  ASSERT_TRUE(scheduler.runUntil([&] { return done; }, Seconds{60}));
  scheduler.runFor(settling);
}

void ModelHarness::destroyModel() {
  bool done = false;
  process->mainQueue().async([this, &done] {
    model_.reset();
    done = true;
  });
  // A read that is under way is waited for.
  EXPECT_TRUE(scheduler.runUntil([&] { return done; }, Seconds{60}));
  scheduler.runFor(settling);
}

void ModelHarness::setCompetitor(std::optional<std::string> executablePath) {
  if (executablePath) {
    doubles.system.setProcess(competitorProcess, std::move(executablePath));
  } else {
    doubles.system.endProcess(competitorProcess);
  }
}

void ModelHarness::sleepMachine() {
  doubles.power.sleep();
  scheduler.runFor(settling);
}

void ModelHarness::wakeMachine() {
  doubles.power.wake();
  scheduler.runFor(settling);
}

FanPreset curvePreset(double low, double high) {
  FanPreset preset = FanPreset::cpuCoreDefault();
  preset.id = UUID::random();
  preset.name = "Curve";
  preset.lowTemperature = low;
  preset.highTemperature = high;
  return preset;
}

FanPreset constantPreset(std::int64_t rpm) {
  FanPreset preset = curvePreset();
  preset.name = "Constant";
  preset.strategy = ControlStrategy::constantRPM;
  preset.constantRPM = rpm;
  return preset;
}

Error helperError(std::int64_t code, const std::string& description) {
  return Error(HelperXPCError::domain, code, description);
}

std::string conflictText(const std::string& name, const std::string& preset) {
  return name + "'s privileged SMC helper is still running. Open " + name +
         " and use its uninstall/remove-helper option, or unload that service with administrator approval. Aerovane is "
         "keeping both fans on Apple Default and will automatically reapply " +
         preset + " when the helper is gone.";
}

}  // namespace halcyra::test
