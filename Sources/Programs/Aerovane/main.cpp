#include <cerrno>
#include <exception>
#include <memory>
#include <optional>
#include <signal.h>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

#include "fmt/format.h"

#include "App/AppDelegate.h"
#include "App/ConsoleLibrary.h"
#include "App/ConsoleSession.h"
#include "Helpers/FanCurveManager.h"
#include "NativePlatform.h"
#include "Platform/POSIX/POSIXFiles.h"
#include "Platform/POSIX/PromptOutput.h"
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

void complain(const std::string& message) {
  promptStandardError().write(fmt::format("aerovane: {}\n", message));
}

FileError outputFailure(int error) {
  return FileError(fmt::format("The output couldn’t be written: {}.", std::generic_category().message(error)));
}

/// All of it, however long the reader takes. Throws `FileError`.
void write(const std::string& text) {
  for (std::string_view rest = text; !rest.empty();) {
    const ssize_t count = ::write(STDOUT_FILENO, rest.data(), rest.size());
    if (count < 0 && errno != EINTR) throw outputFailure(errno);
    if (count > 0) rest.remove_prefix(static_cast<std::size_t>(count));
  }
}

/// For a process that drives fans, which waits for no reader: what has no room is left out, and the count is told once
/// there is room again. Throws `FileError` when nobody can read it any more.
class PromptReports {
 public:
  void write(const std::string& text) {
    switch (promptStandardOutput().write(text)) {
      case PromptOutput::Result::written:
        if (const int lost = std::exchange(lost_, 0); lost > 0) {
          complain(fmt::format("{} report{} could not be written: nobody read the output", lost, lost == 1 ? "" : "s"));
        }
        return;
      case PromptOutput::Result::dropped:
        ++lost_;
        return;
      case PromptOutput::Result::failed:
        throw outputFailure(promptStandardOutput().error());
    }
  }

 private:
  int lost_ = 0;
};

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
  return 0;
}

/// Nothing, and a message, when there is none of this name.
std::optional<FanPreset> presetNamed(const std::string& name, const std::vector<FanPreset>& customPresets) {
  const auto presets = FanPreset::menuOrder(customPresets);
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
  surroundings.output = [reports = std::make_shared<PromptReports>()](const std::string& text) {
    reports->write(text);
  };
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
  ConsoleOptions options = consoleOptions(line);
  if (line.preset) {
    options.preset = presetNamed(*line.preset, FanCurveManager(native.platform().userDefaults).loadCustomPresets());
    if (!options.preset) return badUsage;
  }
  std::shared_ptr<AppModel> model = AppModel::make(native.platform(), {.preset = options.preset});
  std::optional<RecordingFile> recording;
  if (line.record) recording.emplace(*line.record);
  return runSession(native, std::move(model), std::move(options), recording);
}

/// Registers the helper anew, without a look at the machine: the exit status.
int refreshRegistration(const RuntimeLayout& layout) {
  if (const auto folder = folderWithoutMachine(layout)) {
    complain(fmt::format("No simulated Mac runs in “{}”.", *folder));
    return 1;
  }
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
  surroundings.standardError = [](const std::string& text) { promptStandardError().write(text); };
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

/// Before anything is started for it. Presets that are still to be imported are looked at afterwards.
bool presetIsKnown(const CommandLine& line) {
  if (!line.preset || line.importPresets) return true;
  const auto presets = storedCustomPresets(line.virtualMac || line.runtimeFolder);
  return !presets || presetNamed(*line.preset, *presets).has_value();
}

int run(const CommandLine& line, int& argc, char** argv) {
  if (!presetIsKnown(line)) return badUsage;
#ifdef AEROVANE_HAS_SIMULATION
  if (line.virtualMac) {
    const VirtualMacProcess machine(line.workload, line.seed);
    promptStandardError().write(fmt::format("aerovane: simulated Mac in {}\n", machine.runtimeFolder().string()));
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
#ifdef AEROVANE_HAS_SIMULATION
  } catch (const halcyra::BadMachineOptions& error) {
    halcyra::complain(error.what());
    return halcyra::badUsage;
#endif
  } catch (const std::exception& error) {
    halcyra::complain(error.what());
    return 1;
  }
}
