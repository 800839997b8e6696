#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "App/AppModel.h"
#include "Daemon/HelperDaemon.h"
#include "Support/InProcessMachServices.h"
#include "Support/TestPlatform.h"
#include "Support/VirtualMacIOKit.h"
#include "Support/VirtualScheduler.h"
#include "VirtualMac/VirtualMac.h"

namespace halcyra::test {

/// The whole program in one process and in virtual time: the real model, client, daemon, fan controllers and simulated
/// machine, each program in a virtual process of its own that can be killed, stopped and started again.
class ClosedLoop {
 public:
  struct Write {
    /// Seconds since the start.
    double time = 0;
    std::string key;
    double value = 0;
  };

  /// One run of the application: its process, platform and model.
  struct Application {
    std::shared_ptr<VirtualProcess> process;
    std::unique_ptr<VirtualMacIOKit> iokit;
    std::unique_ptr<TestPlatform> doubles;
    std::shared_ptr<AppModel> model;
  };

  /// One run of the helper.
  struct Helper {
    std::shared_ptr<VirtualProcess> process;
    std::unique_ptr<VirtualMacIOKit> iokit;
    std::unique_ptr<MachServiceListener> listener;
    std::shared_ptr<HelperDaemon> daemon;
    std::optional<int> exitStatus;
  };

  ClosedLoop(const std::string& workload, std::uint64_t seed);
  ~ClosedLoop();
  ClosedLoop(const ClosedLoop&) = delete;
  ClosedLoop& operator=(const ClosedLoop&) = delete;

  /// Starts the application. The supervised test counts as passed and the helper as installed.
  void startApplication();
  /// As by SIGKILL.
  void killApplication();
  void killHelper();
  /// A second application on the same machine.
  std::unique_ptr<Application> makeApplication(const std::string& name);
  void endApplication(std::unique_ptr<Application>& application);

  /// Selects a preset as the user does, on the application's main queue.
  void activate(const FanPreset& preset);
  void run(double seconds) { scheduler.runFor(Seconds{seconds}); }
  bool runUntil(const std::function<bool()>& done, double limit) { return scheduler.runUntil(done, Seconds{limit}); }
  void fault(const std::string& command) { observer->applyFault(command); }

  double now() const { return scheduler.elapsed().count(); }
  AppModel& model() { return *application->model; }
  /// The machine's own truth.
  VirtualMacState truth() { return observer->state(); }
  std::vector<int> modes();
  bool allManual();
  bool allAutomatic();
  /// The hottest plausible die temperature that the machine has.
  double hottestDie();
  bool helperRuns() const { return helper != nullptr; }

  VirtualScheduler scheduler;
  VirtualMac machine;
  std::unique_ptr<VirtualMacIOKit> observer;
  InProcessMachServices bus;
  std::unique_ptr<Application> application;
  std::unique_ptr<Helper> helper;
  std::vector<Write> writes;
  CapturingLogSink helperLog;

 private:
  void startHelper();
  void endHelper();

  std::string folder_;
  std::int32_t applicationsMade_ = 0;
  /// Killed processes are kept: pieces of them may still be referred to.
  std::vector<std::unique_ptr<Application>> endedApplications_;
  std::vector<std::unique_ptr<Helper>> endedHelpers_;
};

}  // namespace halcyra::test
