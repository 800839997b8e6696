#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <sys/types.h>

namespace halcyra {

/// The simulated machine did not understand what it was given, and has said so itself.
class BadMachineOptions : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A simulated Mac of this process's own: a `virtual-mac` in a temporary folder, ended with this object (and by the
/// kernel should this process be killed).
class VirtualMacProcess {
 public:
  /// Starts the program that stands beside this one and waits until it is ready. Throws `std::runtime_error`.
  VirtualMacProcess(const std::string& workload, std::optional<std::uint64_t> seed);
  ~VirtualMacProcess();
  VirtualMacProcess(const VirtualMacProcess&) = delete;
  VirtualMacProcess& operator=(const VirtualMacProcess&) = delete;

  const std::filesystem::path& runtimeFolder() const { return folder_; }

 private:
  void start(const std::string& workload, std::optional<std::uint64_t> seed);
  void awaitReady(int output) const;
  /// Waits for the end of a machine that did not start.
  bool wasRefused();
  void end() noexcept;

  std::filesystem::path folder_;
  pid_t process_ = -1;
};

/// The folder of this process's own program file.
std::filesystem::path programFolder();

}  // namespace halcyra
