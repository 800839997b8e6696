#include "Programs/VirtualMac/HelperKeeper.h"

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

#include "fmt/format.h"

#include "Platform/POSIX/PromptOutput.h"

namespace halcyra {

namespace {

/// Longer than writing to every fan may take.
constexpr Seconds longestRelease{30.0};
constexpr Seconds releaseRetryDelay{2.0};

}  // namespace

HelperKeeper::HelperKeeper(Reactor& reactor, const RuntimeLayout& layout, std::function<void()> released)
    : reactor_(reactor),
      runtimeFolder_(layout.folder.value_or(std::filesystem::path()).string()),
      helperProgram_(siblingProgram("aerovane-helper")),
      released_(std::move(released)) {}

HelperKeeper::~HelperKeeper() {
  end();
  for (const auto& [process, followed] : followed_) {
    if (followed.descriptor >= 0) {
      reactor_.unwatch(followed.descriptor);
      ::close(followed.descriptor);
    }
  }
}

void HelperKeeper::follow(pid_t process) {
  if (followed_.contains(process)) {
    return;
  }
  const int descriptor = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
  followed_[process] = {descriptor, false};
  if (descriptor >= 0) {
    reactor_.watch(descriptor, POLLIN, [this, process](short) { processEnded(process); });
  }
}

void HelperKeeper::noteWrite(pid_t process) {
  if (isReleasing_ && process == release_.processID()) {
    return;
  }
  isOwed_ = false;
  Followed& followed = followed_[process];
  followed.hasWritten = true;
  if (followed.descriptor < 0) {
    // What it sent before it went is still served.
    reactor_.after(Seconds::zero(), [this, process] { processEnded(process); });
  }
}

void HelperKeeper::processEnded(pid_t process) {
  const auto found = followed_.find(process);
  if (found == followed_.end()) {
    return;
  }
  const Followed followed = found->second;
  followed_.erase(found);
  if (followed.descriptor >= 0) {
    reactor_.unwatch(followed.descriptor);
    ::close(followed.descriptor);
  }
  if (followed.hasWritten) {
    isOwed_ = true;
    release();
  }
}

void HelperKeeper::release() {
  if (ending_ || isReleasing_ || !isOwed_) {
    return;
  }
  isReleasing_ = true;
  try {
    release_.start(helperProgram_.string(), {"--runtime-dir", runtimeFolder_, "--release-all"});
  } catch (const VirtualMacError& error) {
    complain(error.what());
    finishRelease(false);
    return;
  }
  reactor_.after(longestRelease, [this, attempt = ++attempts_] {
    if (isReleasing_ && attempt == attempts_) {
      release_.end(Seconds::zero());
      finishRelease(false);
    }
  });
}

void HelperKeeper::childEnded() {
  if (isReleasing_ && !release_.isRunning()) {
    finishRelease(release_.exitStatus() == 0);
  }
}

void HelperKeeper::finishRelease(bool succeeded) {
  isReleasing_ = false;
  if (succeeded) {
    isOwed_ = false;
    hasComplained_ = false;
  } else {
    complain("aerovane-helper --release-all failed");
    reactor_.after(releaseRetryDelay, [this] { release(); });
  }
  released_();
}

void HelperKeeper::complain(const std::string& reason) {
  if (!std::exchange(hasComplained_, true)) {
    promptStandardError().write(
        fmt::format("virtual-mac: a helper has ended and its fans could not be handed back yet: {}\n", reason));
  }
}

void HelperKeeper::end() {
  ending_ = true;
  release_.end(Seconds::zero());
}

}  // namespace halcyra
