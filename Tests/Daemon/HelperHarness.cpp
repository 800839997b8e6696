#include "Daemon/HelperHarness.h"

#include <cstdlib>
#include <filesystem>

#include "gtest/gtest.h"

namespace halcyra::test {

std::optional<HelperXPCError::Code> Answer::code() const {
  if (count != 1 || !error || error->domain != HelperXPCError::domain) {
    return std::nullopt;
  }
  return HelperXPCError::codeFromRaw(error->code);
}

std::string Answer::description() const {
  if (!error) {
    return "";
  }
  const auto found = error->userInfo.find(localizedDescriptionKey);
  return found == error->userInfo.end() ? "" : found->second;
}

HelperHarness::HelperHarness() : machine({}, makeWorkload("idle")), observer(machine, scheduler.clock(), false) {
  std::string pattern = (std::filesystem::temp_directory_path() / "helper-daemon-XXXXXX").string();
  folder_ = mkdtemp(pattern.data());
  lockFile = folder_ + "/fan-control.lock";
  machine.setWriteObserver([this](const std::string& key, double value) { writes.push_back({key, value, now()}); });
}

HelperHarness::~HelperHarness() {
  if (process) {
    process->kill();
  }
  daemon.reset();
  std::filesystem::remove_all(folder_);
}

void HelperHarness::start() {
  process = scheduler.makeProcess("helper");
  iokit = std::make_unique<VirtualMacIOKit>(machine, process->clock(), true);
  // The harder of the two: what still holds a fan must not lean on a connection that comes back by itself.
  iokit->connectionsDie = true;
  finished.reset();
  daemon = HelperDaemon::make({process->clock(), *process, log, *iokit}, {lockFile, {}, {registeredUser}},
                              [this](int status) {
                                finished = status;
                                finishedAt = now();
                              });
  onMain([](HelperDaemon& helper) { helper.start(); });
  scheduler.runPending();
}

void HelperHarness::kill() {
  process->kill();
  daemon.reset();
  endedProcesses_.push_back(std::move(process));
  endedDrivers_.push_back(std::move(iokit));
}

Pending HelperHarness::await(Pending answer, double limit) {
  EXPECT_TRUE(scheduler.runUntil([&] { return answer->count > 0; }, Seconds{limit})) << "no answer";
  return answer;
}

void HelperHarness::onMain(std::function<void(HelperDaemon&)> work) {
  process->mainQueue().async([helper = std::weak_ptr(daemon), work = std::move(work)] {
    if (const auto self = helper.lock()) {
      work(*self);
    }
  });
}

Pending HelperHarness::call(Call call) {
  auto answer = std::make_shared<Answer>();
  onMain([this, call = std::move(call), answer](HelperDaemon& helper) {
    call(helper, [this, answer](PropertyList value, std::optional<Error> error) {
      ++answer->count;
      answer->value = std::move(value);
      answer->error = std::move(error);
      answer->at = now();
    });
  });
  return answer;
}

Pending HelperHarness::status(const FanControlHelperCaller& caller) {
  return call([=](HelperDaemon& helper, auto reply) { helper.status(caller, reply); });
}

Pending HelperHarness::begin(const FanControlHelperCaller& caller, const std::string& sessionID) {
  return call([=](HelperDaemon& helper, auto reply) { helper.beginSession(caller, sessionID, reply); });
}

Pending HelperHarness::heartbeat(const FanControlHelperCaller& caller, const std::string& sessionID) {
  return call([=](HelperDaemon& helper, auto reply) {
    helper.heartbeat(caller, sessionID, [reply](std::optional<Error> error) { reply(nullptr, std::move(error)); });
  });
}

Pending HelperHarness::setMode(const FanControlHelperCaller& caller, int fan, bool isManual,
                               const std::string& sessionID) {
  return call([=](HelperDaemon& helper, auto reply) { helper.setFanMode(caller, fan, isManual, sessionID, reply); });
}

Pending HelperHarness::setTarget(const FanControlHelperCaller& caller, int fan, std::int64_t rpm,
                                 const std::string& sessionID) {
  return call([=](HelperDaemon& helper, auto reply) { helper.setFanTargetRPM(caller, fan, rpm, sessionID, reply); });
}

Pending HelperHarness::resetAll(const FanControlHelperCaller& caller, const std::string& sessionID) {
  return call([=](HelperDaemon& helper, auto reply) { helper.resetAll(caller, sessionID, reply); });
}

Pending HelperHarness::end(const FanControlHelperCaller& caller, const std::string& sessionID) {
  return call([=](HelperDaemon& helper, auto reply) {
    helper.endSession(caller, sessionID, [reply](std::optional<Error> error) { reply(nullptr, std::move(error)); });
  });
}

Pending HelperHarness::prepareForUninstall(const FanControlHelperCaller& caller) {
  return call([=](HelperDaemon& helper, auto reply) {
    helper.prepareForUninstall(caller, [reply](std::optional<Error> error) { reply(nullptr, std::move(error)); });
  });
}

void HelperHarness::takeFans() {
  const auto begun = await(begin(client, id));
  ASSERT_TRUE(begun->succeeded()) << begun->description();
  for (const int fan : {0, 1}) {
    const auto mode = await(setMode(client, fan, true, id));
    ASSERT_TRUE(mode->succeeded()) << mode->description();
    const auto target = await(setTarget(client, fan, 3000, id));
    ASSERT_TRUE(target->succeeded()) << target->description();
  }
  ASSERT_EQ(modes(), (std::vector<int>{1, 1}));
}

void HelperHarness::startHeart() {
  scheduler.at(Seconds{now() + 4.0}, [this] {
    if (!stopHeart && daemon) {
      heartbeat(client, id);
      startHeart();
    }
  });
}

std::vector<int> HelperHarness::modes() {
  std::vector<int> result;
  for (const VirtualFanState& fan : observer.state().fans) {
    result.push_back(fan.mode);
  }
  return result;
}

bool HelperHarness::lockIsFree() {
  FanControlProcessLock probe(lockFile, {}, scheduler.clock());
  try {
    probe.acquire("test");
    return true;
  } catch (const FanControlProcessLockError&) {
    return false;
  }
}

std::vector<ObservedWrite> HelperHarness::writesSince(double time, const std::string& suffix) const {
  std::vector<ObservedWrite> result;
  for (const ObservedWrite& write : writes) {
    if (write.at >= time && write.key.ends_with(suffix)) {
      result.push_back(write);
    }
  }
  return result;
}

void HelperHarness::expectNothingButHandBacksSince(double asked) const {
  for (const ObservedWrite& write : writesSince(asked)) {
    EXPECT_TRUE(write.key == "F0Md" || write.key == "F1Md") << write.key << " at " << write.at;
    EXPECT_EQ(write.value, 0) << write.key << " at " << write.at;
  }
}

}  // namespace halcyra::test
