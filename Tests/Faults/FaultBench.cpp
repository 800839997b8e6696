#include "Faults/FaultBench.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "gtest/gtest.h"

#include "Support/HelperMessages.h"

namespace halcyra::test {

namespace {

constexpr double lookPeriod = 0.1;

bool isMode(const std::string& key) {
  return key.substr(2) == "Md";
}

bool isHandBack(const std::string& key, double value) {
  return isMode(key) && value == 0;
}

}  // namespace

std::string ActivationMoment::name() const {
  return std::string(selector) + " + " + std::to_string(delay);
}

const std::vector<ActivationMoment> activationMoments = {
    {FanControlHelperSelector::beginSession, 0},      {FanControlHelperSelector::beginSession, 0.0003},
    {FanControlHelperSelector::setFanMode, 0},        {FanControlHelperSelector::setFanMode, 0.0003},
    {FanControlHelperSelector::setFanMode, 0.3},      {FanControlHelperSelector::setFanTargetRPM, 0},
    {FanControlHelperSelector::setFanTargetRPM, 0.3},
};

FaultBench::FaultBench(const std::string& workload, std::uint64_t seed) : loop(workload, seed) {
  loop.machine.setWriteObserver([this](const std::string& key, double value) {
    judge(key, value);
    loop.writes.push_back({loop.now(), key, value});
  });
}

void FaultBench::judge(const std::string& key, double value) {
  const char fan = key.at(1);
  if (isHandBack(key, value)) {
    handedBackAt_[fan] = sessionsBegun();
    return;
  }
  if (helperHasSession()) lastLive_ = loop.now();
  EXPECT_TRUE(helperHasSession()) << key << " = " << value << " at " << loop.now() << " s without a session";
  const auto handedBack = handedBackAt_.find(fan);
  EXPECT_TRUE(handedBack == handedBackAt_.end() || sessionsBegun() > handedBack->second)
      << key << " = " << value << " at " << loop.now() << " s after the fan was handed back";
  if (!isMode(key)) {
    const VirtualFanState state = loop.machine.state().fans.at(static_cast<std::size_t>(fan - '0'));
    EXPECT_TRUE(value >= state.minimum && value <= state.maximum) << key << " = " << value;
  }
}

void FaultBench::look() {
  const double now = loop.now();
  if (helperHasSession()) {
    lastLive_ = now;
    return;
  }
  if (complained_ || now - lastLive_ <= allowance) return;
  for (const VirtualFanState& fan : loop.truth().fans) {
    if (fan.mode == 0) continue;
    complained_ = true;
    ADD_FAILURE() << "fan " << fan.index << " is manual at " << now << " s, without a session since " << lastLive_
                  << " s";
  }
}

void FaultBench::start() {
  loop.startApplication();
  run(6);
}

void FaultBench::drive(const FanPreset& preset) {
  if (preset.kind == PresetKind::custom) {
    command([&](AppModel& model) { model.savePreset(preset); });
  }
  loop.activate(preset);
  EXPECT_TRUE(until([&] { return isUnderControl(preset); }, 30)) << loop.model().lastError().value_or("no error");
}

void FaultBench::startDriving(const FanPreset& preset) {
  start();
  drive(preset);
}

void FaultBench::activateUpTo(const ActivationMoment& moment, const FanPreset& preset) {
  loop.activate(preset);
  EXPECT_TRUE(untilSent(moment.selector));
  loop.run(moment.delay);
}

void FaultBench::post(const std::function<void(AppModel&)>& work) {
  loop.application->process->mainQueue().async([model = loop.application->model, work] { work(*model); });
}

void FaultBench::command(const std::function<void(AppModel&)>& work) {
  post(work);
  loop.scheduler.runPending();
}

void FaultBench::run(double seconds) {
  until([] { return false; }, seconds);
}

bool FaultBench::until(const std::function<bool()>& done, double limit) {
  const double end = loop.now() + limit;
  while (!done()) {
    if (loop.now() >= end - lookPeriod / 2) return false;
    loop.run(lookPeriod);
    look();
  }
  return true;
}

bool FaultBench::untilSent(std::string_view selector, double limit) {
  const std::string name(selector);
  const std::size_t before = loop.bus.sentCount(name);
  const bool sent = loop.runUntil([&] { return loop.bus.sentCount(name) > before; }, limit);
  look();
  return sent;
}

bool FaultBench::untilWritten(double limit) {
  const std::size_t before = loop.writes.size();
  const bool written = loop.runUntil([&] { return loop.writes.size() > before; }, limit);
  look();
  return written;
}

std::size_t FaultBench::driveWritesSince(const Mark& mark) const {
  return static_cast<std::size_t>(std::count_if(loop.writes.begin() + static_cast<std::ptrdiff_t>(mark.writes),
                                                loop.writes.end(),
                                                [](const auto& write) { return !isHandBack(write.key, write.value); }));
}

std::vector<double> FaultBench::targetsSince(const Mark& mark, int fan) const {
  std::vector<double> targets;
  for (std::size_t i = mark.writes; i < loop.writes.size(); ++i) {
    const auto& write = loop.writes[i];
    if (!isMode(write.key) && write.key.at(1) == static_cast<char>('0' + fan)) targets.push_back(write.value);
  }
  return targets;
}

bool FaultBench::isUnderControl(const FanPreset& preset) {
  const AppModel& model = loop.model();
  if (model.activePreset().id != preset.id || !model.hasHelperSession() || model.isBusy() || !helperHasSession() ||
      !loop.allManual()) {
    return false;
  }
  for (const VirtualFanState& fan : loop.truth().fans) {
    const double wanted = preset.kind == PresetKind::fullBlast ? fan.maximum
                          : preset.constantRPM                 ? static_cast<double>(*preset.constantRPM)
                                                               : fan.target;
    if (std::abs(fan.target - wanted) > 0.5) return false;
  }
  return true;
}

void FaultBench::expectHandedBackWithin(double seconds) {
  const double begin = loop.now();
  EXPECT_TRUE(until([&] { return loop.allAutomatic(); }, seconds))
      << "not handed back from " << begin << " s to " << loop.now() << " s";
}

void FaultBench::expectStaysHandedBack(double seconds) {
  const Mark before = mark();
  EXPECT_FALSE(until([&] { return !loop.allAutomatic(); }, seconds)) << "driven again at " << loop.now() << " s";
  EXPECT_EQ(driveWritesSince(before), 0u);
}

void FaultBench::expectRestored(const FanPreset& preset, const Mark& since, std::size_t sessions, double seconds) {
  const double begin = loop.now();
  EXPECT_TRUE(until([&] { return isUnderControl(preset); }, seconds))
      << "not back from " << begin << " s on: " << loop.model().lastError().value_or("no error");
  EXPECT_EQ(sessionsBegun() - since.sessions, sessions);
  // Steady: not about to fall again.
  run(10);
  EXPECT_TRUE(isUnderControl(preset));
  EXPECT_EQ(sessionsBegun() - since.sessions, sessions);
  EXPECT_EQ(loop.model().lastError(), std::nullopt);
}

void FaultBench::expectUntouched(const FanPreset& preset, const Mark& since) {
  EXPECT_TRUE(isUnderControl(preset)) << loop.model().lastError().value_or("no error");
  EXPECT_EQ(sessionsBegun(), since.sessions);
  const auto begin = loop.writes.begin() + static_cast<std::ptrdiff_t>(since.writes);
  EXPECT_TRUE(std::none_of(begin, loop.writes.end(), [](const auto& write) {
    return isHandBack(write.key, write.value);
  })) << "handed back meanwhile";
}

}  // namespace halcyra::test
