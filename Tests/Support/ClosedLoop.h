#pragma once

#include <cstdint>
#include <functional>
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

/// A preset of the user's own, always with the same identity: both fans at this speed.
FanPreset steadyPreset(std::int64_t rpm);

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
    /// As the bus vouches for it.
    std::int32_t processID = 0;
    std::unique_ptr<VirtualMacIOKit> iokit;
    /// What `Seams::applicationIOKit` has put before it.
    std::unique_ptr<IOKit> seam;
    std::unique_ptr<TestPlatform> doubles;
    std::shared_ptr<AppModel> model;
  };

  /// One run of the helper.
  struct Helper {
    std::shared_ptr<VirtualProcess> process;
    std::unique_ptr<VirtualMacIOKit> iokit;
    std::unique_ptr<IOKit> iokitSeam;
    std::unique_ptr<FanControlHelperListener> listener;
    std::shared_ptr<HelperDaemon> daemon;
    std::optional<int> exitStatus;
  };

  /// What a test may put between a program and the system that it runs on, to watch or to falsify; set before the
  /// program starts. What is returned is what the program gets, and lives as long as the program.
  struct Seams {
    std::function<std::unique_ptr<IOKit>(IOKit& inner, std::int32_t processID)> applicationIOKit;
    /// The clock is the helper's.
    std::function<std::unique_ptr<IOKit>(IOKit& inner, Clock& clock)> helperIOKit;
    std::function<std::unique_ptr<FanControlHelperListener>(std::unique_ptr<FanControlHelperListener> inner,
                                                            std::shared_ptr<VirtualProcess> process)>
        helperListener;
  };

  ClosedLoop(const std::string& workload, std::uint64_t seed);
  ~ClosedLoop();
  ClosedLoop(const ClosedLoop&) = delete;
  ClosedLoop& operator=(const ClosedLoop&) = delete;

  /// Starts the application. The supervised test counts as passed and the helper as installed.
  void startApplication();
  /// As by SIGKILL.
  void killApplication();
  /// Every run of it that has not ended.
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

  /// Called with the platform of each application before its model is made, to lay down what it will find.
  std::function<void(TestPlatform&)> prepareApplication;
  /// Those that the next application is started with.
  AppModelOptions modelOptions;

  VirtualScheduler scheduler;
  VirtualMac machine;
  std::unique_ptr<VirtualMacIOKit> observer;
  InProcessMachServices bus;
  std::unique_ptr<Application> application;
  std::unique_ptr<Helper> helper;
  std::vector<Write> writes;
  CapturingLogSink helperLog;
  Seams seams;
  /// Earlier runs that the bus has lost and that are handing back before they end.
  std::vector<std::unique_ptr<Helper>> lostHelpers;

 private:
  void startHelper();
  void endHelper(const Helper& ended);

  std::string folder_;
  std::int32_t applicationsMade_ = 0;
  /// Killed processes are kept: pieces of them may still be referred to.
  std::vector<std::unique_ptr<Application>> endedApplications_;
  std::vector<std::unique_ptr<Helper>> endedHelpers_;
};

}  // namespace halcyra::test
