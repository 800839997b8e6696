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

FanPreset steadyPreset(std::int64_t rpm) {
  FanPreset preset = FanPreset::cpuCoreDefault();
  preset.id = UUID::parse("6C1B2F44-7A55-4E0D-9B43-0F2F3B7F1A01").value();
  preset.name = "Steady";
  preset.strategy = ControlStrategy::constantRPM;
  preset.constantRPM = rpm;
  return preset;
}

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
  killHelper();
  endedApplications_.clear();
  endedHelpers_.clear();
  std::filesystem::remove_all(folder_);
}

std::unique_ptr<ClosedLoop::Application> ClosedLoop::makeApplication(const std::string& name) {
  auto made = std::make_unique<Application>();
  made->process = scheduler.makeProcess(name);
  made->iokit = std::make_unique<VirtualMacIOKit>(machine, made->process->clock(), false);
  made->processID = firstProcessID + applicationsMade_++;
  if (seams.applicationIOKit) made->seam = seams.applicationIOKit(*made->iokit, made->processID);
  IOKit& driver = made->seam ? *made->seam : static_cast<IOKit&>(*made->iokit);
  FanControlHelperConnections& services = bus.client(made->process, {userID, made->processID});
  made->doubles = std::make_unique<TestPlatform>(made->process, driver, services);
  made->doubles->serviceManagement.setDaemonStatus(ServiceManagement::enabled);
  made->doubles->userDefaults.setInteger(SupervisedTest::versionKey, SupervisedTest::protocolVersion);
  made->doubles->userDefaults.setString(SupervisedTest::modelKey, "Mac15,11");
  if (prepareApplication) prepareApplication(*made->doubles);
  made->process->mainQueue().async(
      [each = made.get(), options = modelOptions] { each->model = AppModel::make(each->doubles->platform, options); });
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
  if (helper) lostHelpers.push_back(std::move(helper));
  helper = std::make_unique<Helper>();
  Helper& started = *helper;
  started.process = scheduler.makeProcess("helper");
  started.iokit = std::make_unique<VirtualMacIOKit>(machine, started.process->clock(), true);
  if (seams.helperIOKit) started.iokitSeam = seams.helperIOKit(*started.iokit, started.process->clock());
  started.listener =
      bus.listen(started.process, std::string(FanControlXPC::machServiceName), started.process->mainQueue());
  if (seams.helperListener) started.listener = seams.helperListener(std::move(started.listener), started.process);
  IOKit& driver = started.iokitSeam ? *started.iokitSeam : static_cast<IOKit&>(*started.iokit);
  started.daemon = HelperDaemon::make({started.process->clock(), *started.process, helperLog, driver},
                                      {folder_ + "/fan-control.lock", {}, {userID}}, [this, &started](int status) {
                                        started.exitStatus = status;
                                        scheduler.at(scheduler.elapsed(), [this, &started] { endHelper(started); });
                                      });
  started.daemon->serve(*started.listener);
  started.listener->resume();
  started.process->mainQueue().async([daemon = started.daemon] { daemon->start(); });
}

void ClosedLoop::endHelper(const Helper& ended) {
  std::unique_ptr<Helper> taken;
  if (helper.get() == &ended) {
    taken = std::move(helper);
  } else {
    const auto found =
        std::find_if(lostHelpers.begin(), lostHelpers.end(), [&](const auto& each) { return each.get() == &ended; });
    if (found == lostHelpers.end()) return;
    taken = std::move(*found);
    lostHelpers.erase(found);
  }
  taken->process->kill();
  // The lock goes with its process.
  taken->daemon.reset();
  endedHelpers_.push_back(std::move(taken));
}

void ClosedLoop::killHelper() {
  while (!lostHelpers.empty()) endHelper(*lostHelpers.back());
  if (helper) endHelper(*helper);
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
