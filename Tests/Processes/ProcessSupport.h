#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "nlohmann/json.hpp"

#include "Support/TemporaryFolder.h"

namespace halcyra::test {

using Json = nlohmann::json;
using RealSeconds = std::chrono::duration<double>;

/// How long anything in these tests may take before it counts as failed. Generous: nothing waits for it in vain.
inline constexpr RealSeconds patience{60};

/// The ordinary user of the tests that change users.
inline constexpr uid_t nobody = 65534;

/// The path of a program of the build.
std::string program(const std::string& name);

/// A preset of the user's own, as settings and preset files hold it: 3100 RPM.
Json steadyPreset(const std::string& name);

/// Makes the folder where there is none.
void writeFile(const std::filesystem::path& path, const std::string& text);
/// Empty where there is no file.
std::string readFile(const std::filesystem::path& path);

/// A program of the build with its standard output and error captured. Killed, by its id, when it still runs at the
/// end.
class ChildProcess {
 public:
  using Environment = std::vector<std::pair<std::string, std::string>>;
  /// Of both outputs. `stalled`: full from the start, and nobody ever reads.
  enum class Reader { reading, stalled };

  /// `userID`: run as this user.
  ChildProcess(const std::string& program, std::vector<std::string> arguments, const Environment& environment = {},
               std::optional<uid_t> userID = std::nullopt, Reader reader = Reader::reading);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t pid() const { return pid_; }
  void signal(int number) const;
  /// The next line of standard output, or nothing when there is none within `limit` or the output has ended.
  std::optional<std::string> readLine(RealSeconds limit = patience);
  /// Goes away as a reader of standard output.
  void closeOutput();
  /// Waits for the end: the exit status, or minus the number of the signal that ended it. Reads all output.
  int wait(RealSeconds limit = patience);
  /// What came on standard error so far.
  std::string errors();

 private:
  /// Reads what is there, waiting for it up to `limit`; false when both outputs have ended or time is up.
  bool pump(RealSeconds limit);

  pid_t pid_ = -1;
  int output_ = -1;
  int error_ = -1;
  Reader reader_ = Reader::reading;
  std::string outputText_;
  std::string errorText_;
  std::optional<int> status_;
};

/// A simulated Mac in a folder of its own.
class MachineProcess {
 public:
  explicit MachineProcess(const std::string& workload = "bursts",
                          ChildProcess::Reader reader = ChildProcess::Reader::reading);

  /// The firmware's own truth.
  Json show();
  std::vector<int> modes();
  /// Runs `virtual-mac ctl` with these arguments; its exit status.
  int control(const std::vector<std::string>& arguments);
  /// Kills the machine, and waits until it is gone.
  void kill();
  void restart();
  ChildProcess& process() { return *process_; }
  std::filesystem::path folder() const { return folder_.path() / "machine"; }
  std::filesystem::path configuration() const { return folder_.path() / "configuration"; }
  /// The settings of simulated machines there.
  std::filesystem::path settings() const { return configuration() / "aerovane/simulated-defaults.json"; }
  /// The ids of the processes that run this program for this machine.
  std::vector<pid_t> processesOf(const std::string& program) const;

 private:
  TemporaryFolder folder_;
  std::string workload_;
  ChildProcess::Reader reader_;
  std::unique_ptr<ChildProcess> process_;
};

/// The console application on a machine, with a set-up helper and a configuration folder of its own.
std::unique_ptr<ChildProcess> startApplication(const MachineProcess& machine, std::vector<std::string> arguments,
                                               ChildProcess::Reader reader = ChildProcess::Reader::reading);

/// Reads JSON lines until one satisfies `accept`, and returns it; null when none did in time.
Json readUntil(ChildProcess& application, const std::function<bool(const Json&)>& accept, RealSeconds limit = patience);

bool bothManual(const Json& line);

/// Looks again and again (every 20 ms) until `done` holds; how long it took, or nothing when it never did.
std::optional<RealSeconds> waitUntil(const std::function<bool()>& done, RealSeconds limit = patience);

}  // namespace halcyra::test
