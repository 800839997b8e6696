// Files that are read and replaced while things go wrong.

#include <fcntl.h>
#include <set>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "gtest/gtest.h"

#include "Platform/Linux/LinuxFiles.h"
#include "Platform/PlatformTestSupport.h"

namespace halcyra::test {
namespace {

const std::string oldContent(70'000, 'o');
const std::string newContent(90'000, 'n');

/// Has a child process replace the file and kills it at its `stops`-th entry to or exit from the kernel; whether it
/// came that far.
bool killedWhileWriting(const std::filesystem::path& file, int stops) {
  const pid_t child = fork();
  if (child == 0) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(3);
    raise(SIGSTOP);
    writeFileAtomically(file, newContent, 0644);
    _exit(0);
  }
  int status = 0;
  for (int stop = 0; stop < stops; ++stop) {
    EXPECT_EQ(waitpid(child, &status, 0), child);
    if (!WIFSTOPPED(status)) {
      EXPECT_TRUE(WIFEXITED(status));
      EXPECT_EQ(WEXITSTATUS(status), 0) << "the process could not be traced, or could not write";
      return false;
    }
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
  }
  waitpid(child, &status, 0);
  if (!WIFSTOPPED(status)) {
    return false;
  }
  kill(child, SIGKILL);
  waitpid(child, &status, 0);
  return true;
}

TEST(AtomicWriteTests, KilledAtAnyPointTheOldFileOrTheNewOneIsThereWhole) {
  TemporaryFolder folder;
  const auto file = folder / "presets.json";
  std::set<std::string> seen;
  int stops = 1;
  for (;; ++stops) {
    ASSERT_LT(stops, 1000);
    writeContent(file, oldContent);
    const bool killed = killedWhileWriting(file, stops);
    const std::string content = contentOf(file);
    ASSERT_TRUE(content == oldContent || content == newContent) << "killed at stop " << stops << ": " << content.size();
    seen.insert(content);
    if (!killed) break;
  }
  EXPECT_GT(stops, 10) << "the write was not interrupted at its steps";
  EXPECT_EQ(seen.size(), 2U) << "both sides of the replacement were met";
  EXPECT_EQ(contentOf(file), newContent);
}

TEST(AtomicWriteTests, OnlyRegularFilesAreReadAndOnlyUpToTheirLimit) {
  TemporaryFolder folder;
  const auto messageFor = [](const std::filesystem::path& path) -> std::string {
    try {
      return "read " + std::to_string(readFile(path).size());
    } catch (const FileError& error) {
      return error.errorDescription();
    }
  };
  const auto pipe = folder / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const auto large = folder / "large";
  writeContent(large, "x");
  std::filesystem::resize_file(large, largestFile + 1);
  const auto full = folder / "full";
  writeContent(full, "x");
  std::filesystem::resize_file(full, largestFile);
  const auto link = folder / "link";
  std::filesystem::create_symlink(folder / "nothing", link);
  const auto loop = folder / "loop";
  std::filesystem::create_symlink(loop, loop);
  const std::vector<std::pair<std::filesystem::path, std::string>> rows = {
      {pipe, "couldn’t be read: It is not a regular file."},
      {"/dev/zero", "couldn’t be read: It is not a regular file."},
      {large, "couldn’t be read: File too large."},
      {full, "read " + std::to_string(largestFile)},
      {link, "couldn’t be opened: No such file or directory."},
      {loop, "couldn’t be opened: Too many levels of symbolic links."},
  };
  for (const auto& [path, end] : rows) {
    SCOPED_TRACE(path);
    EXPECT_TRUE(messageFor(path).ends_with(end)) << messageFor(path);
  }
}

}  // namespace
}  // namespace halcyra::test
