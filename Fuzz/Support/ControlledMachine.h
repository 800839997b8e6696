#pragma once

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Linux/RuntimeLayout.h"
#include "Programs/VirtualMac/Competitor.h"
#include "Programs/VirtualMac/ControlServer.h"
#include "Programs/VirtualMac/Machine.h"
#include "Programs/VirtualMac/MachineCommands.h"
#include "Programs/VirtualMac/Reactor.h"
#include "Programs/VirtualMac/SMCServer.h"
#include "Programs/VirtualMac/SleepManager.h"
#include "Support/TemporaryFolder.h"

namespace halcyra::fuzz {

/// The simulated machine with its real control socket, in a folder and a thread of its own, without a bus. Commands
/// that would start a program or open a file of the host are refused.
class ControlledMachine {
 public:
  /// What commands change.
  struct Settings {
    std::vector<std::string> faults;
    std::string workload;
    bool isAsleep = false;
    bool hasCompetitor = false;

    bool operator==(const Settings&) const = default;
  };

  ControlledMachine();
  ~ControlledMachine();
  ControlledMachine(const ControlledMachine&) = delete;
  ControlledMachine& operator=(const ControlledMachine&) = delete;

  /// Sends `text` in two pieces over a connection of its own, and returns the answer.
  ControlAnswer exchange(const std::string& text);
  /// Sends `text` and closes the connection.
  void sendAndLeave(const std::string& text);
  /// As they were after the last command.
  Settings settings();
  /// Asks the machine for its state, which is a command, and compares.
  void checkShow();
  /// The commands that got through.
  std::vector<std::vector<std::string>> commands();

 private:
  void perform(const std::vector<std::string>& arguments, const std::function<void(ControlAnswer)>& answer);
  void noteSettings();
  int connect() const;

  test::TemporaryFolder folder_;
  RuntimeLayout layout_;
  Reactor reactor_;
  Machine machine_;
  SMCServer smc_;
  Competitor competitor_;
  SleepManager sleep_;
  MachineCommands commandSet_;
  ControlServer control_;

  std::mutex mutex_;
  Settings settings_;
  std::vector<std::vector<std::string>> commands_;
  std::thread loop_;
};

}  // namespace halcyra::fuzz
