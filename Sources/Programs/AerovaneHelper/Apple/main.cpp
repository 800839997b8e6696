// The privileged helper as a launch daemon, the command that hands every fan back without it, and its guard.

#include <csignal>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "CLI/CLI.hpp"
#include "fmt/format.h"

#include "Daemon/HelperDaemon.h"
#include "Platform/Apple/AppleClock.h"
#include "Platform/Apple/AppleIOKit.h"
#include "Platform/Apple/AppleRuntimeLayout.h"
#include "Platform/Apple/CodeSigning.h"
#include "Platform/Apple/GCDDispatch.h"
#include "Platform/Apple/UnifiedLogSink.h"
#include "Platform/Apple/XPCHelperListener.h"
#include "Platform/POSIX/LifeLine.h"
#include "Platform/POSIX/SignalWatcher.h"
#include "Programs/AerovaneHelper/Apple/HelperGuard.h"
#include "Programs/AerovaneHelper/ReleaseAll.h"
#include "XPC/FanControlXPC.h"

namespace halcyra {
namespace {

/// Besides root, who sits at the machine: an administrator has approved the helper for it, and the device of the
/// console belongs to whoever is logged in there. Nobody while the login window shows.
std::optional<std::uint32_t> consoleUser() {
  struct stat status {};
  if (stat("/dev/console", &status) != 0 || status.st_uid == 0) return std::nullopt;
  return status.st_uid;
}

int runDaemon() {
  GCDMainQueue mainQueue;
  std::shared_ptr<HelperDaemon> daemon;
  const SignalWatcher signals(mainQueue, {SIGTERM, SIGINT, SIGHUP}, [&](int signal) {
    if (daemon) daemon->stop(0, fmt::format("signal {}", signal));
  });
  UnifiedLogSink log;
  AppleClock clock;
  GCDDispatch dispatch(mainQueue);
  AppleIOKit iokit;
  const AppleRuntimeLayout layout = AppleRuntimeLayout::system();
  int status = 1;
  auto guard = std::make_unique<HelperGuard>(mainQueue, log);
  daemon = HelperDaemon::make({clock, dispatch, log, iokit}, {layout.lockFile, geteuid(), {consoleUser()}},
                              [&](int finalStatus) {
                                status = finalStatus;
                                mainQueue.stop();
                              });
  if (signingTeam().empty()) {
    Logger(log, "com.norwick.Halcyra.helper", "Listener").error("a build without a signature: clients are not checked");
  }
  XPCHelperListener listener(std::string(FanControlXPC::machServiceName), teamRequirement(signingTeam()), mainQueue,
                             log);
  daemon->serve(listener);
  // A helper that starts hands back whatever an earlier one has left.
  daemon->start();
  try {
    listener.resume();
  } catch (const LocalizedError& error) {
    daemon->stop(1, error.what());
  }
  mainQueue.run();
  // It uses what was made after it.
  daemon.reset();
  // Only one that has handed everything back says farewell; the guard sees to the rest.
  if (status != 0) _exit(status);
  return status;
}

int releaseAllFansOnce(WhenOwned whenOwned) {
  AppleClock clock;
  AppleIOKit iokit;
  UnifiedLogSink log(LogLevel::error);
  return runReleaseAll(iokit, clock, log, AppleRuntimeLayout::system().lockFile, whenOwned);
}

/// Looks after the helper that started this: its end is the end of this as well.
int runGuard() {
  const pid_t helper = getppid();
  if (LifeLine::await(STDIN_FILENO, HelperGuard::patience) == LifeLine::Ending::farewell) return 0;
  // Gone, or silent: a process that is stopped cannot end by itself. Its number is still its own while it is the
  // parent.
  if (getppid() == helper && helper > 1) {
    kill(helper, SIGKILL);
    LifeLine::await(STDIN_FILENO, HelperGuard::patience);
  }
  return releaseAllFansOnce(WhenOwned::leaveItToTheOwner);
}

int run(int argumentCount, char** arguments) {
  CLI::App command("Aerovane's privileged helper: drives the fans on behalf of the application.", "aerovane-helper");
  bool releaseAll = false;
  bool isGuard = false;
  command.add_flag("--release-all", releaseAll, "Hand every fan back to the firmware, and exit");
  // Not for users.
  command.add_flag(HelperGuard::argument, isGuard)->group("");
  command.set_version_flag("--version", AEROVANE_VERSION);
  try {
    command.parse(argumentCount, arguments);
  } catch (const CLI::ParseError& error) {
    return command.exit(error) == 0 ? 0 : 2;
  }
  if (isGuard) return runGuard();
  return releaseAll ? releaseAllFansOnce(WhenOwned::handBackAllTheSame) : runDaemon();
}

}  // namespace
}  // namespace halcyra

int main(int argumentCount, char** arguments) {
  // A guard that is gone must not end the helper.
  signal(SIGPIPE, SIG_IGN);
  try {
    return halcyra::run(argumentCount, arguments);
  } catch (const std::exception& error) {
    fmt::print(stderr, "aerovane-helper: {}\n", error.what());
    return 1;
  }
}
