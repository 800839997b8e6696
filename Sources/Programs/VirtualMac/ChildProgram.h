#pragma once

#include <stdexcept>
#include <string>
#include <sys/types.h>
#include <vector>

#include "Platform/Time.h"

namespace halcyra {

/// What goes wrong while the simulated machine is set up or commanded; the text is for the user.
class VirtualMacError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A program started by this one: it dies with this process, and is ended, by its id, with this object.
class ChildProgram {
 public:
  ChildProgram() = default;
  ~ChildProgram();
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;

  /// Starts `program` (looked up in PATH when it has no slash) with standard input from nowhere. `inherited`: a
  /// descriptor that it gets as its own number; -1 for none. Main thread only. Throws `VirtualMacError`.
  void start(const std::string& program, std::vector<std::string> arguments, int inherited = -1);
  /// Asks it to end, and kills it after `grace`.
  void end(Seconds grace);
  /// Whether it runs; takes note when it has ended.
  bool isRunning();
  /// Of the one that runs; -1 when none does.
  pid_t processID() const { return processID_; }
  /// Of the last one that has ended by itself; -1 when a signal ended it.
  int exitStatus() const { return exitStatus_; }

 private:
  pid_t processID_ = -1;
  int exitStatus_ = -1;
};

}  // namespace halcyra
