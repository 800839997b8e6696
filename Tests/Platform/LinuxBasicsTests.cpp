// The smaller parts: layout, files, process list, log.

#include <algorithm>
#include <array>
#include <cstdlib>
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
}

TEST(LinuxFilesTests, WritingReplacesAsOneStepAndReadingFailsWithTheReason) {
  const TemporaryFolder folder;
  LinuxFiles files;
  const auto path = (folder / "presets.json").string();
  files.writeAtomically(path, "one");
  chmod(path.c_str(), 0600);
  files.writeAtomically(path, std::string("t\0wo", 4));
  EXPECT_EQ(files.read(path), std::string("t\0wo", 4));
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
  EXPECT_EQ(namesIn(folder.path()), std::vector<std::string>{"presets.json"});
  const auto failure = [](const std::function<void()>& work) {
    try {
      work();
    } catch (const FileError& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  EXPECT_EQ(failure([&] { files.read((folder / "none").string()); }),
            "The file “" + (folder / "none").string() + "” couldn’t be opened: No such file or directory.");
  EXPECT_NE(failure([&] { files.writeAtomically(folder.path().string(), "x"); }), "");
  EXPECT_NE(failure([&] { files.writeAtomically((folder / "no/such/folder").string(), "x"); }), "");
  EXPECT_EQ(namesIn(folder.path()), std::vector<std::string>{"presets.json"}) << "a failed write left something";
}

TEST(SystemInformationTests, ProcessesAndTheModel) {
  const TemporaryFolder folder;
  const LinuxSystemInformation system(folder / "hw.model");
  const auto processes = system.listAllProcessIDs();
  EXPECT_EQ(system.processID(), getpid());
  EXPECT_EQ(std::count(processes.begin(), processes.end(), getpid()), 1);
  EXPECT_EQ(system.processPath(getpid()), std::filesystem::read_symlink("/proc/self/exe").string());
  EXPECT_FALSE(system.processPath(-1));
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

TEST_F(LinuxPlatformTests, IsBuiltFromALayoutAndEndsWithoutAnyServiceAround) {
  LinuxPlatform linux(options_);
  Platform& platform = linux.platform();
  platform.userDefaults.setInteger("a", 1);
  EXPECT_EQ(contentOf(folder_ / "defaults.json"), "{\n  \"a\": 1\n}\n");
  EXPECT_EQ(platform.iokit.IOServiceGetMatchingService(0, platform.iokit.IOServiceMatching("AppleSMC")), 0U);
  platform.power.observe([](const std::function<void()>&) {}, [] {});
  auto activity = platform.activities.beginActivity(ActivityOptions::userInitiatedAllowingIdleSystemSleep, "x");
  std::optional<Error> failure;
  const auto connection = platform.helper.connect();
  connection->resume();
  connection->status([&](const PropertyList&, std::optional<Error> error) {
    platform.dispatch.mainQueue().async([&, error] {
      failure = error;
      linux.mainQueue().stop();
    });
  });
  linux.mainQueue().run();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->code, connectionInvalidCode);
}

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
  EXPECT_EQ(defaultsFilePath(), "/x/config/aerovane/defaults.json");
  setenv("XDG_CONFIG_HOME", "relative", 1);
  EXPECT_TRUE(defaultsFilePath().is_absolute());
  EXPECT_EQ(defaultsFilePath().parent_path().parent_path().filename(), ".config");
  kept ? setenv("XDG_CONFIG_HOME", kept->c_str(), 1) : unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
}  // namespace halcyra::test
