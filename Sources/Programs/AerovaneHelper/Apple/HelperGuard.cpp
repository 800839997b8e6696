#include "Programs/AerovaneHelper/Apple/HelperGuard.h"

#include <array>
#include <cerrno>
#include <crt_externs.h>
#include <cstdint>
#include <fcntl.h>
#include <mach-o/dyld.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "fmt/format.h"

#include "Platform/POSIX/LifeLine.h"

namespace halcyra {

namespace {

std::string ownProgram() {
  std::uint32_t size = 0;
  _NSGetExecutablePath(nullptr, &size);
  std::string path(size, '\0');
  if (_NSGetExecutablePath(path.data(), &size) != 0) return {};
  path.resize(path.find('\0'));
  return path;
}

/// Starts this program with one argument and `input` as its standard input: its process, or an error number. It gets no
/// other descriptor, and a process group of its own: the service manager ends that of the helper with the helper.
int spawnSelf(const char* argument, int input, pid_t& process) {
  posix_spawn_file_actions_t files;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&files);
  posix_spawnattr_init(&attributes);
  posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
  posix_spawn_file_actions_addinherit_np(&files, STDERR_FILENO);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_CLOEXEC_DEFAULT);
  posix_spawnattr_setpgroup(&attributes, 0);
  std::string program = ownProgram();
  std::string word = argument;
  const std::array<char*, 3> arguments{program.data(), word.data(), nullptr};
  const int error = posix_spawn(&process, program.c_str(), &files, &attributes, arguments.data(), *_NSGetEnviron());
  posix_spawn_file_actions_destroy(&files);
  posix_spawnattr_destroy(&attributes);
  return error;
}

}  // namespace

HelperGuard::HelperGuard(Queue& main, LogSink& log) : logger_(log, "com.norwick.Halcyra.helper", "Guard") {
  start();
  signs_ = main.startTimer(signPeriod, signPeriod, Seconds{0}, [this] { giveSign(); });
}

HelperGuard::~HelperGuard() {
  signs_.reset();
  if (writeEnd_ < 0) return;
  [[maybe_unused]] const auto written = write(writeEnd_, &LifeLine::lastSign, 1);
  drop();
}

void HelperGuard::start() {
  int ends[2];
  if (pipe(ends) != 0) {
    logger_.error(fmt::format("no guard: {}", std::generic_category().message(errno)));
    return;
  }
  for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
  fcntl(ends[1], F_SETFL, O_NONBLOCK);
  const int error = spawnSelf(argument, ends[0], process_);
  close(ends[0]);
  writeEnd_ = ends[1];
  if (error != 0) {
    logger_.error(fmt::format("no guard: {}", std::generic_category().message(error)));
    process_ = -1;
    drop();
  }
}

void HelperGuard::giveSign() {
  if (writeEnd_ >= 0 && write(writeEnd_, &LifeLine::signOfLife, 1) < 0 && errno == EPIPE) {
    logger_.error("the guard is gone; starting another one");
    drop();
  }
  // One that could not be started is tried again.
  if (writeEnd_ < 0) start();
}

void HelperGuard::drop() {
  close(writeEnd_);
  writeEnd_ = -1;
  if (process_ > 0) waitpid(process_, nullptr, WNOHANG);
  process_ = -1;
}

}  // namespace halcyra
