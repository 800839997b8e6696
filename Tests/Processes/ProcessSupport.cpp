#include "Processes/ProcessSupport.h"

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <poll.h>
#include <signal.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace halcyra::test {

namespace {

using SteadyClock = std::chrono::steady_clock;

void fill(int writeEnd) {
  const int flags = fcntl(writeEnd, F_GETFL);
  fcntl(writeEnd, F_SETFL, flags | O_NONBLOCK);
  const std::string text(65536, 'x');
  for (std::size_t size = text.size(); size > 0; size /= 2) {
    while (write(writeEnd, text.data(), size) > 0) {
    }
  }
  fcntl(writeEnd, F_SETFL, flags);
}

}  // namespace

std::string program(const std::string& name) {
  return std::string(AEROVANE_BIN) + "/" + name;
}

Json steadyPreset(const std::string& name) {
  return {{"id", "6C1B2F44-7A55-4E0D-9B43-0F2F3B7F1A01"},
          {"name", name},
          {"kind", "custom"},
          {"strategy", "constantRPM"},
          {"lowTemperature", 30},
          {"highTemperature", 50},
          {"constantRPM", 3100},
          {"hysteresis", 1.5},
          {"linkedFans", true}};
}

ChildProcess::ChildProcess(const std::string& path, std::vector<std::string> arguments, const Environment& environment,
                           std::optional<uid_t> userID, Reader reader)
    : reader_(reader) {
  std::array<int, 2> output{};
  std::array<int, 2> error{};
  if (pipe2(output.data(), O_CLOEXEC) != 0 || pipe2(error.data(), O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  if (reader == Reader::stalled) {
    for (const int end : {output[1], error[1]}) fill(end);
  }
  arguments.insert(arguments.begin(), path);
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(output[1], STDOUT_FILENO);
    dup2(error[1], STDERR_FILENO);
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    if (userID && (setgid(*userID) != 0 || setuid(*userID) != 0)) _exit(126);
    execv(argv[0], argv.data());
    _exit(127);
  }
  close(output[1]);
  close(error[1]);
  output_ = output[0];
  error_ = error[0];
}

ChildProcess::~ChildProcess() {
  if (!status_) {
    ::kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  closeOutput();
  close(error_);
}

void ChildProcess::closeOutput() {
  if (output_ >= 0) close(std::exchange(output_, -1));
}

void ChildProcess::signal(int number) const {
  ::kill(pid_, number);
}

bool ChildProcess::pump(RealSeconds limit) {
  if (reader_ == Reader::stalled) {
    std::this_thread::sleep_for(limit);
    return false;
  }
  std::array<pollfd, 2> waiting{{{output_, POLLIN, 0}, {error_, POLLIN, 0}}};
  const auto milliseconds = std::max<long>(0, std::chrono::ceil<std::chrono::milliseconds>(limit).count());
  if (poll(waiting.data(), waiting.size(), static_cast<int>(milliseconds)) <= 0) return false;
  bool any = false;
  for (const pollfd& one : waiting) {
    if (one.revents == 0) continue;
    std::array<char, 4096> buffer{};
    const ssize_t count = read(one.fd, buffer.data(), buffer.size());
    if (count <= 0) continue;
    (one.fd == output_ ? outputText_ : errorText_).append(buffer.data(), static_cast<std::size_t>(count));
    any = true;
  }
  return any;
}

std::optional<std::string> ChildProcess::readLine(RealSeconds limit) {
  const auto deadline = SteadyClock::now() + limit;
  for (;;) {
    if (const auto end = outputText_.find('\n'); end != std::string::npos) {
      std::string line = outputText_.substr(0, end);
      outputText_.erase(0, end + 1);
      return line;
    }
    if (!pump(deadline - SteadyClock::now())) return std::nullopt;
  }
}

int ChildProcess::wait(RealSeconds limit) {
  const auto deadline = SteadyClock::now() + limit;
  while (!status_) {
    int raw = 0;
    if (waitpid(pid_, &raw, WNOHANG) == pid_) {
      status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : -WTERMSIG(raw);
      break;
    }
    if (SteadyClock::now() > deadline) throw std::runtime_error("a process did not end: " + errors());
    pump(RealSeconds(0.02));
    std::this_thread::yield();
  }
  while (pump(RealSeconds(0))) {
  }
  return *status_;
}

std::string ChildProcess::errors() {
  while (pump(RealSeconds(0))) {
  }
  return errorText_;
}

MachineProcess::MachineProcess(const std::string& workload, ChildProcess::Reader reader)
    : workload_(workload), reader_(reader) {
  // Other users take part in some tests.
  std::filesystem::permissions(folder_.path(), std::filesystem::perms(0755));
  std::filesystem::create_directories(configuration());
  restart();
}

void MachineProcess::restart() {
  process_ = std::make_unique<ChildProcess>(
      program("virtual-mac"),
      std::vector<std::string>{"--runtime-dir", folder().string(), "--workload", workload_, "--seed", "7"},
      ChildProcess::Environment{}, std::nullopt, reader_);
  const bool isReady = reader_ == ChildProcess::Reader::stalled
                           ? waitUntil([&] { return control({"show"}) == 0; }).has_value()
                           : process_->readLine().value_or("").find("ready") != std::string::npos;
  if (!isReady) {
    throw std::runtime_error("virtual-mac did not start: " + process_->errors());
  }
}

void MachineProcess::kill() {
  process_->signal(SIGKILL);
  process_->wait();
}

int MachineProcess::control(const std::vector<std::string>& arguments) {
  std::vector<std::string> all = {"ctl", "--runtime-dir", folder().string()};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return ChildProcess(program("virtual-mac"), all).wait();
}

Json MachineProcess::show() {
  ChildProcess control(program("virtual-mac"), {"ctl", "--runtime-dir", folder().string(), "show"});
  std::string text;
  while (const auto line = control.readLine()) text += *line;
  if (control.wait() != 0) throw std::runtime_error("show failed: " + control.errors());
  return Json::parse(text);
}

std::vector<int> MachineProcess::modes() {
  std::vector<int> result;
  const Json state = show();
  for (const Json& fan : state.at("fans")) result.push_back(fan.at("mode").get<int>());
  return result;
}

std::vector<pid_t> MachineProcess::processesOf(const std::string& name) const {
  std::vector<pid_t> result;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string id = entry.path().filename().string();
    if (id.find_first_not_of("0123456789") != std::string::npos) continue;
    const std::string commandLine = readFile(entry.path() / "cmdline");
    const std::string first = commandLine.substr(0, commandLine.find('\0'));
    if (std::filesystem::path(first).filename() == name && commandLine.find(folder().string()) != std::string::npos) {
      result.push_back(static_cast<pid_t>(std::stol(id)));
    }
  }
  return result;
}

std::unique_ptr<ChildProcess> startApplication(const MachineProcess& machine, std::vector<std::string> arguments,
                                               ChildProcess::Reader reader) {
  std::vector<std::string> all = {"--console",        "--json",           "--runtime-dir",    machine.folder().string(),
                                  "--install-helper", "--approve-helper", "--supervised-test"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  const std::string home = machine.configuration().string();
  return std::make_unique<ChildProcess>(program("aerovane"), all,
                                        ChildProcess::Environment{{"XDG_CONFIG_HOME", home}, {"HOME", home}},
                                        std::nullopt, reader);
}

Json readUntil(ChildProcess& application, const std::function<bool(const Json&)>& accept, RealSeconds limit) {
  const auto deadline = SteadyClock::now() + limit;
  while (const auto line = application.readLine(deadline - SteadyClock::now())) {
    Json parsed = Json::parse(*line);
    if (accept(parsed)) return parsed;
  }
  return nullptr;
}

bool bothManual(const Json& line) {
  const Json& fans = line.at("fans");
  return fans.size() == 2 && fans[0].at("mode") == "manual" && fans[1].at("mode") == "manual" &&
         !line.at("busy").get<bool>() && line.at("session").get<bool>();
}

std::optional<RealSeconds> waitUntil(const std::function<bool()>& done, RealSeconds limit) {
  const auto start = SteadyClock::now();
  while (SteadyClock::now() - start < limit) {
    if (done()) return SteadyClock::now() - start;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return std::nullopt;
}

void writeFile(const std::filesystem::path& path, const std::string& text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

// A process may end while it is looked at.
std::string readFile(const std::filesystem::path& path) try {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
} catch (const std::ios_base::failure&) {
  return {};
}

}  // namespace halcyra::test
