// What neighbours can do: fill pipes, hold connections, share the settings, run a machine of their own.

#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Processes/UnderControl.h"
#include "SMC/SMCError.h"
#include "SMC/SMCKey.h"
#include "SMC/SMCParamStruct.h"

namespace halcyra::test {
namespace {

int connectTo(const std::filesystem::path& path) {
  const int descriptor = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  return connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? descriptor : -1;
}

/// Whether the driver accepts a write of the mode through this connection.
bool writesMode(int smc) {
  SMCParamStruct input;
  input.key = SMCKey::fan0Mode.rawValue;
  input.command = SMCParamStruct::writeBytes;
  input.keyInfoDataSize = 1;
  input.bytes[0] = 1;
  SMCParamStruct output;
  return send(smc, &input, sizeof input, MSG_NOSIGNAL) == sizeof input &&
         recv(smc, &output, sizeof output, 0) == sizeof output && output.result == SMCError::resultSuccess;
}

TEST(NeighbourTests, FullPipesStopNobody) {
  MachineProcess machine("sustained", ChildProcess::Reader::stalled);
  const auto application = startApplication(machine, {"--preset", "Full Blast"}, ChildProcess::Reader::stalled);
  ASSERT_TRUE(waitUntil([&] { return machine.modes() == manual; }));
  application->signal(SIGTERM);
  EXPECT_EQ(application->wait(), 0);
  EXPECT_EQ(machine.modes(), automatic);
  const auto again = startApplication(machine, {"--preset", "Full Blast"}, ChildProcess::Reader::stalled);
  ASSERT_TRUE(waitUntil([&] { return machine.modes() == manual; }));
  again->signal(SIGKILL);
  const auto taken = waitUntil([&] { return machine.modes() == automatic; });
  ASSERT_TRUE(taken);
  EXPECT_LE(taken->count(), 2.0);
  machine.process().signal(SIGTERM);
  EXPECT_EQ(machine.process().wait(), 0);
}

TEST(NeighbourTests, AStrangerNeitherWritesNorKeepsTheHelperFromTheDriver) {
  ASSERT_EQ(geteuid(), 0U) << "this test changes users and must run as root";
  MachineProcess machine("idle");
  int told[2];
  ASSERT_EQ(pipe2(told, O_CLOEXEC), 0);
  const pid_t stranger = fork();
  if (stranger == 0) {
    if (setgid(nobody) != 0 || setuid(nobody) != 0) _exit(3);
    char wrote = 0;
    for (int i = 0; i < 300; ++i) {
      const int smc = connectTo(machine.folder() / "smc.sock");
      if (smc >= 0 && writesMode(smc)) wrote = 1;
    }
    [[maybe_unused]] const ssize_t written = write(told[1], &wrote, 1);
    pause();
  }
  char wrote = 1;
  EXPECT_EQ(read(told[0], &wrote, 1), 1);
  EXPECT_EQ(wrote, 0);
  ChildProcess release(program("aerovane-helper"), {"--runtime-dir", machine.folder().string(), "--release-all"});
  EXPECT_EQ(release.wait(), 0) << release.errors();
  EXPECT_EQ(release.readLine(), "Fan 0: automatic");
  ::kill(stranger, SIGKILL);
  waitpid(stranger, nullptr, 0);
  for (const int end : told) close(end);

  const auto fifo = machine.configuration() / "trace.csv";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0666), 0);
  ChildProcess trace(program("virtual-mac"),
                     {"ctl", "--runtime-dir", machine.folder().string(), "workload", fifo.string()});
  EXPECT_EQ(trace.wait(), 1);
  EXPECT_NE(trace.errors().find("It is not a regular file."), std::string::npos) << trace.errors();
  EXPECT_EQ(machine.modes(), automatic);
}

class SharedSettingsTests : public testing::Test {
 protected:
  std::unique_ptr<ChildProcess> start(const std::vector<std::string>& arguments) const {
    return std::make_unique<ChildProcess>(
        program("aerovane"), arguments,
        ChildProcess::Environment{{"XDG_CONFIG_HOME", home.path().string()}, {"HOME", home.path().string()}});
  }
  std::filesystem::path file(const std::string& name) const { return home.path() / name; }

  TemporaryFolder home;
};

TEST_F(SharedSettingsTests, ImportsThatRunAtOnceAreAllThere) {
  constexpr int imports = 8;
  writeFile(file("in.json"), Json{{"version", 1}, {"presets", Json::array({steadyPreset("Stéady\x1B[2J")})}}.dump());
  std::vector<std::unique_ptr<ChildProcess>> processes;
  for (int i = 0; i < imports; ++i) {
    processes.push_back(start({"--import-presets", file("in.json").string()}));
  }
  for (const auto& process : processes) EXPECT_EQ(process->wait(), 0) << process->errors();
  const auto listed = start({"--list-presets"});
  std::vector<std::string> names;
  while (const auto line = listed->readLine()) names.push_back(*line);
  EXPECT_EQ(std::count(names.begin(), names.end(), "Stéady [2J"), imports);
  EXPECT_EQ(names.size(), 5U + imports);
}

TEST_F(SharedSettingsTests, WhatCannotBeReadOrStoredIsSaid) {
  writeFile(file("in.json"), Json{{"version", 1}, {"presets", Json::array({steadyPreset("Steady")})}}.dump());
  std::string objects = "[{\"a\":1}";
  while (objects.size() < 8'000'000) objects += ",{\"a\":1}";
  writeFile(file("large.json"), objects + "]");
  writeFile(
      file("many.json"), "[0" + [] {
        std::string text;
        while (text.size() < 10'000'000) text += ",0";
        return text;
      }() + "]");
  writeFile(file("deep.json"), std::string(50'000'000, '['));
  writeFile(file("aerovane"), "in the way of the settings folder");
  const std::pair<const char*, const char*> rows[] = {
      {"large.json", "Import failed: The document is not an object."},
      {"many.json", "Import failed: The data holds more than 4000000 values."},
      {"deep.json", "Import failed: The data is nested more than"},
      {"in.json", "Import failed: settings are kept in memory only"},
  };
  for (const auto& [name, message] : rows) {
    const auto process = start({"--import-presets", file(name).string()});
    EXPECT_EQ(process->wait(), 1) << name;
    EXPECT_EQ(process->readLine(), std::nullopt) << name;
    EXPECT_NE(process->errors().find(message), std::string::npos) << process->errors();
  }
}

}  // namespace
}  // namespace halcyra::test
