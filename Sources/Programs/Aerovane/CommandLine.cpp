#include "Programs/Aerovane/CommandLine.h"

#include <cstdlib>
#include <iostream>

#include "CLI/CLI.hpp"
#include "fmt/format.h"

namespace halcyra {

namespace {

/// A year: longer than anyone waits, short enough for every timer.
constexpr double longestRun = 366.0 * 24 * 3600;

/// Compares so that what is no number fails.
std::string durationProblem(const std::string& text) {
  char* end = nullptr;
  const double seconds = std::strtod(text.c_str(), &end);
  return seconds >= 0.0 && seconds <= longestRun ? "" : fmt::format("has to be from 0 to {:.0f}", longestRun);
}

void describe(CLI::App& app, CommandLine& line) {
  app.set_version_flag("--version", std::string("aerovane ") + AEROVANE_VERSION);
  app.add_flag("--console", line.console, "Run without windows: a line per poll, or a live table on a terminal");
  app.add_option("--preset", line.preset, "Activate the preset of this name")->type_name("NAME");
  app.add_flag("--install-helper", line.installHelper, "Register the privileged helper first");
  app.add_flag("--approve-helper", line.approveHelper, "Approve the registered helper");
  app.add_flag("--supervised-test", line.supervisedTest, "Run the supervised fan test first unless it has passed");
  app.add_option("--seconds", line.seconds, "End after this many seconds")->check(durationProblem);
  app.add_flag("--json", line.json, "One JSON object a line");
  app.add_option("--record", line.record,
                 "Record time, temperatures and fan speeds in this new CSV file; "
                 "the simulated Mac replays it with --workload FILE")
      ->type_name("FILE");
  app.add_flag("--refresh-helper-registration", line.refreshHelperRegistration,
               "Register the privileged helper anew and end");
  constexpr const char* library = "Preset library (ends afterwards unless --console is given, too)";
  app.add_flag("--list-presets", line.listPresets, "Print the name of every preset")->group(library);
  app.add_option("--export-presets", line.exportPresets, "Write the custom presets to this file, replacing it")
      ->type_name("FILE")
      ->group(library);
  app.add_option("--import-presets", line.importPresets, "Add the presets of this file to the custom ones")
      ->type_name("FILE")
      ->group(library);
}

#ifdef AEROVANE_HAS_SIMULATION
/// A sign would wrap around.
std::string digitsOnly(const std::string& text) {
  return text.find_first_not_of("0123456789") == std::string::npos ? "" : "is not a whole number";
}

std::string notEmpty(const std::string& text) {
  return text.empty() ? "is empty" : "";
}

void describeSimulation(CLI::App& app, CommandLine& line) {
  auto* machine = app.add_flag("--virtual-mac", line.virtualMac, "Start a simulated Mac for this run and end it after");
  auto* folder = app.add_option("--runtime-dir", line.runtimeFolder, "Use the simulated Mac that runs in this folder")
                     ->type_name("DIR")
                     ->check(notEmpty);
  machine->excludes(folder);
  app.add_option("--workload", line.workload,
                 "Workload of the --virtual-mac: host, idle, bursts, sustained, critical, "
                 "or a CSV trace")
      ->needs(machine)
      ->capture_default_str();
  app.add_option("--seed", line.seed, "Seed of the --virtual-mac")->needs(machine)->check(digitsOnly);
}
#endif

#ifdef AEROVANE_HAS_WINDOWS
void describeWindows(CLI::App& app, CommandLine& line) {
  app.add_option("--appearance", line.appearance, "Colours of the windows")
      ->check(CLI::IsMember({"system", "light", "dark"}))
      ->capture_default_str();
  app.add_option("--screenshots", line.screenshots, "Write a picture of every window into DIR after a minute, and quit")
      ->type_name("DIR");
}
#endif

/// What would be ignored is refused.
void check(const CommandLine& line) {
  const bool runs = line.preset || line.seconds || line.record || line.virtualMac || line.installHelper ||
                    line.approveHelper || line.supervisedTest;
  if (line.usesLibrary() && runs && !line.console) {
    throw CLI::ValidationError("--list-presets, --export-presets, --import-presets",
                               "end the program; give --console as well to run with the other options afterwards");
  }
  const bool asksForMore = line.console || line.json || line.preset || line.seconds || line.record ||
                           line.installHelper || line.approveHelper || line.supervisedTest || line.usesLibrary() ||
                           line.screenshots;
  if (line.refreshHelperRegistration && asksForMore) {
    throw CLI::ValidationError("--refresh-helper-registration",
                               "ends the program and cannot be combined with other options");
  }
}

}  // namespace

CommandLine CommandLine::parse(int argc, char** argv) {
  CommandLine line;
  CLI::App app{"Aerovane: fan control for Apple-silicon Macs", "aerovane"};
#ifdef AEROVANE_HAS_SIMULATION
  describeSimulation(app, line);
#endif
  describe(app, line);
#ifdef AEROVANE_HAS_WINDOWS
  describeWindows(app, line);
#endif
  try {
    app.parse(argc, argv);
    check(line);
  } catch (const CLI::ParseError& error) {
    const bool asked = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success);
    app.exit(error, std::cout, std::cerr);
    const int status = std::cout.flush() ? 0 : 1;
    std::exit(asked ? status : 2);
  }
  return line;
}

}  // namespace halcyra
