#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <signal.h>
#include <string>
#include <unistd.h>
#include <utility>

#include "fmt/format.h"

#include "App/ConsoleSession.h"
#include "Platform/Linux/LinuxPlatform.h"
#include "Platform/Linux/LinuxServiceManagement.h"
#include "Platform/Linux/SignalWatcher.h"
#include "Programs/Aerovane/CommandLine.h"
#include "Programs/Aerovane/VirtualMacProcess.h"
#include "XPC/FanControlXPC.h"

namespace halcyra {
namespace {

constexpr int badUsage = 2;

void write(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

void complain(const std::string& message) {
  std::cerr << "aerovane: " << message << std::endl;
}

ConsoleStyle consoleStyle(const CommandLine& line) {
  if (line.json) return ConsoleStyle::json;
  return isatty(STDOUT_FILENO) != 0 ? ConsoleStyle::table : ConsoleStyle::lines;
}

ConsoleOptions consoleOptions(const CommandLine& line) {
  ConsoleOptions options;
  options.installHelper = line.installHelper;
  options.approveHelper = line.approveHelper;
  options.supervisedTest = line.supervisedTest;
  options.style = consoleStyle(line);
  if (line.seconds) options.duration = Seconds{*line.seconds};
  return options;
}

/// Runs the console on this layout's machine until it is told to end: the exit status.
int runConsole(const CommandLine& line, const RuntimeLayout& layout) {
  LinuxPlatformOptions platformOptions;
  platformOptions.layout = layout;
  platformOptions.log = LogDestination::standardError;
  ConsoleOptions options = consoleOptions(line);
  // A table is redrawn in place; ordinary records in between would tear it.
  platformOptions.minimumLogLevel = options.style == ConsoleStyle::table ? LogLevel::error : LogLevel::standard;
  LinuxPlatform linux(std::move(platformOptions));
  PlainMainQueue& mainQueue = linux.mainQueue();

  int status = 0;
  std::shared_ptr<AppModel> model = AppModel::make(linux.platform());
  if (line.preset) {
    const auto presets = FanPreset::menuOrder(model->customPresets());
    options.preset = findPreset(presets, *line.preset);
    if (!options.preset) {
      std::string names;
      for (const FanPreset& preset : presets) names += fmt::format("\n  {}", preset.name);
      complain(fmt::format("--preset: there is no preset named “{}”. There are:{}", *line.preset, names));
      return badUsage;
    }
  }
  ConsoleSurroundings surroundings;
  surroundings.approveHelper = [&] { linux.serviceManagement().approve(std::string(FanControlXPC::daemonPlistName)); };
  surroundings.output = write;
  surroundings.complain = complain;
  surroundings.finished = [&](int result) {
    status = result;
    mainQueue.stop();
  };
  auto session = std::make_shared<ConsoleSession>(linux.platform(), model, std::move(options), std::move(surroundings));
  int interruptions = 0;
  const SignalWatcher signals(mainQueue, {SIGINT, SIGTERM, SIGHUP}, [&](int) {
    if (++interruptions == 1) {
      session->stop(0);
    } else {
      complain("ended at once; the helper hands the fans back");
      status = 1;
      mainQueue.stop();
    }
  });
  session->start();
  mainQueue.run();
  session.reset();
  model.reset();
  return status;
}

int run(const CommandLine& line) {
  if (line.virtualMac) {
    const VirtualMacProcess machine(line.workload, line.seed);
    std::cerr << fmt::format("aerovane: simulated Mac in {}", machine.runtimeFolder().string()) << std::endl;
    return runConsole(line, RuntimeLayout::inFolder(machine.runtimeFolder()));
  }
  return runConsole(line, line.runtimeFolder ? RuntimeLayout::inFolder(*line.runtimeFolder) : RuntimeLayout::system());
}

}  // namespace
}  // namespace halcyra

int main(int argc, char** argv) {
  // A reader of the output that goes away must not end the program before the fans are handed back.
  signal(SIGPIPE, SIG_IGN);
  const halcyra::CommandLine line = halcyra::CommandLine::parse(argc, argv);
  try {
    return halcyra::run(line);
  } catch (const std::exception& error) {
    halcyra::complain(error.what());
    return 1;
  }
}
