// The privileged helper daemon, and the command that hands every fan back without it.

#include <csignal>
#include <memory>
#include <string>
#include <unistd.h>

#include "CLI/CLI.hpp"
#include "fmt/format.h"

#include "Daemon/HelperDaemon.h"
#include "Platform/Linux/BusThread.h"
#include "Platform/Linux/DBusHelperListener.h"
#include "Platform/Linux/HelperRegistration.h"
#include "Platform/Linux/LinuxClock.h"
#include "Platform/Linux/LinuxIOKit.h"
#include "Platform/Linux/LogSinks.h"
#include "Platform/Linux/PlainMainQueue.h"
#include "Platform/Linux/RuntimeLayout.h"
#include "Platform/Linux/ServiceSupervisor.h"
#include "Platform/Linux/ThreadQueue.h"
#include "Platform/POSIX/PromptOutput.h"
#include "Platform/POSIX/SignalWatcher.h"
#include "Programs/AerovaneHelper/Linux/RegisterUser.h"
#include "Programs/AerovaneHelper/ReleaseAll.h"

namespace halcyra {
namespace {

/// The daemon may not start as things are; a supervisor that starts it again changes nothing (sysexits.h: EX_CONFIG).
constexpr int notRegisteredStatus = 78;

int runDaemon(const RuntimeLayout& layout) {
  PlainMainQueue mainQueue;
  ServiceSupervisor supervisor(mainQueue);
  std::shared_ptr<HelperDaemon> daemon;
  const SignalWatcher signals(mainQueue, {SIGTERM, SIGINT, SIGHUP}, [&](int signal) {
    supervisor.stopping("handing the fans back");
    if (daemon) daemon->stop(0, fmt::format("signal {}", signal));
  });
  const auto log = makeLogSink(LogDestination::automatic, LogLevel::info);
  if (!mayStart(layout, *log)) {
    promptStandardError().write(
        "aerovane-helper: the helper is not registered, or an administrator has not approved it yet\n");
    return notRegisteredStatus;
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
  DBusHelperListener listener(bus, mainQueue, clock, *log);
  daemon->serve(listener);
  daemon->start();
  try {
    listener.resume();
    supervisor.ready(access(layout.smcSocket.c_str(), F_OK) == 0 ? "ready" : "ready; this machine has no SMC");
  } catch (const LocalizedError& error) {
    promptStandardError().write(fmt::format("aerovane-helper: {}\n", error.what()));
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
  std::string user;
  bool unregister = false;
  command.add_option("--runtime-dir", runtimeFolder, "The folder of a simulated machine")
      ->type_name("DIR")
      ->check([](const std::string& folder) { return folder.empty() ? "is empty" : std::string(); });
  auto* release = command.add_flag("--release-all", releaseAll, "Hand every fan back to the firmware, and exit");
  auto* registration =
      command.add_option("--register", user, "Let this user drive the fans through the helper, and exit")
          ->type_name("USER")
          ->excludes(release);
  command.add_flag("--unregister", unregister, "Let nobody drive the fans through the helper any more, and exit")
      ->excludes(release)
      ->excludes(registration);
  command.set_version_flag("--version", AEROVANE_VERSION);
  try {
    command.parse(argumentCount, arguments);
  } catch (const CLI::ParseError& error) {
    return command.exit(error) == 0 ? 0 : 2;
  }
  const RuntimeLayout layout = runtimeFolder.empty() ? RuntimeLayout::system() : RuntimeLayout::inFolder(runtimeFolder);
  if (releaseAll) {
    LinuxClock clock;
    LinuxIOKit iokit(layout.smcSocket);
    StandardErrorLogSink log(LogLevel::error);
    return runReleaseAll(iokit, clock, log, layout.lockFile.string());
  }
  if (!registration->empty()) return runRegister(layout, user);
  return unregister ? runUnregister(layout) : runDaemon(layout);
}

}  // namespace
}  // namespace halcyra

int main(int argumentCount, char** arguments) {
  // Whoever reads the messages may go away.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    return halcyra::run(argumentCount, arguments);
  } catch (const std::exception& error) {
    halcyra::promptStandardError().write(fmt::format("aerovane-helper: {}\n", error.what()));
    return 1;
  }
}
