#include "Platform/POSIX/PromptOutput.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fmt/format.h"

namespace halcyra {

namespace {

/// What a terminal that is ready at all has room for.
constexpr std::size_t smallPiece = 256;

/// Last resort: whoever shares the descriptor may fill it between the question and the write.
ssize_t writeIfReady(int descriptor, std::string_view text) {
  pollfd waiting{descriptor, POLLOUT, 0};
  if (::poll(&waiting, 1, 0) == 0) {
    errno = EAGAIN;
    return -1;
  }
  return ::write(descriptor, text.data(), std::min(text.size(), smallPiece));
}

#ifdef __linux__
/// What a pipe takes as a whole or not at all.
constexpr std::size_t pieceSize = PIPE_BUF;

/// Moving pages from a pipe of one's own has a flag for each call, and asks nobody's permission; each text takes a slot
/// of the pipe, though, of which there are few.
ssize_t spliceToPipe(int descriptor, std::string_view text) {
  std::array<int, 2> own{};
  if (::pipe2(own.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
    return writeIfReady(descriptor, text);
  }
  ssize_t count = ::write(own[1], text.data(), std::min(text.size(), pieceSize));
  if (count > 0) {
    count = ::splice(own[0], nullptr, descriptor, nullptr, static_cast<std::size_t>(count), SPLICE_F_NONBLOCK);
  }
  const int error = errno;
  ::close(own[0]);
  ::close(own[1]);
  errno = error;
  return count;
}

// Whether a write waits is a flag that all share who have inherited the descriptor. Opened anew, a pipe or a terminal
// has flags of its own.
ssize_t writeReopened(int descriptor, std::string_view text, bool isPipe) {
  const int own =
      ::open(fmt::format("/proc/self/fd/{}", descriptor).c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (own < 0) {
    return isPipe ? spliceToPipe(descriptor, text) : writeIfReady(descriptor, text);
  }
  const ssize_t count = ::write(own, text.data(), isPipe ? std::min(text.size(), pieceSize) : text.size());
  const int error = errno;
  ::close(own);
  errno = error;
  return count;
}
#else
// A descriptor that is opened anew shares its flags here: a small piece that has room is the most that can be promised.
ssize_t writeReopened(int descriptor, std::string_view text, bool) {
  return writeIfReady(descriptor, text);
}
#endif

ssize_t writeAtOnce(int descriptor, std::string_view text) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) {
    return -1;
  }
  if (S_ISSOCK(status.st_mode)) {
    return ::send(descriptor, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  }
  const bool isPipe = S_ISFIFO(status.st_mode);
  return isPipe || S_ISCHR(status.st_mode) ? writeReopened(descriptor, text, isPipe)
                                           : ::write(descriptor, text.data(), text.size());
}

/// How much of the text was written before there was no room, or 0 and `error` when it can never be.
std::size_t writeWhatFits(int descriptor, std::string_view text, int& error) {
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t count = writeAtOnce(descriptor, text.substr(written));
    if (count > 0) {
      written += static_cast<std::size_t>(count);
    } else if (count == 0 || errno == EAGAIN || errno == EWOULDBLOCK) {
      return written;
    } else if (errno != EINTR) {
      error = errno;
      return 0;
    }
  }
  return written;
}

}  // namespace

PromptOutput::Result PromptOutput::write(std::string_view text) {
  const std::lock_guard lock(mutex_);
  const Result result = writeLocked(text);
  if (result != Result::written) {
    ++lost_;
  }
  return result;
}

PromptOutput::Result PromptOutput::writeLocked(std::string_view text) {
  error_ = 0;
  pending_.erase(0, writeWhatFits(descriptor_, pending_, error_));
  if (error_ == 0 && !pending_.empty()) {
    return Result::dropped;
  }
  std::string all;
  if (announcesLoss_ && lost_ > 0) {
    all = fmt::format("{} message{} could not be written\n", lost_, lost_ == 1 ? "" : "s");
  }
  all += text;
  const std::size_t written = error_ == 0 ? writeWhatFits(descriptor_, all, error_) : 0;
  if (error_ != 0) {
    pending_.clear();
    return Result::failed;
  }
  if (written == 0 && !all.empty()) {
    return Result::dropped;
  }
  pending_ = all.substr(written);
  lost_ = 0;
  return Result::written;
}

int PromptOutput::error() const {
  const std::lock_guard lock(mutex_);
  return error_;
}

// Never destroyed: threads may log until the process is gone.
PromptOutput& promptStandardError() {
  static auto& output = *new PromptOutput(STDERR_FILENO, true);
  return output;
}

PromptOutput& promptStandardOutput() {
  static auto& output = *new PromptOutput(STDOUT_FILENO, false);
  return output;
}

}  // namespace halcyra
