#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Programs/VirtualMac/Competitor.h"
#include "Programs/VirtualMac/ControlServer.h"
#include "Programs/VirtualMac/Machine.h"
#include "Programs/VirtualMac/SMCServer.h"
#include "Programs/VirtualMac/SleepManager.h"

namespace halcyra {

/// The commands that a running machine takes.
class MachineCommands {
 public:
  MachineCommands(Machine& machine, SMCServer& smc, SleepManager& sleep, Competitor& competitor)
      : machine_(machine), smc_(smc), sleep_(sleep), competitor_(competitor) {}

  /// Throws what goes wrong, with a text for the user.
  void perform(const std::vector<std::string>& arguments, const std::function<void(ControlAnswer)>& answer);

 private:
  std::string show();
  std::string fault(const std::string& command);
  void sleep(const std::function<void(ControlAnswer)>& answer);
  std::string competitor(const std::string& state);
  std::string workload(const std::string& name);

  Machine& machine_;
  SMCServer& smc_;
  SleepManager& sleep_;
  Competitor& competitor_;
};

}  // namespace halcyra
