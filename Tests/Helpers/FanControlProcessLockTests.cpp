#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

#include "gtest/gtest.h"

#include "Helpers/FanControlProcessLock.h"
#include "Support/ManualClock.h"
#include "Support/TemporaryFolder.h"
#include "Support/Values.h"

namespace halcyra {

namespace {

namespace fs = std::filesystem;
using LockError = FanControlProcessLockError;

mode_t modeOf(const std::string& file) {
  struct stat status {};
  EXPECT_EQ(::stat(file.c_str(), &status), 0);
  return status.st_mode & 07777U;
}

class FanControlProcessLockTest : public testing::Test {
 protected:
  static void write(const std::string& file, const std::string& text) { std::ofstream(file) << text; }
  static std::string content(const std::string& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  }
  static std::string record(const std::string& description) {
    return description + " pid=" + std::to_string(::getpid()) + " started=2023-11-14T22:13:20Z";
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

  test::TemporaryFolder folder;
  const std::string path = (folder / "control.lock").string();
  test::ManualClock clock;
  FanControlProcessLock first{path, ::geteuid(), clock};
  FanControlProcessLock second{path, std::nullopt, clock};
};

}  // namespace

TEST_F(FanControlProcessLockTest, IsExclusiveAndNamesTheOwner) {
  // Left by an owner that is gone: taken over whole, with its mode.
  write(path, "stale record of a much longer-winded owner than the next one, pid=1 started=2020-01-01T00:00:00Z");
  ASSERT_EQ(::chmod(path.c_str(), 0644), 0);
  first.release();
  first.acquire("Aerovane helper");
  first.acquire("somebody else");
  EXPECT_TRUE(first.isHeld());
  EXPECT_EQ(content(path), record("Aerovane helper") + "\n");
  EXPECT_EQ(modeOf(path), 0600U);
  const LockError refused = failure(second);
  EXPECT_EQ(refused, LockError::alreadyOwned(record("Aerovane helper")));
  EXPECT_EQ(refused.errorDescription(), "Fan control is already owned by " + record("Aerovane helper"));
  EXPECT_TRUE(first.isHeld());
  first.release();
  EXPECT_FALSE(first.isHeld());
  EXPECT_EQ(content(path), record("Aerovane helper") + "\n") << "the file outlives the lock";
  {
    FanControlProcessLock passing(path, std::nullopt, clock);
    passing.acquire("passing");
    EXPECT_EQ(failure(first).kind(), LockError::Case::alreadyOwned);
  }
  EXPECT_NO_THROW(first.acquire("first")) << "destruction releases";
}

TEST_F(FanControlProcessLockTest, ReadsTheOwnerFromAnyRecord) {
  first.acquire("holder");
  for (const std::string& stale : {std::string(), std::string(" \n\t "), std::string("\xFF\xFE owner")}) {
    write(path, stale);
    const LockError refused = failure(second);
    EXPECT_EQ(refused, LockError::alreadyOwned(std::nullopt));
    EXPECT_STREQ(refused.what(), "Fan control is already owned by another Aerovane process");
    EXPECT_EQ(content(path), stale);
  }
  write(path, std::string(2000, 'x'));
  EXPECT_EQ(failure(second).owner(), std::string(512, 'x'));
}

TEST_F(FanControlProcessLockTest, RefusesFilesThatAreNotSafeAndChangesNothingThroughThem) {
  const std::string target = (folder / "target").string();
  const LockError unsafe = LockError::unsafeLockFile();
  for (const auto& [what, prepare, owner, expected] :
       test::Table<const char*, std::function<void()>, std::optional<std::uint32_t>, LockError>{
           {"link", [&] { fs::create_symlink(target, path); }, std::nullopt, LockError::systemError(ELOOP)},
           {"hard link", [&] { fs::create_hard_link(target, path); }, std::nullopt, unsafe},
           {"directory", [&] { fs::create_directory(path); }, std::nullopt, unsafe},
           {"pipe", [&] { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }, std::nullopt, unsafe},
           {"file of another user", [&] { write(path, "content"); }, ::geteuid() + 1, unsafe},
           {"no folder", [&] { fs::remove_all(folder.path()); }, std::nullopt, LockError::systemError(ENOENT)}}) {
    SCOPED_TRACE(what);
    fs::remove_all(path);
    write(target, "content");
    ASSERT_EQ(::chmod(target.c_str(), 0644), 0);
    prepare();
    FanControlProcessLock lock(path, owner, clock);
    EXPECT_EQ(failure(lock), expected);
    if (!fs::exists(target)) continue;
    EXPECT_EQ(modeOf(target), 0644U);
    EXPECT_EQ(content(target), "content");
  }
  EXPECT_STREQ(unsafe.what(), "The Aerovane control lock file is not a safe regular file");
  EXPECT_STREQ(LockError::systemError(13).what(), "Unable to secure the Aerovane control lock (errno 13)");
}

}  // namespace halcyra
