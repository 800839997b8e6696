#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Platform/SystemInformation.h"

namespace halcyra {

/// Processes from `/proc`; "hw.model" from a machine's own file, else from the firmware's product name.
class LinuxSystemInformation : public SystemInformation {
 public:
  /// `machineFolder`: of a simulated machine, which knows the processes only whose programs lie in it.
  explicit LinuxSystemInformation(std::filesystem::path hardwareModelFile,
                                  std::optional<std::filesystem::path> machineFolder = std::nullopt);

  std::optional<std::string> sysctlString(const std::string& name) const override;
  std::vector<std::int32_t> listAllProcessIDs() const override;
  /// The executable's path, or what the process calls itself: Linux tells an ordinary user no path of another user's
  /// process, and a fan utility's helper is one. Nothing to grant rights by. Of a simulated machine's neighbours none.
  std::optional<std::string> processPath(std::int32_t processID) const override;
  /// The path as it was started: the mark of a file that has been deleted since is taken off.
  static std::optional<std::string> executablePath(std::int32_t processID);
  std::int32_t processID() const override;

 private:
  bool belongsToMachine(const std::string& path) const;

  std::filesystem::path hardwareModelFile_;
  /// Each with a slash at its end; empty on a real machine.
  std::vector<std::string> machineFolders_;
};

}  // namespace halcyra
