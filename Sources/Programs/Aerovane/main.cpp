#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <signal.h>
#include <string>
#include <unistd.h>
#include <utility>

#include "fmt/format.h"

#include "App/AppDelegate.h"
#include "App/ConsoleLibrary.h"
#include "App/ConsoleSession.h"
#include "NativePlatform.h"
#include "Platform/POSIX/SignalWatcher.h"
#include "Platform/UntrustedText.h"
#include "Programs/Aerovane/CommandLine.h"
#include "Programs/Aerovane/DesktopApplication.h"
#include "Programs/Aerovane/RecordingFile.h"
#ifdef AEROVANE_HAS_SIMULATION
#include "Programs/Aerovane/VirtualMacProcess.h"
#endif

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

NativePlatformOptions platformOptions(const CommandLine& line, const RuntimeLayout& layout, Workspace& workspace) {
  NativePlatformOptions options;
  options.layout = layout;
  // A table is redrawn in place; ordinary records in between would tear it.
  logToStandardError(options, consoleStyle(line) == ConsoleStyle::table ? LogLevel::error : LogLevel::standard);
  options.workspace = &workspace;
  return options;
}

/// The exit status.
int runLibrary(const CommandLine& line, NativePlatform& native, NamedFileWorkspace& workspace) {
  const LibraryCommands commands{line.importPresets, line.exportPresets, line.listPresets, line.json};
  if (const auto failure = runLibraryCommands(native.platform(), workspace, commands, write)) {
    complain(*failure);
    return 1;
  }
  const auto lost = line.importPresets ? placeOfLostPresets(native) : std::nullopt;
  if (lost) {
    complain(fmt::format("Import failed: the settings in “{}” couldn’t be written.", *lost));
    return 1;
  }
  return 0;
}

/// Nothing, and a message, when there is none of this name.
std::optional<FanPreset> presetNamed(const std::string& name, const AppModel& model) {
  const auto presets = FanPreset::menuOrder(model.customPresets());
  auto preset = findPreset(presets, name);
  if (!preset) {
    std::string names;
    for (const FanPreset& each : presets) names += fmt::format("\n  {}", onOneLine(each.name));
    complain(fmt::format("--preset: there is no preset named “{}”. There are:{}", name, names));
  }
  return preset;
}

/// Runs the console until it is told to end: the exit status.
int runSession(NativePlatform& native, std::shared_ptr<AppModel> model, ConsoleOptions options,
               const std::optional<RecordingFile>& recording) {
  auto& mainQueue = native.mainQueue();
  int status = 0;
  ConsoleSurroundings surroundings;
  surroundings.approveHelper = [&] { approveHelper(native); };
  surroundings.output = write;
  surroundings.complain = complain;
  if (recording) {
    surroundings.record = [&](const std::string& text) { recording->append(text); };
  }
  surroundings.finished = [&](int result) {
    status = result;
    mainQueue.stop();
  };
  auto session = std::make_shared<ConsoleSession>(native.platform(), std::move(model), std::move(options),
                                                  std::move(surroundings));
  int interruptions = 0;
  const SignalWatcher interruptWatcher(mainQueue, {SIGINT, SIGTERM, SIGHUP}, [&](int) {
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
  return status;
}

/// Does what was asked on this layout's machine: the exit status.
int runConsole(const CommandLine& line, const RuntimeLayout& layout) {
  NamedFileWorkspace workspace;
  NativePlatform native(platformOptions(line, layout, workspace));
  if (line.usesLibrary()) {
    const int status = runLibrary(line, native, workspace);
    if (status != 0 || !line.console) return status;
  }
  std::shared_ptr<AppModel> model = AppModel::make(native.platform());
  ConsoleOptions options = consoleOptions(line);
  if (line.preset) {
    options.preset = presetNamed(*line.preset, *model);
    if (!options.preset) return badUsage;
  }
  std::optional<RecordingFile> recording;
  if (line.record) recording.emplace(*line.record);
  return runSession(native, std::move(model), std::move(options), recording);
}

/// Registers the helper anew, without a look at the machine: the exit status.
int refreshRegistration(const RuntimeLayout& layout) {
  NativePlatformOptions platformOptions;
  platformOptions.layout = layout;
  NativePlatform native(platformOptions);
  AppModelOptions modelOptions;
  modelOptions.refreshHelperRegistration = true;
  int status = 1;
  AppDelegateSurroundings surroundings;
  surroundings.terminate = [&] { native.mainQueue().stop(); };
  surroundings.standardOutput = [&](const std::string& text) {
    write(text);
    status = 0;
  };
  surroundings.standardError = [](const std::string& text) { std::cerr << text << std::flush; };
  const auto delegate =
      std::make_shared<AppDelegate>(native.platform(), AppModel::make(native.platform(), modelOptions),
                                    LaunchFlags{.refreshHelperRegistration = true}, std::move(surroundings));
  native.mainQueue().async([&] { delegate->applicationDidFinishLaunching(); });
  native.mainQueue().run();
  return status;
}

/// In windows where there is a display and nothing asks for the console: the exit status.
int runApplication(const CommandLine& line, const RuntimeLayout& layout, [[maybe_unused]] int& argc,
                   [[maybe_unused]] char** argv) {
  if (line.refreshHelperRegistration) return refreshRegistration(layout);
#ifdef AEROVANE_HAS_WINDOWS
  const bool wantsConsole = line.console || line.json || line.record || line.usesLibrary();
  if (!wantsConsole && hasDisplay()) return runDesktop(line, layout, argc, argv);
#endif
  return runConsole(line, layout);
}

int run(const CommandLine& line, int& argc, char** argv) {
#ifdef AEROVANE_HAS_SIMULATION
  if (line.virtualMac) {
    const VirtualMacProcess machine(line.workload, line.seed);
    std::cerr << fmt::format("aerovane: simulated Mac in {}", machine.runtimeFolder().string()) << std::endl;
    return runApplication(line, RuntimeLayout::inFolder(machine.runtimeFolder()), argc, argv);
  }
  if (line.runtimeFolder) return runApplication(line, RuntimeLayout::inFolder(*line.runtimeFolder), argc, argv);
#endif
  return runApplication(line, RuntimeLayout::system(), argc, argv);
}

}  // namespace
}  // namespace halcyra

int main(int argc, char** argv) {
  // A reader of the output that goes away must not end the program before the fans are handed back.
  signal(SIGPIPE, SIG_IGN);
  const halcyra::CommandLine line = halcyra::CommandLine::parse(argc, argv);
  try {
    return halcyra::run(line, argc, argv);
  } catch (const std::exception& error) {
    halcyra::complain(error.what());
    return 1;
  }
}
