#include "Programs/AerovaneHelper/ReleaseAll.h"

#include <cstdio>
#include <unistd.h>

#include "fmt/format.h"

#include "Daemon/FanHandBack.h"
#include "Helpers/FanControlProcessLock.h"
#include "Platform/Linux/LinuxClock.h"
#include "Platform/Linux/LinuxIOKit.h"
#include "Platform/Linux/LogSinks.h"
#include "SMC/IOKitSMCBridge.h"

namespace halcyra {

int runReleaseAll(const RuntimeLayout& layout) {
  LinuxClock clock;
  LinuxIOKit iokit(layout.smcSocket);
  StandardErrorLogSink log(LogLevel::error);
  FanControlProcessLock lock(layout.lockFile.string(), geteuid(), clock);
  try {
    lock.acquire("Aerovane release");
  } catch (const FanControlProcessLockError& error) {
    fmt::print(stderr, "aerovane-helper: {}; handing the fans back all the same\n", error.what());
  }
  IOKitSMCBridge smc(iokit, clock, SMCWriteCapability::privilegedHelper, nullptr);
  const HandBackReport report = releaseAllFans(smc, log);
  for (const FanHandBackOutcome& outcome : report.fans) {
    if (outcome.failure) {
      fmt::print("Fan {}: not handed back: {}\n", outcome.fan, *outcome.failure);
    } else {
      fmt::print("Fan {}: automatic\n", outcome.fan);
    }
  }
  if (report.unreachable) {
    fmt::print(stderr, "aerovane-helper: {}\n", *report.unreachable);
  } else if (report.fans.empty()) {
    fmt::print("No fan was found\n");
  }
  return report.failed() ? 1 : 0;
}

}  // namespace halcyra
