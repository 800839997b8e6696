#include "Programs/AerovaneHelper/ReleaseAll.h"

#include <unistd.h>
#include <utility>

#include "fmt/format.h"

#include "Daemon/FanHandBack.h"
#include "Helpers/FanControlProcessLock.h"
#include "Platform/POSIX/PromptOutput.h"
#include "SMC/IOKitSMCBridge.h"

namespace halcyra {

namespace {

template <typename... Arguments>
void say(PromptOutput& output, fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  output.write(fmt::format(format, std::forward<Arguments>(arguments)...));
}

}  // namespace

int runReleaseAll(IOKit& iokit, Clock& clock, LogSink& log, const std::string& lockFile, WhenOwned whenOwned) {
  FanControlProcessLock lock(lockFile, geteuid(), clock);
  try {
    lock.acquire("Aerovane release");
  } catch (const FanControlProcessLockError& error) {
    if (whenOwned == WhenOwned::leaveItToTheOwner && error.kind() == FanControlProcessLockError::Case::alreadyOwned) {
      return 0;
    }
    say(promptStandardError(), "aerovane-helper: {}; handing the fans back all the same\n", error.what());
  }
  IOKitSMCBridge smc(iokit, clock, SMCWriteCapability::privilegedHelper, nullptr);
  const HandBackReport report = releaseAllFans(smc, log);
  for (const FanHandBackOutcome& outcome : report.fans) {
    if (outcome.failure) {
      say(promptStandardOutput(), "Fan {}: not handed back: {}\n", outcome.fan, *outcome.failure);
    } else {
      say(promptStandardOutput(), "Fan {}: automatic\n", outcome.fan);
    }
  }
  if (report.unreachable) {
    say(promptStandardError(), "aerovane-helper: {}\n", *report.unreachable);
  } else if (report.fans.empty()) {
    say(promptStandardOutput(), "No fan was found\n");
  }
  return report.failed() ? 1 : 0;
}

}  // namespace halcyra
