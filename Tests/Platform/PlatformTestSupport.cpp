#include "Platform/PlatformTestSupport.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace halcyra::test {

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void writeContent(const std::filesystem::path& path, const std::string& content) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

std::vector<std::string> namesIn(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

void CapturedLog::write(const LogRecord& record) {
  CapturingLogSink::write(record);
  const std::lock_guard lock(mutex_);
  changed_.notify_all();
}

bool CapturedLog::awaitText(const std::string& text) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, patience, [&] { return contains(text); });
}

PrivateBus::PrivateBus(const std::filesystem::path& folder) : folder_(folder) {
  std::filesystem::create_directories(servicesFolder());
  writeContent(folder_ / "bus.conf",
               "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
               " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
               "<busconfig><listen>" +
                   address() + "</listen><auth>EXTERNAL</auth><servicedir>" + servicesFolder().string() +
                   "</servicedir><policy context=\"default\"><allow send_destination=\"*\"/>"
                   "<allow receive_sender=\"*\"/><allow own=\"*\"/><allow user=\"*\"/></policy></busconfig>\n");
  start();
}

PrivateBus::~PrivateBus() {
  kill();
}

void PrivateBus::start() {
  std::array<int, 2> pipe{};
  if (pipe2(pipe.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  const std::string configuration = "--config-file=" + (folder_ / "bus.conf").string();
  process_ = fork();
  if (process_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(pipe[1], STDOUT_FILENO);
    execlp("dbus-daemon", "dbus-daemon", configuration.c_str(), "--nofork", "--nopidfile", "--syslog-only",
           "--print-address=1", nullptr);
    _exit(127);
  }
  close(pipe[1]);
  char byte = 0;
  const bool listening = read(pipe[0], &byte, 1) == 1;
  close(pipe[0]);
  if (!listening) throw std::runtime_error("dbus-daemon did not start");
}

void PrivateBus::kill() {
  if (process_ > 0) {
    ::kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = -1;
  }
}

}  // namespace halcyra::test
