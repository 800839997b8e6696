#include "Platform/Linux/AdministratorPrompt.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "fmt/format.h"

#include "Platform/Linux/LinuxServiceManagement.h"

namespace halcyra {

namespace {

constexpr const char* promptProgram = "/usr/bin/pkexec";
/// What `pkexec` itself ends with when the user has closed the dialog, and when nobody may give the permission.
constexpr int dismissedStatus = 126;
constexpr int refusedStatus = 127;

std::string outcome(int status) {
  if (!WIFEXITED(status)) {
    return "the authentication dialog was dismissed";
  }
  switch (WEXITSTATUS(status)) {
    case 0:
      return "an administrator has registered the helper";
    case dismissedStatus:
      return "the helper was not registered: the question was dismissed";
    case refusedStatus:
      return "the helper was not registered: the permission was not given";
    default:
      return fmt::format("the helper was not registered: status {}", WEXITSTATUS(status));
  }
}

}  // namespace

AdministratorPrompt::AdministratorPrompt(std::filesystem::path helperProgram, std::uint32_t userID, LogSink& log)
    : helperProgram_(std::move(helperProgram)), userID_(userID), logger_(log, "com.norwick.Halcyra", "Registration") {}

AdministratorPrompt::~AdministratorPrompt() {
  {
    const std::lock_guard lock(mutex_);
    if (process_ > 0) {
      ::kill(process_, SIGTERM);
    }
  }
  if (waiter_.joinable()) {
    waiter_.join();
  }
}

void AdministratorPrompt::ask() {
  {
    const std::lock_guard lock(mutex_);
    if (process_ > 0) {
      return;
    }
  }
  if (waiter_.joinable()) {
    waiter_.join();
  }
  std::string program = promptProgram;
  std::string helper = helperProgram_.string();
  std::string option = "--register";
  std::string user = std::to_string(userID_);
  std::array<char*, 5> arguments{program.data(), helper.data(), option.data(), user.data(), nullptr};
  pid_t process = -1;
  // Not from a shell: pkexec names the process that it was started by to polkit, which must still be there.
  if (::posix_spawn(&process, promptProgram, nullptr, nullptr, arguments.data(), environ) != 0) {
    throw ServiceManagementError(fmt::format("An administrator registers the helper with: sudo {} --register {}",
                                             helperProgram_.string(), userID_));
  }
  logger_.log("asking an administrator to register the helper");
  const std::lock_guard lock(mutex_);
  process_ = process;
  waiter_ = std::thread([this, process] { awaitAnswer(process); });
}

void AdministratorPrompt::awaitAnswer(pid_t process) {
  siginfo_t ended{};
  // The process id stays taken until it is no longer used to end the process.
  while (::waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
  }
  int status = 0;
  {
    const std::lock_guard lock(mutex_);
    ::waitpid(process, &status, 0);
    process_ = -1;
  }
  logger_.log(outcome(status));
}

}  // namespace halcyra
