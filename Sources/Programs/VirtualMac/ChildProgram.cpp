#include "Programs/VirtualMac/ChildProgram.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "fmt/format.h"

namespace halcyra {

namespace {

/// In the child, between fork and exec: only what is safe there.
[[noreturn]] void becomeProgram(char* const* arguments, int inherited, int failure, pid_t parent) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  sigset_t none;
  sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  for (const int signal : {SIGINT, SIGTERM, SIGCHLD, SIGPIPE, SIGHUP}) {
    ::signal(signal, SIG_DFL);
  }
  // A group of its own: an interrupt from the terminal is for this program alone.
  ::setpgid(0, 0);
  const int nothing = ::open("/dev/null", O_RDONLY);
  ::dup2(nothing, STDIN_FILENO);
  ::dup2(STDERR_FILENO, STDOUT_FILENO);
  if (inherited >= 0) {
    ::fcntl(inherited, F_SETFD, 0);
  }
  if (::getppid() == parent) {
    ::execvp(arguments[0], arguments);
  }
  const int error = errno;
  [[maybe_unused]] const ssize_t written = ::write(failure, &error, sizeof error);
  ::_exit(127);
}

}  // namespace

ChildProgram::~ChildProgram() {
  end(Seconds{2.0});
}

void ChildProgram::start(const std::string& program, std::vector<std::string> arguments, int inherited) {
  arguments.insert(arguments.begin(), program);
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) {
    pointers.push_back(argument.data());
  }
  pointers.push_back(nullptr);
  std::array<int, 2> failure{};
  if (::pipe2(failure.data(), O_CLOEXEC) != 0) {
    throw VirtualMacError(
        fmt::format("“{}” could not be started: {}", program, std::generic_category().message(errno)));
  }
  const pid_t parent = ::getpid();
  exitStatus_ = -1;
  processID_ = ::fork();
  if (processID_ == 0) {
    becomeProgram(pointers.data(), inherited, failure[1], parent);
  }
  int error = errno;
  ::close(failure[1]);
  const bool failed = processID_ < 0 || ::read(failure[0], &error, sizeof error) == sizeof error;
  ::close(failure[0]);
  if (failed) {
    end(Seconds::zero());
    throw VirtualMacError(
        fmt::format("“{}” could not be started: {}", program, std::generic_category().message(error)));
  }
}

bool ChildProgram::isRunning() {
  int status = 0;
  if (processID_ > 0 && ::waitpid(processID_, &status, WNOHANG) == processID_) {
    processID_ = -1;
    exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  return processID_ > 0;
}

void ChildProgram::end(Seconds grace) {
  if (!isRunning()) {
    return;
  }
  ::kill(processID_, SIGTERM);
  const auto deadline = std::chrono::steady_clock::now() + grace;
  while (isRunning()) {
    if (std::chrono::steady_clock::now() >= deadline) {
      ::kill(processID_, SIGKILL);
      while (::waitpid(processID_, nullptr, 0) < 0 && errno == EINTR) {
      }
      processID_ = -1;
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

}  // namespace halcyra
