#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Daemon/HelperDaemon.h"
#include "Support/CapturingLogSink.h"
#include "Support/VirtualMacIOKit.h"
#include "Support/VirtualScheduler.h"
#include "VirtualMac/VirtualMac.h"
#include "XPC/HelperXPCError.h"

namespace halcyra::test {

/// One accepted write, as the firmware saw it.
struct ObservedWrite {
  std::string key;
  double value = 0;
  /// Seconds since the start.
  double at = 0;
};

/// What became of a message.
struct Answer {
  int count = 0;
  PropertyList value;
  std::optional<Error> error;
  /// Seconds since the start.
  double at = 0;

  bool succeeded() const { return count == 1 && !error; }
  /// The helper's code, when there is exactly one answer and it is an error.
  std::optional<HelperXPCError::Code> code() const;
  /// Whether the error has a description of its own.
  std::string description() const;
};
using Pending = std::shared_ptr<Answer>;

/// The daemon in a process of its own on a simulated machine, all in virtual time.
class HelperHarness {
 public:
  static constexpr std::uint32_t registeredUser = 501;

  HelperHarness();
  ~HelperHarness();

  /// Starts the daemon (again), as the bus does it.
  void start();
  /// The daemon's process ends as by SIGKILL.
  void kill();
  void run(double seconds) { scheduler.runFor(Seconds{seconds}); }
  /// Runs until the answer is there, and gives it back.
  Pending await(Pending answer, double limit = 60);
  void fault(const std::string& command) { observer.applyFault(command); }

  Pending status(const FanControlHelperCaller& caller);
  Pending begin(const FanControlHelperCaller& caller, const std::string& id);
  Pending heartbeat(const FanControlHelperCaller& caller, const std::string& id);
  Pending setMode(const FanControlHelperCaller& caller, int fan, bool isManual, const std::string& id);
  Pending setTarget(const FanControlHelperCaller& caller, int fan, std::int64_t rpm, const std::string& id);
  Pending resetAll(const FanControlHelperCaller& caller, const std::string& id);
  Pending end(const FanControlHelperCaller& caller, const std::string& id);
  Pending prepareForUninstall(const FanControlHelperCaller& caller);
  /// Runs `work` on the daemon's main queue.
  void onMain(std::function<void(HelperDaemon&)> work);

  /// A session of `client` with both fans in manual mode at 3000 RPM.
  void takeFans();
  /// Heartbeats of `client`, every 4 s, until the harness is gone or `stopHeart` is set.
  void startHeart();

  double now() { return scheduler.elapsed().count(); }
  std::vector<int> modes();
  bool lockIsFree();
  std::vector<ObservedWrite> writesSince(double time, const std::string& suffix = "") const;
  /// For the time after a hand-back was asked for.
  void expectNothingButHandBacksSince(double asked) const;

  const FanControlHelperCaller client{":1.1", registeredUser, 100};
  const FanControlHelperCaller other{":1.2", registeredUser, 101};
  const FanControlHelperCaller stranger{":1.3", 502, 102};
  const std::string id = "6F9619FF-8B86-4D11-B42D-00CF4FC964FF";
  const std::string secondID = "0A1B2C3D-4E5F-4A6B-8C7D-9E0F1A2B3C4D";

  VirtualScheduler scheduler;
  VirtualMac machine;
  /// The machine as seen from outside the daemon's process.
  VirtualMacIOKit observer;
  CapturingLogSink log;
  std::string lockFile;
  std::shared_ptr<VirtualProcess> process;
  std::unique_ptr<VirtualMacIOKit> iokit;
  std::shared_ptr<HelperDaemon> daemon;
  std::optional<int> finished;
  double finishedAt = 0;
  bool stopHeart = false;
  std::vector<ObservedWrite> writes;

 private:
  using Call = std::function<void(HelperDaemon&, FanControlHelperService::DictionaryReply)>;
  Pending call(Call call);

  std::string folder_;
  std::vector<std::shared_ptr<VirtualProcess>> endedProcesses_;
  std::vector<std::unique_ptr<VirtualMacIOKit>> endedDrivers_;
};

}  // namespace halcyra::test
