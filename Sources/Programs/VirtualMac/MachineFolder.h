#pragma once

#include "Platform/Linux/RuntimeLayout.h"

namespace halcyra {

/// The folder of the machine, held by this process: makes it, refuses it while another machine lives in it, and takes
/// it over from one that died.
class MachineFolder {
 public:
  /// Throws `VirtualMacError`.
  explicit MachineFolder(const RuntimeLayout& layout);
  /// Takes the process's record away.
  ~MachineFolder();
  MachineFolder(const MachineFolder&) = delete;
  MachineFolder& operator=(const MachineFolder&) = delete;

 private:
  std::filesystem::path record_;
  int descriptor_ = -1;
};

}  // namespace halcyra
