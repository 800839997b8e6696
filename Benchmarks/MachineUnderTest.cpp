#include "MachineUnderTest.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <signal.h>
#include <sstream>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace halcyra::benchmarks {

std::string contents(const std::filesystem::path& path) try {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
} catch (const std::ios_base::failure&) {
  // A process may end while it is looked at.
  return {};
}

pid_t startProgram(const std::string& name, const std::vector<std::string>& arguments,
                   const std::filesystem::path& output) {
  std::vector<std::string> all = {std::string(AEROVANE_BIN) + "/" + name};
  all.insert(all.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& argument : all) argv.push_back(argument.data());
  argv.push_back(nullptr);
  const pid_t process = fork();
  if (process == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(file, STDOUT_FILENO);
    dup2(file, STDERR_FILENO);
    execv(argv[0], argv.data());
    _exit(127);
  }
  return process;
}

void endProgram(pid_t process) {
  kill(process, SIGTERM);
  waitForProgram(process);
}

void waitForProgram(pid_t process) {
  while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
  }
}

double processorTime(pid_t process) {
  const std::string line = contents(std::filesystem::path("/proc") / std::to_string(process) / "stat");
  std::istringstream fields(line.substr(line.rfind(')') + 2));
  std::string skipped;
  for (int i = 0; i < 11; ++i) fields >> skipped;
  double user = 0;
  double system = 0;
  fields >> user >> system;
  return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

double proportionalSetSize(pid_t process) {
  std::istringstream lines(contents(std::filesystem::path("/proc") / std::to_string(process) / "smaps_rollup"));
  std::string line;
  while (std::getline(lines, line)) {
    if (line.rfind("Pss:", 0) == 0) return std::stod(line.substr(4)) / 1024.0;
  }
  return 0;
}

std::vector<pid_t> processesOf(const std::string& program, const std::string& argument) {
  std::vector<pid_t> result;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string id = entry.path().filename().string();
    if (id.find_first_not_of("0123456789") != std::string::npos) continue;
    const std::string line = contents(entry.path() / "cmdline");
    const std::string first = line.substr(0, line.find('\0'));
    if (std::filesystem::path(first).filename() == program && line.find(argument) != std::string::npos) {
      result.push_back(static_cast<pid_t>(std::stol(id)));
    }
  }
  return result;
}

MachineUnderTest::MachineUnderTest() {
  std::string pattern = (std::filesystem::temp_directory_path() / "aerovane-bench-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
  folder_ = pattern;
  const auto output = folder_ / "output";
  process_ = startProgram(
      "virtual-mac", {"--runtime-dir", (folder_ / "machine").string(), "--workload", "bursts", "--seed", "1"}, output);
  while (contents(output).find("ready") == std::string::npos) {
    if (waitpid(process_, nullptr, WNOHANG) == process_) throw std::runtime_error("virtual-mac did not start");
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  folder_ /= "machine";
}

MachineUnderTest::~MachineUnderTest() {
  endProgram(process_);
  std::error_code ignored;
  std::filesystem::remove_all(folder_.parent_path(), ignored);
}

}  // namespace halcyra::benchmarks
