#include "Programs/AerovaneHelper/ReleaseAll.h"

#include <unistd.h>
#include <utility>

#include "fmt/format.h"

#include "Daemon/FanHandBack.h"
#include "Helpers/FanControlProcessLock.h"
#include "Platform/Linux/LinuxClock.h"
#include "Platform/Linux/LinuxIOKit.h"
#include "Platform/Linux/LogSinks.h"
#include "Platform/Linux/PromptOutput.h"
#include "SMC/IOKitSMCBridge.h"

namespace halcyra {

namespace {

template <typename... Arguments>
void say(PromptOutput& output, fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  output.write(fmt::format(format, std::forward<Arguments>(arguments)...));
}

}  // namespace

int runReleaseAll(const RuntimeLayout& layout) {
  LinuxClock clock;
  LinuxIOKit iokit(layout.smcSocket);
  StandardErrorLogSink log(LogLevel::error);
  FanControlProcessLock lock(layout.lockFile.string(), geteuid(), clock);
  try {
    lock.acquire("Aerovane release");
  } catch (const FanControlProcessLockError& error) {
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
