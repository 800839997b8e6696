// The smaller parts: layout, files, process list, log.

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "gtest/gtest.h"

#include "Platform/Linux/LinuxFiles.h"
#include "Platform/Linux/LinuxPlatform.h"
#include "Platform/Linux/LinuxSystemInformation.h"
#include "Platform/Linux/LogSinks.h"
#include "Platform/Linux/RuntimeLayout.h"
#include "Platform/Linux/UnixSocket.h"
#include "Platform/POSIX/PromptOutput.h"
#include "Platform/PlatformTestSupport.h"

namespace halcyra::test {
namespace {

TEST(RuntimeLayoutTests, ASimulatedMachineIsInItsFolderAndThePathHasToHoldSockets) {
  const RuntimeLayout layout = RuntimeLayout::inFolder("/tmp/a b/../c;d/");
  EXPECT_EQ(layout.folder, "/tmp/c;d");
  EXPECT_EQ(layout.lockFile, "/tmp/c;d/com.norwick.Halcyra.fan-control.lock");
  EXPECT_EQ(layout.busAddress, "unix:path=/tmp/c%3bd/bus");
  EXPECT_TRUE(RuntimeLayout::inFolder("relative").folder->is_absolute());
  EXPECT_EQ(RuntimeLayout::system().lockFile, "/var/run/com.norwick.Halcyra.fan-control.lock");
  // "/control.sock" and the zero at the end have to fit 108 bytes.
  EXPECT_NO_THROW(RuntimeLayout::inFolder("/" + std::string(93, 'x')));
  EXPECT_THROW(RuntimeLayout::inFolder("/" + std::string(94, 'x')), RuntimeLayoutError);
  EXPECT_THROW(RuntimeLayout::inFolder("/tmp/line\nbreak"), RuntimeLayoutError);
  EXPECT_THROW(RuntimeLayout::inFolder(""), RuntimeLayoutError) << "the current folder is nobody's machine";
}

TEST(SystemInformationTests, ProcessesAndTheModel) {
  const TemporaryFolder folder;
  const LinuxSystemInformation system(folder / "hw.model");
  const auto processes = system.listAllProcessIDs();
  EXPECT_EQ(system.processID(), getpid());
  EXPECT_EQ(std::count(processes.begin(), processes.end(), getpid()), 1);
  EXPECT_EQ(system.processPath(getpid()), std::filesystem::read_symlink("/proc/self/exe").string());
  EXPECT_FALSE(system.processPath(-1));
  const auto own = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  EXPECT_TRUE(LinuxSystemInformation(folder / "hw.model", own).processPath(getpid()));
  EXPECT_FALSE(LinuxSystemInformation(folder / "hw.model", folder.path()).processPath(getpid()))
      << "a simulated machine looked at a neighbour";
  // Of another user's process only what it calls itself.
  const pid_t stranger = fork();
  if (stranger == 0) {
    constexpr uid_t nobody = 65534;
    const bool isOther = geteuid() != 0 || setuid(nobody) == 0;
    const auto name = system.processPath(1);
    const bool isHidden = !LinuxSystemInformation::executablePath(1);
    _exit(isOther && isHidden && name && !name->empty() ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(stranger, &status, 0), stranger);
  EXPECT_EQ(status, 0);
  EXPECT_FALSE(system.sysctlString("hw.ncpu"));
  writeContent(folder / "hw.model", "Mac15,11\nmore\n");
  EXPECT_EQ(system.sysctlString("hw.model"), "Mac15,11");
}

TEST(LogSinkTests, ALineIsOneLine) {
  EXPECT_EQ(StandardErrorLogSink::line({"s", "Setup", LogLevel::error, "two\nlines\x1B[31m °C"}),
            "error [Setup] two lines [31m °C\n");
  testing::internal::CaptureStderr();
  StandardErrorLogSink sink(LogLevel::standard);
  sink.write({"s", "c", LogLevel::info, "dropped"});
  sink.write({"s", "c", LogLevel::standard, "kept"});
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "notice [c] kept\n");
}

/// The two ends of something that a process may have as its standard error.
std::pair<int, int> ends(const std::string& kind) {
  std::array<int, 2> both{};
  if (kind == "terminal") {
    both[0] = posix_openpt(O_RDWR | O_NOCTTY);
    EXPECT_EQ(grantpt(both[0]), 0);
    EXPECT_EQ(unlockpt(both[0]), 0);
    both[1] = open(ptsname(both[0]), O_RDWR | O_NOCTTY);
  } else {
    EXPECT_EQ(kind == "pipe" ? pipe(both.data()) : socketpair(AF_UNIX, SOCK_STREAM, 0, both.data()), 0);
  }
  return {both[0], both[1]};
}

std::string takeAll(int readEnd) {
  fcntl(readEnd, F_SETFL, O_NONBLOCK);
  std::string text;
  std::array<char, 4096> buffer{};
  for (ssize_t count = 0; (count = read(readEnd, buffer.data(), buffer.size())) > 0;) {
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return text;
}

TEST(PromptOutputTests, WhatHasNoRoomIsDroppedCountedAndSaidLater) {
  std::signal(SIGPIPE, SIG_IGN);
  for (const char* kind : {"pipe", "socket", "terminal"}) {
    SCOPED_TRACE(kind);
    const auto [readEnd, writeEnd] = ends(kind);
    PromptOutput output(writeEnd, true);
    // Lines of 100 bytes until one waits in vain; then one more.
    const std::string line = std::string(99, 'x') + '\n';
    for (int lines = 0; output.write(line) == PromptOutput::Result::written; ++lines) ASSERT_LT(lines, 1'000'000);
    EXPECT_EQ(output.write(line), PromptOutput::Result::dropped);
    EXPECT_EQ(fcntl(writeEnd, F_GETFL) & O_NONBLOCK, 0) << "a flag that others share was changed";
    EXPECT_GT(takeAll(readEnd).size(), 3000U);
    EXPECT_EQ(output.write("after\n"), PromptOutput::Result::written);
    const std::string rest = takeAll(readEnd);
    EXPECT_NE(rest.find("2 messages could not be written"), std::string::npos) << rest;
    EXPECT_NE(rest.find("after"), std::string::npos) << rest;
    close(readEnd);
    EXPECT_EQ(output.write(line), PromptOutput::Result::failed);
    close(writeEnd);
  }
  const int full = open("/dev/full", O_WRONLY);
  PromptOutput output(full, true);
  EXPECT_EQ(output.write("x\n"), PromptOutput::Result::failed);
  EXPECT_EQ(output.error(), ENOSPC);
  close(full);
}

TEST(LogSinkTests, TheJournalGetsFieldsAndALostJournalLosesNothing) {
  const TemporaryFolder folder;
  const auto path = folder / "journal";
  const int journal = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const auto address = unixSocketAddress(path);
  ASSERT_EQ(bind(journal, reinterpret_cast<const sockaddr*>(&*address), sizeof *address), 0);
  JournalLogSink sink(LogLevel::info, path.string());
  sink.write({"com.norwick.Halcyra", "Setup", LogLevel::error, "a\nb"});
  std::array<char, 1000> buffer{};
  const ssize_t size = recv(journal, buffer.data(), buffer.size(), MSG_DONTWAIT);
  ASSERT_GT(size, 0);
  EXPECT_EQ(std::string(buffer.data(), static_cast<std::size_t>(size)),
            "PRIORITY=3\nSYSLOG_IDENTIFIER=aerovane\nSUBSYSTEM=com.norwick.Halcyra\nCATEGORY=Setup\nMESSAGE\n" +
                std::string("\x03\0\0\0\0\0\0\0", 8) + "a\nb\n");
  close(journal);
  std::filesystem::remove(path);
  testing::internal::CaptureStderr();
  sink.write({"s", "c", LogLevel::error, "not lost"});
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "error [c] not lost\n");
}

class LinuxPlatformTests : public testing::Test {
 protected:
  LinuxPlatformTests() {
    options_.layout = RuntimeLayout::inFolder(folder_ / "machine");
    options_.defaultsFile = folder_ / "defaults.json";
    options_.log = LogDestination::none;
  }

  TemporaryFolder folder_;
  LinuxPlatformOptions options_;
};

/// Uses the platform to its last moment, as an application does that a reply keeps alive.
struct LastUser {
  Platform& platform;
  bool& ended;
  ~LastUser() {
    platform.power.observe(nullptr, nullptr);
    platform.userDefaults.setBoolean("ended", true);
    platform.log.write({"s", "c", LogLevel::info, "ended"});
    ended = true;
  }
};

TEST_F(LinuxPlatformTests, WhatRepliesAndWaitingWorkKeepAliveEndsBeforeThePlatform) {
  bool endedByWork = false;
  bool endedByReply = false;
  {
    LinuxPlatform linux(options_);
    Platform& platform = linux.platform();
    auto waiting = std::shared_ptr<LastUser>(new LastUser{platform, endedByWork});
    platform.dispatch.mainQueue().async([waiting = std::move(waiting)] { ADD_FAILURE() << "nobody runs this"; });
    auto replying = std::shared_ptr<LastUser>(new LastUser{platform, endedByReply});
    const auto connection = platform.helper.connect();
    connection->resume();
    connection->status([replying = std::move(replying)](const PropertyList&, const std::optional<Error>&) {});
  }
  EXPECT_TRUE(endedByWork);
  EXPECT_TRUE(endedByReply);
  EXPECT_NE(contentOf(folder_ / "defaults.json").find("ended"), std::string::npos);
}

TEST_F(LinuxPlatformTests, SettingsLiveInTheConfigurationFolderOfTheEnvironment) {
  const char* const earlier = getenv("XDG_CONFIG_HOME");
  const std::optional<std::string> kept = earlier == nullptr ? std::nullopt : std::optional<std::string>(earlier);
  setenv("XDG_CONFIG_HOME", "/x/config", 1);
  const RuntimeLayout real = RuntimeLayout::system();
  EXPECT_EQ(defaultsFilePath(real), "/x/config/aerovane/defaults.json");
  EXPECT_EQ(defaultsFilePath(options_.layout), "/x/config/aerovane/simulated-defaults.json");
  setenv("XDG_CONFIG_HOME", "relative", 1);
  EXPECT_TRUE(defaultsFilePath(real).is_absolute());
  EXPECT_EQ(defaultsFilePath(real).parent_path().parent_path().filename(), ".config");
  kept ? setenv("XDG_CONFIG_HOME", kept->c_str(), 1) : unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
}  // namespace halcyra::test
