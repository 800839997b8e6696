#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "gmock/gmock.h"
#include "gtest/gtest.h"

#include "Helpers/FanControlProcessLock.h"
#include "Support/ManualClock.h"
#include "Support/TemporaryFolder.h"

namespace halcyra {

namespace {

namespace fs = std::filesystem;
using LockError = FanControlProcessLockError;

class FanControlProcessLockTest : public testing::Test {
 protected:
  std::string path() const { return (folder_ / "control.lock").string(); }

  void writeFile(const std::string& file, const std::string& content) { std::ofstream(file) << content; }

  std::string content() const {
    std::ifstream stream(path());
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  }

  std::string record(const std::string& description) const {
    return description + " pid=" + std::to_string(::getpid()) + " started=2023-11-14T22:13:20Z";
  }

  std::unique_ptr<FanControlProcessLock> makeLock(std::optional<std::uint32_t> owner = std::nullopt) {
    return std::make_unique<FanControlProcessLock>(path(), owner, clock_);
  }

  /// What `acquire` throws; the lock must not be held afterwards.
  static LockError failure(FanControlProcessLock& lock) {
    try {
      lock.acquire("second");
    } catch (const LockError& error) {
      EXPECT_FALSE(lock.isHeld());
      return error;
    }
    ADD_FAILURE() << "acquired";
    return LockError::systemError(0);
  }

  test::TemporaryFolder folder_;
  test::ManualClock clock_;
};

}  // namespace

TEST_F(FanControlProcessLockTest, IsTakenAndReleased) {
  // Left by an owner that is gone: taken over whole, with its mode.
  writeFile(path(), "stale record of a much longer-winded owner than the next one, pid=1 started=2020-01-01T00:00:00Z");
  ASSERT_EQ(::chmod(path().c_str(), 0644), 0);
  const auto lock = makeLock(::geteuid());
  lock->release();
  lock->acquire("Aerovane helper");
  EXPECT_TRUE(lock->isHeld());
  EXPECT_EQ(content(), record("Aerovane helper") + "\n");
  struct stat status {};
  ASSERT_EQ(::stat(path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);

  lock->acquire("somebody else");
  EXPECT_EQ(content(), record("Aerovane helper") + "\n") << "already held: the file stays untouched";

  lock->release();
  EXPECT_FALSE(lock->isHeld());
  EXPECT_EQ(content(), record("Aerovane helper") + "\n") << "the file outlives the lock";
}

TEST_F(FanControlProcessLockTest, IsExclusiveAndNamesTheOwner) {
  auto first = makeLock();
  const auto second = makeLock();
  first->acquire("Aerovane helper");
  const LockError refused = failure(*second);
  EXPECT_EQ(refused, LockError::alreadyOwned(record("Aerovane helper")));
  EXPECT_EQ(refused.errorDescription(), "Fan control is already owned by " + record("Aerovane helper"));
  EXPECT_TRUE(first->isHeld());
  EXPECT_EQ(content(), record("Aerovane helper") + "\n");

  first->release();
  second->acquire("second");
  EXPECT_EQ(failure(*first).kind(), LockError::Case::alreadyOwned);
  second->release();
  first->acquire("first");
  first.reset();
  EXPECT_NO_THROW(second->acquire("second")) << "destruction releases";
}

TEST_F(FanControlProcessLockTest, ReadsTheOwnerFromAnyRecord) {
  const auto holder = makeLock();
  holder->acquire("holder");
  for (const std::string& stale : {std::string(), std::string(" \n\t "), std::string("\xFF\xFE owner")}) {
    writeFile(path(), stale);
    const auto second = makeLock();
    const LockError refused = failure(*second);
    EXPECT_EQ(refused, LockError::alreadyOwned(std::nullopt));
    EXPECT_STREQ(refused.what(), "Fan control is already owned by another Aerovane process");
    EXPECT_EQ(content(), stale);
  }
  writeFile(path(), std::string(2000, 'x'));
  EXPECT_EQ(failure(*makeLock()).owner(), std::string(512, 'x'));
}

TEST_F(FanControlProcessLockTest, RefusesFilesThatAreNotSafe) {
  const std::string target = (folder_ / "target").string();
  struct Case {
    const char* what;
    std::function<void()> prepare;
    std::optional<std::uint32_t> owner;
    LockError expected;
  };
  const Case cases[] = {
      {"symbolic link", [&] { fs::create_symlink(target, path()); }, std::nullopt, LockError::systemError(ELOOP)},
      {"hard link", [&] { fs::create_hard_link(target, path()); }, std::nullopt, LockError::unsafeLockFile()},
      {"directory", [&] { fs::create_directory(path()); }, std::nullopt, LockError::unsafeLockFile()},
      {"pipe", [&] { ASSERT_EQ(::mkfifo(path().c_str(), 0600), 0); }, std::nullopt, LockError::unsafeLockFile()},
      {"file of another user", [&] { writeFile(path(), "content"); }, ::geteuid() + 1, LockError::unsafeLockFile()},
      {"no folder", [&] { fs::remove_all(folder_.path()); }, std::nullopt, LockError::systemError(ENOENT)},
  };
  for (const Case& testCase : cases) {
    SCOPED_TRACE(testCase.what);
    fs::remove_all(path());
    writeFile(target, "content");
    ASSERT_EQ(::chmod(target.c_str(), 0644), 0);
    testCase.prepare();
    const auto lock = makeLock(testCase.owner);
    EXPECT_EQ(failure(*lock), testCase.expected);
    if (fs::exists(target)) {
      struct stat status {};
      ASSERT_EQ(::stat(target.c_str(), &status), 0);
      EXPECT_EQ(status.st_mode & 07777U, 0644U) << "nothing may be changed through a refused file";
      EXPECT_EQ(status.st_size, 7);
    }
  }
  EXPECT_STREQ(LockError::unsafeLockFile().what(), "The Aerovane control lock file is not a safe regular file");
  EXPECT_STREQ(LockError::systemError(13).what(), "Unable to secure the Aerovane control lock (errno 13)");
}

TEST_F(FanControlProcessLockTest, IsDroppedByTheSystemWhenItsProcessDies) {
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    FanControlProcessLock lock(path(), std::nullopt, clock_);
    lock.acquire("child");
    static_cast<void>(::write(ready[1], "y", 1) == 1 && ::pause());
    ::_exit(1);
  }
  ::close(ready[1]);
  char byte = 0;
  const bool isHeldByChild = ::read(ready[0], &byte, 1) == 1;
  ::close(ready[0]);
  const auto lock = makeLock();
  if (isHeldByChild) {
    EXPECT_EQ(failure(*lock).owner(), "child pid=" + std::to_string(child) + " started=2023-11-14T22:13:20Z");
  }
  ::kill(child, SIGKILL);
  EXPECT_EQ(::waitpid(child, nullptr, 0), child);
  ASSERT_TRUE(isHeldByChild);
  EXPECT_NO_THROW(lock->acquire("heir"));
  EXPECT_EQ(content(), record("heir") + "\n");
}

}  // namespace halcyra
