#include "Programs/VirtualMac/MachineCommands.h"

#include "fmt/format.h"
#include "fmt/ranges.h"
#include "nlohmann/json.hpp"

#include "Programs/VirtualMac/ChildProgram.h"

namespace halcyra {

void MachineCommands::perform(const std::vector<std::string>& arguments,
                              const std::function<void(ControlAnswer)>& answer) {
  const std::string command = arguments.empty() ? std::string() : arguments.front();
  const std::vector<std::string> rest(arguments.begin() + (arguments.empty() ? 0 : 1), arguments.end());
  if (command == "show" && rest.empty()) {
    answer({0, show()});
  } else if (command == "fault") {
    answer({0, fault(fmt::format("{}", fmt::join(rest, " ")))});
  } else if (command == "sleep" && rest.empty()) {
    sleep(answer);
  } else if (command == "wake" && rest.empty()) {
    sleep_.wake();
    answer({0, "awake"});
  } else if (command == "competitor" && rest.size() == 1) {
    answer({0, competitor(rest.front())});
  } else if (command == "workload" && rest.size() == 1) {
    answer({0, workload(rest.front())});
  } else {
    throw VirtualMacError(fmt::format("There is no command “{}”.", fmt::join(arguments, " ")));
  }
}

std::string MachineCommands::show() {
  nlohmann::json state = machine_.state().json();
  state["faults"] = machine_.faults().active();
  state["workload"] = machine_.workload();
  state["asleep"] = sleep_.isAsleep();
  state["competitor"] = competitor_.isRunning();
  return state.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string MachineCommands::fault(const std::string& command) {
  if (!command.empty()) {
    machine_.applyFault(command);
    smc_.faultsChanged();
  }
  const auto active = machine_.faults().active();
  return active.empty() ? "no faults" : fmt::format("{}", fmt::join(active, "\n"));
}

void MachineCommands::sleep(const std::function<void(ControlAnswer)>& answer) {
  sleep_.sleep([answer](bool allowed) {
    answer({0, allowed ? "asleep" : "asleep (an inhibitor was still held after 5 seconds)"});
  });
}

std::string MachineCommands::competitor(const std::string& state) {
  if (state == "on") {
    competitor_.start();
    return "the competing utility is running";
  }
  if (state != "off") {
    throw VirtualMacError("The competing utility is either “on” or “off”.");
  }
  if (!competitor_.isRunning()) {
    throw VirtualMacError("The competing utility is not running.");
  }
  competitor_.end();
  return "the competing utility has ended";
}

std::string MachineCommands::workload(const std::string& name) {
  machine_.setWorkload(name);
  return fmt::format("workload: {}", name);
}

}  // namespace halcyra
