#include "Support/ScriptRunner.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "fmt/format.h"

#include "Helpers/FanControlOwnership.h"
#include "Helpers/FanCurveManager.h"
#include "Helpers/PresetSelectionStore.h"
#include "Helpers/SensorReader.h"
#include "Support/ScriptWords.h"

namespace halcyra::test {

namespace {

constexpr double stepSeconds = 0.1;
/// As long as the system waits for those who want to delay its sleep.
constexpr double sleepDelay = 5;
/// After which an application that does not end is killed.
constexpr double quitPatience = 30;
constexpr double recoverySeconds = 60;

/// What undoes a fault: its kind, and the key where it has one.
std::string clearingOf(const std::string& command) {
  const auto words = wordsIn(command);
  const bool hasKey = words.size() > 1 && words[0] != "slow" && words[0] != "latch-delay";
  return hasKey ? fmt::format("clear {} {}", words[0], words[1]) : "clear " + words[0];
}

}  // namespace

std::vector<Violation> ScriptRunner::run(const FaultScript& script, const Defect& defect) {
  ScriptRunner runner(script.workload, script.seed, defect);
  return runner.play(script);
}

ScriptRunner::ScriptRunner(const std::string& workload, std::uint64_t seed, const Defect& defect)
    : loop_(workload, seed) {
  if (defect) defect(loop_);
  observer_.attach(loop_);
  loop_.prepareApplication = [this](TestPlatform& platform) { prepare(platform); };
  loop_.bus.setRegistration([this](const std::string&) {
    return !loop_.application ||
           loop_.application->doubles->serviceManagement.daemonStatus({}) == ServiceManagement::enabled;
  });
  circumstances_.wantedPreset = FanPreset::systemDefault().id.string();
}

std::vector<Violation> ScriptRunner::play(const FaultScript& script) {
  loop_.startApplication();
  auto next = script.events.begin();
  for (int count = 1; stepSeconds * count <= FaultScript::duration && observer_.violations().empty(); ++count) {
    for (; next != script.events.end() && next->time <= now_; ++next) {
      if (now_ < FaultScript::faultsEnd) perform(next->command);
    }
    step();
    advanceTo(stepSeconds * count);
  }
  // Its process is the loop's.
  endSecond();
  return observer_.violations();
}

void ScriptRunner::advanceTo(double time) {
  loop_.run(time - loop_.now());
  now_ = time;
  updateCircumstances();
  observer_.look(loop_, circumstances_);
}

void ScriptRunner::step() {
  while (!later_.empty() && later_.begin()->first <= now_) {
    const auto event = std::move(later_.begin()->second);
    later_.erase(later_.begin());
    event();
  }
  if (hasQuit_ && *hasQuit_) endApplication(loop_.application->processID);
  const auto all = applications();
  const bool isLetGo = std::all_of(all.begin(), all.end(), [](auto* each) { return each->doubles->power.isAsleep(); });
  if (isGoingToSleep_ && (isLetGo || now_ >= sleepsAt_)) {
    isGoingToSleep_ = false;
    circumstances_.isAsleep = true;
  }
  if (endsWhole_ && std::abs(now_ - FaultScript::messagesEnd) < stepSeconds / 2) loop_.bus.clearFaults();
  if (endsWhole_ && std::abs(now_ - FaultScript::faultsEnd) < stepSeconds / 2) makeWhole();
  holdProcesses();
}

void ScriptRunner::perform(const std::string& command) {
  const Words words = wordsIn(command);
  if (words.empty()) throw std::invalid_argument("an empty command");
  try {
    if (performMachine(words, command) || performSystem(words)) return;
    if (!performUser(words) && !performProcess(words)) throw std::invalid_argument("no command " + command);
  } catch (const std::out_of_range&) {
    throw std::invalid_argument("too few words: " + command);
  }
}

void ScriptRunner::prepare(TestPlatform& platform) {
  MemoryUserDefaults& defaults = platform.userDefaults;
  if (!settings_.presets) {
    FanCurveManager(defaults).saveCustomPresets(
        {FanPreset::batterySaver(), FanPreset::cpuCoreDefault(), presetNamed("steady"), presetNamed("mine")});
  } else {
    defaults.setData(FanCurveManager::storageKey, *settings_.presets);
  }
  if (settings_.selection) defaults.setString(PresetSelectionStore::storageKey, *settings_.selection);
  if (settings_.ownership) defaults.setString(FanControlOwnershipStore::storageKey, *settings_.ownership);
  defaults.setNumber("pollingInterval", interval_);
  if (competitors_ > 0) platform.system.setProcess(competitorProcess, competitorPath);
}

void ScriptRunner::asUser(std::function<void(AppModel&)> command) {
  if (!isAwake() || !loop_.application || hasQuit_) return;
  ClosedLoop::Application& application = *loop_.application;
  application.process->mainQueue().async([this, model = application.model, command = std::move(command)] {
    command(*model);
    circumstances_.wantedPreset = model->activePreset().id.string();
  });
}

void ScriptRunner::applyFault(const std::string& command, double seconds) {
  loop_.fault(command);
  later(seconds, [this, clearing = clearingOf(command)] { loop_.fault(clearing); });
}

void ScriptRunner::atEveryDie(const std::function<void(const std::string& key)>& work) {
  for (const SMCKey key : SensorReader::m3CPUCoreKeys) work(stringFromKey(key));
  for (const SMCKey key : SensorReader::m3GPUClusterKeys) work(stringFromKey(key));
  work(stringFromKey(SensorReader::cpuHotspotKey));
  work(stringFromKey(SensorReader::gpuHotspotKey));
}

void ScriptRunner::blindDies(const std::string& fault, const std::string& argument, double seconds) {
  atEveryDie([&](const std::string& key) { applyFault(fault + " " + key + " " + argument, seconds); });
}

void ScriptRunner::holdApplication(double seconds, bool hangs) {
  if (!isAwake() || !loop_.application) return;
  if (!hangs) {
    stoppedUntil_ = std::max(stoppedUntil_, now_ + seconds);
    return;
  }
  VirtualProcess& process = *loop_.application->process;
  process.mainQueue().async([&clock = process.clock(), seconds] { clock.sleep(Seconds{seconds}); });
  // One hang waits for the end of another, and a process that is stopped cannot even hang.
  hungUntil_ = std::max({hungUntil_, stoppedUntil_, now_}) + seconds;
}

void ScriptRunner::startApplication() {
  if (loop_.application) return;
  // The driver is opened once, sensors and fans are discovered once: an application that does not find them then
  // stays without them until it is started again, which is not what is to be judged here.
  const auto faults = loop_.machine.faults().active();
  const bool isWhole = std::none_of(faults.begin(), faults.end(), [](const std::string& fault) {
    return fault.starts_with("vanish") || fault.starts_with("driver-gone");
  });
  if (!isAwake() || !isWhole) {
    later(1, [this] { startApplication(); });
    return;
  }
  loop_.startApplication();
}

void ScriptRunner::endApplication(std::int32_t processID) {
  if (!loop_.application || loop_.application->processID != processID) return;
  const MemoryUserDefaults& defaults = loop_.application->doubles->userDefaults;
  settings_ = {defaults.data(FanCurveManager::storageKey), defaults.string(PresetSelectionStore::storageKey),
               defaults.string(FanControlOwnershipStore::storageKey)};
  loop_.killApplication();
  hasQuit_.reset();
  stoppedUntil_ = 0;
  hungUntil_ = 0;
}

void ScriptRunner::quitApplication(double seconds) {
  if (!isAwake() || !loop_.application || hasQuit_) return;
  hasQuit_ = std::make_shared<bool>(false);
  loop_.application->process->mainQueue().async(
      [model = loop_.application->model, done = hasQuit_] { model->prepareForTermination([done] { *done = true; }); });
  later(quitPatience, [this, process = loop_.application->processID] { endApplication(process); });
  later(quitPatience + seconds, [this] { startApplication(); });
}

void ScriptRunner::startSecond(double seconds, const std::string& preset) {
  if (!isAwake() || second_) return;
  const Settings own = std::exchange(settings_, {std::nullopt, presetNamed(preset).id.string(), std::nullopt});
  second_ = loop_.makeApplication("second application");
  settings_ = own;
  later(seconds, [this] { endSecond(); });
}

void ScriptRunner::endSecond() {
  if (second_) loop_.endApplication(second_);
  second_.reset();
}

void ScriptRunner::sleep(double seconds) {
  if (!isAwake() || !loop_.application) return;
  isGoingToSleep_ = true;
  sleepsAt_ = now_ + sleepDelay;
  for (auto* each : applications()) each->doubles->power.sleep();
  later(seconds, [this] { wake(); });
}

void ScriptRunner::wake() {
  if (isAwake()) return;
  isGoingToSleep_ = false;
  circumstances_.isAsleep = false;
  for (auto* each : applications()) each->doubles->power.wake();
}

void ScriptRunner::makeWhole() {
  wake();
  loop_.fault("clear");
  stoppedUntil_ = 0;
  helperStoppedUntil_ = 0;
  // What is still to end ends now; what that begins (a start, after a wait) may add to it.
  while (!later_.empty()) {
    const auto event = std::move(later_.begin()->second);
    later_.erase(later_.begin());
    event();
  }
  if (hasQuit_) endApplication(loop_.application->processID);
  settings_.ownership.reset();
  startApplication();
  for (auto* each : applications()) each->doubles->serviceManagement.setDaemonStatus(ServiceManagement::enabled);
  asUser([](AppModel& model) { model.setFanControlOwnership(FanControlOwnership::aerovane); });
}

void ScriptRunner::later(double seconds, std::function<void()> event) {
  later_.emplace(now_ + seconds, std::move(event));
}

void ScriptRunner::holdProcesses() {
  const auto hold = [](VirtualProcess& process, bool held) { held ? process.suspend() : process.resume(); };
  for (auto* each : applications()) {
    const bool isStopped = each == loop_.application.get() && now_ < stoppedUntil_;
    hold(*each->process, circumstances_.isAsleep || isStopped);
  }
  circumstances_.helperIsHeld = now_ < helperStoppedUntil_;
  const bool holdsHelper = circumstances_.isAsleep || circumstances_.helperIsHeld;
  if (loop_.helper) hold(*loop_.helper->process, holdsHelper);
  for (const auto& each : loop_.lostHelpers) hold(*each->process, holdsHelper);
}

void ScriptRunner::updateCircumstances() {
  circumstances_.applications.clear();
  for (auto* each : applications()) {
    const bool isHeld = each == loop_.application.get() && now_ <= std::max(stoppedUntil_, hungUntil_) + stepSeconds;
    const double interval = each->model ? each->model->pollingInterval() : interval_;
    circumstances_.applications[each->processID] = {isHeld, interval};
  }
  circumstances_.selectedPreset = circumstances_.wantedPreset;
  circumstances_.mustHaveRecovered = false;
  if (loop_.application && loop_.application->model) {
    const FanPreset& active = loop_.model().activePreset();
    circumstances_.selectedPreset = active.id.string();
    circumstances_.appleDefaultIsSelected = active.kind == PresetKind::system;
    circumstances_.mustHaveRecovered =
        endsWhole_ && now_ >= std::max(FaultScript::faultsEnd, hungUntil_) + recoverySeconds;
  }
  noteObstacles();
}

void ScriptRunner::noteObstacles() {
  circumstances_.slowCall = 0;
  circumstances_.modeIsObstructed = {};
  circumstances_.modeLies = {};
  circumstances_.controlIsObstructed = false;
  for (const std::string& fault : loop_.machine.faults().active()) {
    const Words words = wordsIn(fault);
    const bool atFan = words.size() > 1 && words[1].starts_with("F");
    const bool everywhere = words[0] == "refuse-writes" || words[0] == "driver-gone";
    if (words[0] == "slow") circumstances_.slowCall = std::stod(words[1]) / 1000;
    if (everywhere) circumstances_.modeIsObstructed = {true, true};
    if (atFan && words[1].ends_with("Md")) {
      const auto fan = static_cast<std::size_t>(words[1][1] - '0');
      circumstances_.modeIsObstructed.at(fan) = true;
      circumstances_.modeLies.at(fan) =
          circumstances_.modeLies.at(fan) || words[0] == "value" || words[0] == "freeze" || words[0] == "garbage";
    }
    const bool slows = words[0] == "slow" || words[0] == "latch-delay";
    circumstances_.controlIsObstructed = circumstances_.controlIsObstructed || everywhere || atFan || slows;
  }
}

std::vector<ClosedLoop::Application*> ScriptRunner::applications() {
  std::vector<ClosedLoop::Application*> all;
  if (loop_.application) all.push_back(loop_.application.get());
  if (second_) all.push_back(second_.get());
  return all;
}

}  // namespace halcyra::test
