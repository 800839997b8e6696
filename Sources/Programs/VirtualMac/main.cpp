#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#include "CLI/CLI.hpp"
#include "fmt/format.h"

#include "Platform/Linux/LinuxFiles.h"
#include "Platform/POSIX/PromptOutput.h"
#include "Programs/VirtualMac/BusDaemon.h"
#include "Programs/VirtualMac/MachineCommands.h"
#include "Programs/VirtualMac/MachineFolder.h"

namespace halcyra {
namespace {

constexpr int badUsage = 2;
/// How long the driver stays for its clients once the machine is told to end: a helper that has lost its bus hands the
/// fans back in this time.
constexpr Seconds farewell{3.0};
constexpr Seconds farewellStep{0.02};

struct Arguments {
  std::string runtimeFolder;
  std::string workload = "host";
  std::uint64_t seed = 1;
  /// Empty: be the machine.
  std::vector<std::string> command;
};

void stopWithoutClients(Reactor& reactor, const SMCServer& smc, Seconds left) {
  if (!smc.hasClients() || left <= Seconds::zero()) {
    reactor.stop();
    return;
  }
  reactor.after(farewellStep, [&reactor, &smc, left] { stopWithoutClients(reactor, smc, left - farewellStep); });
}

/// As many connections as the system allows.
void raiseDescriptorLimit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
    constexpr rlim_t enough = 4096;
    limit.rlim_cur = std::max(limit.rlim_cur, std::min(limit.rlim_max, enough));
    ::setrlimit(RLIMIT_NOFILE, &limit);
  }
}

int runMachine(const Arguments& arguments, const RuntimeLayout& layout) {
  checkWorkloadName(arguments.workload);
  raiseDescriptorLimit();
  const MachineFolder folder(layout);
  Reactor reactor;
  Machine machine(reactor, arguments.workload, arguments.seed);
  SMCServer smc(reactor, machine, layout);
  BusDaemon bus(reactor, layout);
  Competitor competitor(layout);
  bus.start();
  SleepManager sleep(reactor, layout);
  MachineCommands commands(machine, smc, sleep, competitor);
  ControlServer control(reactor, layout.controlSocket,
                        [&](const std::vector<std::string>& command, const std::function<void(ControlAnswer)>& answer) {
                          commands.perform(command, answer);
                        });
  bool ending = false;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    reactor.onSignal(signal, [&] {
      if (std::exchange(ending, true)) {
        reactor.stop();
        return;
      }
      smc.keeper().end();
      bus.end();
      stopWithoutClients(reactor, smc, farewell);
    });
  }
  reactor.onSignal(SIGCHLD, [&] {
    bus.childEnded();
    competitor.isRunning();
    smc.keeper().childEnded();
  });
  writeFileAtomically(layout.hardwareModel, machine.hardwareModel() + '\n', 0644);
  smc.start();
  control.start();
  sleep.start(
      [&] { promptStandardOutput().write(fmt::format("virtual-mac: ready in {}\n", layout.folder->string())); });
  reactor.run();
  return 0;
}

int runCommand(const Arguments& arguments, const RuntimeLayout& layout) {
  std::vector<std::string> command = arguments.command;
  const bool isTrace = command.front() == "workload" && command.back().ends_with(".csv");
  if (isTrace) {
    command.back() = std::filesystem::absolute(command.back()).string();
  }
  const ControlAnswer answer = sendControlCommand(layout.controlSocket, command);
  (answer.status == 0 ? std::cout : std::cerr << "virtual-mac: ") << answer.text << std::endl;
  return answer.status == 0 && !std::cout ? 1 : answer.status;
}

std::string faultHelp() {
  std::string text = "Faults (without one, lists those in force):";
  for (const std::string& line : FaultSet::usage()) {
    text += "\n  " + line;
  }
  return text;
}

void addCommands(CLI::App& control, Arguments& arguments) {
  control.require_subcommand(1);
  // The folder may be named after the command as well.
  control.fallthrough();
  const auto remember = [&arguments](const std::string& name, const std::vector<std::string>& rest) {
    arguments.command = {name};
    arguments.command.insert(arguments.command.end(), rest.begin(), rest.end());
  };
  const auto add = [&](const std::string& name, const std::string& help) {
    CLI::App* command = control.add_subcommand(name, help);
    command->callback([remember, name] { remember(name, {}); });
    return command;
  };
  add("show", "Print the machine's state as JSON");
  add("sleep", "Let the machine sleep");
  add("wake", "Wake the machine");
  CLI::App* fault = control.add_subcommand("fault", "Let something go wrong, or right again");
  fault->footer(faultHelp());
  auto words = std::make_shared<std::vector<std::string>>();
  fault->add_option("words", *words, "The fault, as below");
  fault->callback([remember, words] { remember("fault", *words); });
  CLI::App* competitor = control.add_subcommand("competitor", "Start or end another vendor's fan utility");
  auto state = std::make_shared<std::string>();
  competitor->add_option("state", *state, "on or off")->required()->check(CLI::IsMember({"on", "off"}));
  competitor->callback([remember, state] { remember("competitor", {*state}); });
  CLI::App* workload = control.add_subcommand("workload", "Give the machine other work");
  auto name = std::make_shared<std::string>();
  workload->add_option("name", *name, "host, idle, bursts, sustained, critical, or a trace (FILE.csv)")->required();
  workload->callback([remember, name] { remember("workload", {*name}); });
}

/// A sign would wrap around.
std::string digitsOnly(const std::string& text) {
  return text.find_first_not_of("0123456789") == std::string::npos ? "" : "is not a whole number";
}

std::string notEmpty(const std::string& text) {
  return text.empty() ? "is empty" : "";
}

int run(int argc, char** argv) {
  Arguments arguments;
  CLI::App app("A simulated Mac: its SMC driver, message bus, sleep and wake in one folder", "virtual-mac");
  app.set_version_flag("--version", AEROVANE_VERSION);
  app.add_option("--workload", arguments.workload, "host, idle, bursts, sustained, critical, or a trace (FILE.csv)");
  app.add_option("--seed", arguments.seed, "Makes runs differ")->check(digitsOnly);
  auto* machineFolder =
      app.add_option("--runtime-dir", arguments.runtimeFolder, "The machine's folder")->check(notEmpty);
  CLI::App* control = app.add_subcommand("ctl", "Command a machine that is running");
  auto* controlFolder =
      control->add_option("--runtime-dir", arguments.runtimeFolder, "The machine's folder")->check(notEmpty);
  addCommands(*control, arguments);
  try {
    app.parse(argc, argv);
    if (machineFolder->empty() && controlFolder->empty()) {
      throw CLI::RequiredError("--runtime-dir");
    }
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : badUsage;
  }
  try {
    const RuntimeLayout layout = RuntimeLayout::inFolder(arguments.runtimeFolder);
    return arguments.command.empty() ? runMachine(arguments, layout) : runCommand(arguments, layout);
  } catch (const UnknownWorkload& error) {
    std::cerr << "virtual-mac: --workload: " << error.what() << std::endl;
    return badUsage;
  } catch (const std::exception& error) {
    promptStandardError().write(fmt::format("virtual-mac: {}\n", error.what()));
    return 1;
  }
}

}  // namespace
}  // namespace halcyra

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], halcyra::idleArgument) == 0) {
    for (;;) {
      ::pause();
    }
  }
  std::signal(SIGPIPE, SIG_IGN);
  return halcyra::run(argc, argv);
}
