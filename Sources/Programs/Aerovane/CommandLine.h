#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace halcyra {

/// What the user asked for.
struct CommandLine {
  bool console = false;
  bool virtualMac = false;
  std::optional<std::string> runtimeFolder;
  std::string workload = "host";
  std::optional<std::uint64_t> seed;
  std::optional<std::string> preset;
  bool installHelper = false;
  bool approveHelper = false;
  bool supervisedTest = false;
  std::optional<double> seconds;
  bool json = false;
  std::optional<std::string> importPresets;
  std::optional<std::string> exportPresets;
  bool listPresets = false;
  std::optional<std::string> record;
  bool refreshHelperRegistration = false;
  /// "system", "light" or "dark".
  std::string appearance = "system";
  std::optional<std::string> screenshots;

  bool usesLibrary() const { return importPresets || exportPresets || listPresets; }

  /// Prints help or version, or says what is wrong, and ends the process (status 0, or 2 for bad usage).
  static CommandLine parse(int argc, char** argv);
};

}  // namespace halcyra
