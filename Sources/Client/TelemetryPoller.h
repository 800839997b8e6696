#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <variant>
#include <vector>

#include "Client/HelperInstallState.h"
#include "Helpers/SensorReader.h"
#include "Platform/Platform.h"
#include "SMC/FanController.h"
#include "SMC/FanInfo.h"
#include "SMC/IOKitSMCBridge.h"

namespace halcyra {

/// The result of one read.
struct TelemetrySnapshot {
  /// One entry per fan that the machine reports, but for those with impossible limits; otherwise complete.
  std::vector<FanInfo> fans;
  /// Fans left out because no range of speeds can be formed of their limits.
  std::vector<int> fansWithBadLimits;
  CPUCoreAverage average;
  /// Every temperature channel; empty when that read failed.
  std::vector<SensorReading> readings;
  HelperInstallState helperState = HelperInstallState::unknown;
};

using TelemetryResult = std::variant<TelemetrySnapshot, Error>;

/// The only place in the application that reads the SMC: one read-only bridge on one serial queue.
class TelemetryPoller {
 public:
  using Completion = std::function<void(TelemetryResult)>;

  explicit TelemetryPoller(Platform& platform);
  ~TelemetryPoller();

  /// Opens the SMC, on the queue, and waits for it; throws `SMCError`. When it fails, each read tries again.
  void open();
  /// Closes the SMC for good, on the queue, and waits for it; a read under way fails at its next call.
  void close();
  /// Reads everything, asynchronously. `completion` is called exactly once, on the poller's queue.
  void read(Completion completion);

 private:
  TelemetryResult performRead();
  TelemetrySnapshot readSnapshot();
  void lookForFans();
  void readFan(int index, TelemetrySnapshot& snapshot);

  Platform& platform_;
  Logger logger_;
  bool isClosed_ = false;
  IOKitSMCBridge smc_;
  std::unique_ptr<SensorReader> reader_;
  /// Null until the fans are known.
  std::unique_ptr<FanController> controller_;
  /// Those of the last read: said once.
  std::vector<int> fansWithBadLimits_;
  /// What the last look found that had no answer for some key.
  std::optional<HardwareCapabilities> doubtful_;
  /// Last: destroyed first, so that no read outlives what it uses.
  std::unique_ptr<Queue> queue_;
};

}  // namespace halcyra
