#include "Helpers/FanControlProcessLock.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "fmt/format.h"

#include "Platform/UnicodeText.h"

namespace halcyra {

namespace {

constexpr mode_t fileMode = 0600;

/// Repeats a system call for as long as a signal interrupts it.
template <typename Call>
auto restarting(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) {
    result = call();
  }
  return result;
}

/// Closes the descriptor unless it is taken.
class OpenFile {
 public:
  explicit OpenFile(int descriptor) : descriptor_(descriptor) {}
  ~OpenFile() {
    // Never repeated: after EINTR the descriptor is gone, and the number may be another file's by now.
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  int descriptor() const { return descriptor_; }
  int take() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_;
};

/// The record of whoever wrote the file last; nothing when there is none that can be read.
std::optional<std::string> readOwner(int descriptor) {
  if (::lseek(descriptor, 0, SEEK_SET) < 0) {
    return std::nullopt;
  }
  std::array<char, 512> buffer{};
  const ssize_t count = restarting([&] { return ::read(descriptor, buffer.data(), buffer.size()); });
  if (count < 1) {
    return std::nullopt;
  }
  const std::string_view text(buffer.data(), static_cast<std::size_t>(count));
  const std::string_view owner = isValidUTF8(text) ? trimmed(text) : std::string_view();
  return owner.empty() ? std::nullopt : std::optional(std::string(owner));
}

/// Best effort: the lock is held whether or not the record can be written.
void writeOwner(int descriptor, std::string_view record) {
  static_cast<void>(restarting([&] { return ::ftruncate(descriptor, 0); }));
  ::off_t offset = 0;
  while (!record.empty()) {
    const ssize_t count = restarting([&] { return ::pwrite(descriptor, record.data(), record.size(), offset); });
    if (count < 1) {
      break;
    }
    record.remove_prefix(static_cast<std::size_t>(count));
    offset += count;
  }
  static_cast<void>(restarting([&] { return ::fsync(descriptor); }));
}

/// A link, a device or another user's file at this path could turn the lock, or the record, against someone else.
void requireSafeFile(int descriptor, const std::optional<std::uint32_t>& requiredOwnerUID) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) {
    throw FanControlProcessLockError::systemError(errno);
  }
  const bool isSafe =
      S_ISREG(status.st_mode) && status.st_nlink == 1 && (!requiredOwnerUID || status.st_uid == *requiredOwnerUID);
  if (!isSafe) {
    throw FanControlProcessLockError::unsafeLockFile();
  }
}

int openLockFile(const std::string& path) {
  const int descriptor =
      restarting([&] { return ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, fileMode); });
  if (descriptor >= 0) {
    return descriptor;
  }
  const int failure = errno;
  // A directory cannot be opened for writing, so that it never gets as far as the check of the file's kind.
  if (failure == EISDIR) {
    throw FanControlProcessLockError::unsafeLockFile();
  }
  throw FanControlProcessLockError::systemError(failure);
}

}  // namespace

FanControlProcessLockError::FanControlProcessLockError(Case kind, const std::string& description,
                                                       std::optional<std::string> owner, std::int32_t errnoValue)
    : LocalizedError(description), case_(kind), owner_(std::move(owner)), errnoValue_(errnoValue) {}

FanControlProcessLockError FanControlProcessLockError::alreadyOwned(const std::optional<std::string>& owner) {
  return {Case::alreadyOwned, "Fan control is already owned by " + owner.value_or("another Aerovane process"), owner,
          0};
}

FanControlProcessLockError FanControlProcessLockError::systemError(std::int32_t value) {
  return {Case::systemError, fmt::format("Unable to secure the Aerovane control lock (errno {})", value), std::nullopt,
          value};
}

FanControlProcessLockError FanControlProcessLockError::unsafeLockFile() {
  return {Case::unsafeLockFile, "The Aerovane control lock file is not a safe regular file", std::nullopt, 0};
}

FanControlProcessLock::FanControlProcessLock(std::string url, std::optional<std::uint32_t> requiredOwnerUID,
                                             const Clock& clock)
    : url_(std::move(url)), requiredOwnerUID_(requiredOwnerUID), clock_(clock) {}

FanControlProcessLock::~FanControlProcessLock() {
  release();
}

void FanControlProcessLock::acquire(const std::string& ownerDescription) {
  const std::lock_guard guard(stateLock_);
  if (descriptor_ >= 0) {
    return;
  }
  OpenFile file(openLockFile(url_));
  requireSafeFile(file.descriptor(), requiredOwnerUID_);
  if (restarting([&] { return ::fchmod(file.descriptor(), fileMode); }) != 0) {
    throw FanControlProcessLockError::systemError(errno);
  }
  if (restarting([&] { return ::flock(file.descriptor(), LOCK_EX | LOCK_NB); }) != 0) {
    const int failure = errno;
    if (failure == EWOULDBLOCK) {
      throw FanControlProcessLockError::alreadyOwned(readOwner(file.descriptor()));
    }
    throw FanControlProcessLockError::systemError(failure);
  }
  writeOwner(file.descriptor(),
             fmt::format("{} pid={} started={}\n", ownerDescription, ::getpid(), iso8601String(clock_.now())));
  descriptor_ = file.take();
}

void FanControlProcessLock::release() {
  const std::lock_guard guard(stateLock_);
  if (descriptor_ < 0) {
    return;
  }
  static_cast<void>(restarting([&] { return ::flock(descriptor_, LOCK_UN); }));
  ::close(descriptor_);
  descriptor_ = -1;
}

bool FanControlProcessLock::isHeld() const {
  const std::lock_guard guard(stateLock_);
  return descriptor_ >= 0;
}

}  // namespace halcyra
