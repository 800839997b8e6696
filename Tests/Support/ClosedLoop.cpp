#include "Support/ClosedLoop.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "Helpers/SensorReader.h"
#include "XPC/FanControlXPC.h"

namespace halcyra::test {

namespace {

constexpr std::uint32_t userID = 501;
constexpr std::int32_t firstProcessID = 1001;

}  // namespace

ClosedLoop::ClosedLoop(const std::string& workload, std::uint64_t seed)
    : machine({.seed = seed}, makeWorkload(workload, seed)),
      observer(std::make_unique<VirtualMacIOKit>(machine, scheduler.clock(), false)),
      bus(scheduler) {
  std::string pattern = (std::filesystem::temp_directory_path() / "closed-loop-XXXXXX").string();
  folder_ = mkdtemp(pattern.data());
  machine.setWriteObserver([this](const std::string& key, double value) { writes.push_back({now(), key, value}); });
  bus.setActivation(std::string(FanControlXPC::machServiceName), [this] { startHelper(); });
}

ClosedLoop::~ClosedLoop() {
  if (application) killApplication();
  if (helper) killHelper();
  endedApplications_.clear();
  endedHelpers_.clear();
  std::filesystem::remove_all(folder_);
}

std::unique_ptr<ClosedLoop::Application> ClosedLoop::makeApplication(const std::string& name) {
  auto made = std::make_unique<Application>();
  made->process = scheduler.makeProcess(name);
  made->iokit = std::make_unique<VirtualMacIOKit>(machine, made->process->clock(), false);
  MachServices& services = bus.client(made->process, {userID, firstProcessID + applicationsMade_++});
  made->doubles = std::make_unique<TestPlatform>(made->process, *made->iokit, services);
  made->doubles->serviceManagement.setDaemonStatus(ServiceManagement::enabled);
  made->doubles->userDefaults.setInteger("supervisedFanTestProtocolVersion", AppModel::supervisedTestProtocolVersion);
  made->process->mainQueue().async([each = made.get()] { each->model = AppModel::make(each->doubles->platform); });
  scheduler.runPending();
  return made;
}

void ClosedLoop::startApplication() {
  application = makeApplication("application");
}

void ClosedLoop::endApplication(std::unique_ptr<Application>& ended) {
  ended->process->kill();
  endedApplications_.push_back(std::move(ended));
}

void ClosedLoop::killApplication() {
  endApplication(application);
}

void ClosedLoop::startHelper() {
  helper = std::make_unique<Helper>();
  Helper& started = *helper;
  started.process = scheduler.makeProcess("helper");
  started.iokit = std::make_unique<VirtualMacIOKit>(machine, started.process->clock(), true);
  started.listener =
      bus.listen(started.process, std::string(FanControlXPC::machServiceName), started.process->mainQueue());
  started.daemon = HelperDaemon::make({started.process->clock(), *started.process, helperLog, *started.iokit},
                                      {folder_ + "/fan-control.lock", {}, {userID}}, [this, &started](int status) {
                                        started.exitStatus = status;
                                        scheduler.at(scheduler.elapsed(), [this, &started] {
                                          if (helper.get() == &started) endHelper();
                                        });
                                      });
  started.daemon->serve(*started.listener);
  started.listener->resume();
  started.process->mainQueue().async([daemon = started.daemon] { daemon->start(); });
}

void ClosedLoop::endHelper() {
  helper->process->kill();
  // The lock goes with its process.
  helper->daemon.reset();
  endedHelpers_.push_back(std::move(helper));
}

void ClosedLoop::killHelper() {
  endHelper();
}

void ClosedLoop::activate(const FanPreset& preset) {
  application->process->mainQueue().async([model = application->model, preset] { model->activate(preset, false); });
}

std::vector<int> ClosedLoop::modes() {
  std::vector<int> result;
  for (const VirtualFanState& fan : truth().fans) result.push_back(fan.mode);
  return result;
}

bool ClosedLoop::allManual() {
  const auto all = modes();
  return std::all_of(all.begin(), all.end(), [](int mode) { return mode == 1; });
}

bool ClosedLoop::allAutomatic() {
  const auto all = modes();
  return std::all_of(all.begin(), all.end(), [](int mode) { return mode == 0; });
}

double ClosedLoop::hottestDie() {
  double hottest = 0;
  for (const auto& [key, temperature] : truth().temperatures) {
    const SMCKey code = SMCKey::fromString(key);
    const auto isAmong = [&](const auto& keys) { return std::find(keys.begin(), keys.end(), code) != keys.end(); };
    if (isAmong(SensorReader::m3CPUCoreKeys) || isAmong(SensorReader::m3GPUClusterKeys) ||
        code == SensorReader::cpuHotspotKey || code == SensorReader::gpuHotspotKey) {
      hottest = std::max(hottest, temperature);
    }
  }
  return hottest;
}

}  // namespace halcyra::test
