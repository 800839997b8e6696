#include "Programs/Aerovane/VirtualMacProcess.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdexcept>
#include <string_view>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "fmt/format.h"

namespace halcyra {

namespace {

constexpr int readyTimeoutMilliseconds = 20'000;
constexpr std::string_view readyText = "ready";

std::filesystem::path makeTemporaryFolder() {
  std::string path = (std::filesystem::temp_directory_path() / "aerovane-XXXXXX").string();
  if (mkdtemp(path.data()) == nullptr) {
    throw std::runtime_error(fmt::format("No temporary folder for the simulated Mac: {}", std::strerror(errno)));
  }
  return path;
}

}  // namespace

std::filesystem::path programFolder() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

VirtualMacProcess::VirtualMacProcess(const std::string& workload, std::optional<std::uint64_t> seed)
    : folder_(makeTemporaryFolder()) {
  try {
    start(workload, seed);
  } catch (...) {
    end();
    throw;
  }
}

VirtualMacProcess::~VirtualMacProcess() {
  end();
}

void VirtualMacProcess::start(const std::string& workload, std::optional<std::uint64_t> seed) {
  const std::string program = (programFolder() / "virtual-mac").string();
  std::vector<std::string> arguments = {program, "--runtime-dir", folder_.string(), "--workload", workload};
  if (seed) {
    arguments.insert(arguments.end(), {"--seed", std::to_string(*seed)});
  }
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) {
    argv.push_back(argument.data());
  }
  argv.push_back(nullptr);

  std::array<int, 2> pipe{};
  if (pipe2(pipe.data(), O_CLOEXEC) != 0) {
    throw std::runtime_error(fmt::format("The simulated Mac could not be started: {}", std::strerror(errno)));
  }
  const pid_t parent = getpid();
  process_ = fork();
  if (process_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    // A group of its own: Ctrl-C at the terminal must reach the application first, which hands the fans back.
    setpgid(0, 0);
    if (getppid() != parent || dup2(pipe[1], STDOUT_FILENO) < 0) _exit(127);
    execv(argv[0], argv.data());
    _exit(127);
  }
  close(pipe[1]);
  if (process_ < 0) {
    close(pipe[0]);
    throw std::runtime_error(fmt::format("The simulated Mac could not be started: {}", std::strerror(errno)));
  }
  try {
    awaitReady(pipe[0]);
  } catch (...) {
    close(pipe[0]);
    if (wasRefused()) throw BadMachineOptions("The simulated Mac did not start (see its message above)");
    throw;
  }
  close(pipe[0]);
}

void VirtualMacProcess::awaitReady(int output) const {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(readyTimeoutMilliseconds);
  std::string text;
  while (text.find(readyText) == std::string::npos) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
    pollfd waiting{output, POLLIN, 0};
    const int ready = left > 0 ? poll(&waiting, 1, static_cast<int>(left)) : 0;
    if (ready < 0 && errno == EINTR) continue;
    std::array<char, 256> buffer{};
    const ssize_t count = ready > 0 ? read(output, buffer.data(), buffer.size()) : 0;
    if (count <= 0) {
      throw std::runtime_error("The simulated Mac did not start (see its message above)");
    }
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

bool VirtualMacProcess::wasRefused() {
  constexpr int badUsage = 2;
  kill(process_, SIGTERM);
  int status = 0;
  while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  process_ = -1;
  return WIFEXITED(status) && WEXITSTATUS(status) == badUsage;
}

void VirtualMacProcess::end() noexcept {
  if (process_ > 0) {
    kill(process_, SIGTERM);
    while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
  }
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

}  // namespace halcyra
