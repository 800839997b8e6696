#pragma once

#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

namespace halcyra::benchmarks {

/// Seconds between two polls, as the application starts with it.
inline constexpr double pollingInterval = 2.0;

/// A `virtual-mac` process in a temporary folder, for as long as this object lives.
class MachineUnderTest {
 public:
  MachineUnderTest();
  ~MachineUnderTest();
  MachineUnderTest(const MachineUnderTest&) = delete;
  MachineUnderTest& operator=(const MachineUnderTest&) = delete;

  const std::filesystem::path& folder() const { return folder_; }

 private:
  std::filesystem::path folder_;
  pid_t process_ = -1;
};

/// Starts a program of the build with its standard output and error in a file: its process id.
pid_t startProgram(const std::string& name, const std::vector<std::string>& arguments,
                   const std::filesystem::path& output);

/// Ends a process that `startProgram` started, by SIGTERM, and waits for it.
void endProgram(pid_t process);

/// Waits for the end of a process that ends by itself.
void waitForProgram(pid_t process);

/// A file's content; empty when it cannot be read.
std::string contents(const std::filesystem::path& path);

/// User and system time that a process has used, in seconds.
double processorTime(pid_t process);

/// The process's proportional set size in MB.
double proportionalSetSize(pid_t process);

/// The ids of the processes of this program that name `argument` on their command line.
std::vector<pid_t> processesOf(const std::string& program, const std::string& argument);

}  // namespace halcyra::benchmarks
