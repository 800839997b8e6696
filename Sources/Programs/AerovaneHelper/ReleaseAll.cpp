#include "Programs/AerovaneHelper/ReleaseAll.h"

#include <cstdio>
#include <unistd.h>

#include "fmt/format.h"

#include "Daemon/FanHandBack.h"
#include "Helpers/FanControlProcessLock.h"
#include "SMC/IOKitSMCBridge.h"

namespace halcyra {

int runReleaseAll(IOKit& iokit, Clock& clock, LogSink& log, const std::string& lockFile, WhenOwned whenOwned) {
  FanControlProcessLock lock(lockFile, geteuid(), clock);
  try {
    lock.acquire("Aerovane release");
  } catch (const FanControlProcessLockError& error) {
    if (whenOwned == WhenOwned::leaveItToTheOwner && error.kind() == FanControlProcessLockError::Case::alreadyOwned) {
      return 0;
    }
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
