// The privileged helper daemon, and the command that hands every fan back without it.

#include <csignal>
#include <cstdio>
#include <memory>
#include <string>
#include <unistd.h>

#include "CLI/CLI.hpp"
#include "fmt/format.h"

#include "Daemon/HelperDaemon.h"
#include "Platform/Linux/BusThread.h"
#include "Platform/Linux/DBusMachServiceListener.h"
#include "Platform/Linux/HelperRegistration.h"
#include "Platform/Linux/LinuxClock.h"
#include "Platform/Linux/LinuxIOKit.h"
#include "Platform/Linux/LogSinks.h"
#include "Platform/Linux/PlainMainQueue.h"
#include "Platform/Linux/RuntimeLayout.h"
#include "Platform/Linux/SignalWatcher.h"
#include "Platform/Linux/ThreadQueue.h"
#include "Programs/AerovaneHelper/ReleaseAll.h"
#include "XPC/FanControlXPC.h"

namespace halcyra {
namespace {

int runDaemon(const RuntimeLayout& layout) {
  PlainMainQueue mainQueue;
  std::shared_ptr<HelperDaemon> daemon;
  const SignalWatcher signals(mainQueue, {SIGTERM, SIGINT, SIGHUP}, [&daemon](int signal) {
    if (daemon) daemon->stop(0, fmt::format("signal {}", signal));
  });
  const auto log = makeLogSink(LogDestination::automatic, LogLevel::info);
  if (!mayStart(layout, *log)) {
    fmt::print(stderr, "aerovane-helper: the helper is not registered, or an administrator has not approved it yet\n");
    return 1;
  }
  LinuxClock clock;
  LinuxDispatch dispatch(mainQueue);
  LinuxIOKit iokit(layout.smcSocket);
  BusThread bus(busOpener(layout.busAddress));

  int status = 1;
  daemon =
      HelperDaemon::make({clock, dispatch, *log, iokit},
                         {layout.lockFile.string(), geteuid(), {registeredUser(layout, *log)}}, [&](int finalStatus) {
                           status = finalStatus;
                           mainQueue.stop();
                         });
  DBusMachServiceListener listener(bus, std::string(FanControlXPC::machServiceName), mainQueue, *log);
  daemon->serve(listener);
  daemon->start();
  try {
    listener.resume();
  } catch (const LocalizedError& error) {
    fmt::print(stderr, "aerovane-helper: {}\n", error.what());
    daemon->stop(1, error.what());
  }
  mainQueue.run();
  // It uses what was made after it.
  daemon.reset();
  return status;
}

int run(int argumentCount, char** arguments) {
  CLI::App command("Aerovane's privileged helper: drives the fans on behalf of the application.", "aerovane-helper");
  std::string runtimeFolder;
  bool releaseAll = false;
  command.add_option("--runtime-dir", runtimeFolder, "The folder of a simulated machine")->type_name("DIR");
  command.add_flag("--release-all", releaseAll, "Hand every fan back to the firmware, and exit");
  command.set_version_flag("--version", AEROVANE_VERSION);
  try {
    command.parse(argumentCount, arguments);
  } catch (const CLI::ParseError& error) {
    return command.exit(error) == 0 ? 0 : 2;
  }
  const RuntimeLayout layout = runtimeFolder.empty() ? RuntimeLayout::system() : RuntimeLayout::inFolder(runtimeFolder);
  return releaseAll ? runReleaseAll(layout) : runDaemon(layout);
}

}  // namespace
}  // namespace halcyra

int main(int argumentCount, char** arguments) {
  try {
    return halcyra::run(argumentCount, arguments);
  } catch (const std::exception& error) {
    fmt::print(stderr, "aerovane-helper: {}\n", error.what());
    return 1;
  }
}
