#pragma once

#include <filesystem>

#include "Platform/Linux/RuntimeLayout.h"
#include "Programs/VirtualMac/ChildProgram.h"

namespace halcyra {

/// Another vendor's fan utility, as far as a process list shows it: a real process whose executable's path is one that
/// is looked for, and which does nothing.
class Competitor {
 public:
  explicit Competitor(const RuntimeLayout& layout);
  ~Competitor();
  Competitor(const Competitor&) = delete;
  Competitor& operator=(const Competitor&) = delete;

  /// Throws `VirtualMacError`.
  void start();
  void end();
  bool isRunning() { return process_.isRunning(); }

 private:
  std::filesystem::path program_;
  ChildProgram process_;
};

/// The argument with which this program does nothing until it is ended.
inline constexpr const char* idleArgument = "--stand-in";

}  // namespace halcyra
