// The control socket of the simulated machine: lines of JSON from anybody who may open it.

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "nlohmann/json.hpp"

#include "FuzzTargets.h"
#include "Support/ControlledMachine.h"
#include "Support/Expect.h"
#include "Support/Input.h"
#include "VirtualMac/Fault.h"

namespace halcyra::fuzz {
namespace {

constexpr std::size_t mostLines = 10;

/// The arguments that a line stands for, as the socket's contract has it; nothing when it is no command.
std::optional<std::vector<std::string>> argumentsOf(const std::string& line) {
  const auto record = nlohmann::json::parse(line, nullptr, false);
  if (!record.is_object() || !record.contains("arguments") || !record["arguments"].is_array()) {
    return std::nullopt;
  }
  std::vector<std::string> arguments;
  for (const auto& argument : record["arguments"]) {
    if (!argument.is_string()) return std::nullopt;
    arguments.push_back(argument);
  }
  return arguments;
}

/// "!fault nan TC0P" for {"arguments": ["fault", "nan", "TC0P"]}: an input that mostly is commands finds more.
std::string expanded(std::string_view line) {
  if (!line.starts_with('!')) {
    return std::string(line);
  }
  line.remove_prefix(1);
  nlohmann::json arguments = nlohmann::json::array();
  while (!line.empty()) {
    arguments.push_back(takeWord(line));
  }
  const nlohmann::json record = {{"arguments", std::move(arguments)}};
  return record.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
}

// The faults in force are told by the commands that made them, so the commands must make them again.
void checkFaults(const std::vector<std::string>& commands) {
  FaultSet faults;
  for (const std::string& command : commands) {
    faults.apply(command);
  }
  expect(faults.active() == commands, "the faults in force can be given again");
}

// `settings`: those before the line, then those after it.
void sendLine(ControlledMachine& machine, const std::string& line, ControlledMachine::Settings& settings) {
  const auto arguments = argumentsOf(line);
  const std::size_t commandsBefore = machine.commands().size();
  const ControlAnswer answer = machine.exchange(line + '\n');
  const auto after = machine.settings();
  const auto& commands = machine.commands();
  expect(commands.size() - commandsBefore == (arguments ? 1U : 0U), "a line is at most one command");
  expect(!arguments || commands.back() == *arguments, "a command arrives as it was sent");
  expect(arguments || (answer.status == 1 && answer.text == "This is no command."), "anything else is refused");
  expect(answer.status == 0 || settings == after, "a refused command changes nothing");
  checkFaults(after.faults);
  settings = after;
}

}  // namespace

void fuzzControlSocket(Bytes input) {
  const std::string text = textOf(input);
  const auto lines = linesOf(text);
  ControlledMachine machine;
  auto settings = machine.settings();
  const std::size_t count = std::min(lines.size(), mostLines);
  for (std::size_t i = 0; i < count; ++i) {
    const bool isCut = i + 1 == lines.size() && !text.ends_with('\n');
    if (isCut) {
      machine.sendAndLeave(expanded(lines[i]));
    } else {
      sendLine(machine, expanded(lines[i]), settings);
    }
  }
  const std::size_t commands = machine.commands().size();
  machine.checkShow();
  expect(machine.commands().size() == commands + 1, "a line that does not end is no command");
}

}  // namespace halcyra::fuzz
