#include "Programs/VirtualMac/Reactor.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace halcyra {

namespace {

/// Write end of the pipe that signal handlers write to.
std::atomic<int> signalWriteEnd{-1};

void forwardSignal(int signal) {
  const int savedError = errno;
  const auto number = static_cast<unsigned char>(signal);
  // A full pipe already holds signals that will be handled.
  [[maybe_unused]] const ssize_t written = ::write(signalWriteEnd.load(), &number, 1);
  errno = savedError;
}

}  // namespace

Reactor::Reactor() : wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  int ends[2] = {-1, -1};
  if (wakeUp_ < 0 || ::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
    throw std::system_error(errno, std::generic_category(), "event loop");
  }
  signalReadEnd_ = ends[0];
  signalWriteEnd.store(ends[1]);
  watch(signalReadEnd_, POLLIN, [this](short) { readSignals(); });
  watch(wakeUp_, POLLIN, [this](short) {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t size = ::read(wakeUp_, &count, sizeof count);
  });
}

Reactor::~Reactor() {
  for (const auto& entry : signalHandlers_) {
    std::signal(entry.first, SIG_DFL);
  }
  ::close(signalWriteEnd.exchange(-1));
  ::close(signalReadEnd_);
  ::close(wakeUp_);
}

void Reactor::watch(int descriptor, short events, std::function<void(short)> ready) {
  watches_[descriptor] = {events, ++lastSerial_, std::make_shared<std::function<void(short)>>(std::move(ready))};
}

void Reactor::unwatch(int descriptor) {
  watches_.erase(descriptor);
}

void Reactor::after(Seconds delay, std::function<void()> work) {
  const auto span = std::chrono::duration_cast<std::chrono::steady_clock::duration>(delay);
  timers_.emplace(std::chrono::steady_clock::now() + span, std::move(work));
}

void Reactor::post(std::function<void()> work) {
  {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(work));
  }
  wake();
}

void Reactor::onSignal(int signal, std::function<void()> handler) {
  signalHandlers_[signal] = std::move(handler);
  struct sigaction action {};
  action.sa_handler = forwardSignal;
  action.sa_flags = SA_RESTART | SA_NOCLDSTOP;
  ::sigaction(signal, &action, nullptr);
}

void Reactor::run() {
  for (;;) {
    {
      const std::lock_guard lock(mutex_);
      if (stopping_) return;
    }
    runReadyWork();
    pollOnce();
  }
}

void Reactor::stop() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake();
}

void Reactor::wake() const {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = ::write(wakeUp_, &one, sizeof one);
}

void Reactor::runReadyWork() {
  std::vector<std::function<void()>> now;
  const auto due = timers_.upper_bound(std::chrono::steady_clock::now());
  std::for_each(timers_.begin(), due, [&](auto& entry) { now.push_back(std::move(entry.second)); });
  timers_.erase(timers_.begin(), due);
  {
    const std::lock_guard lock(mutex_);
    std::move(posted_.begin(), posted_.end(), std::back_inserter(now));
    posted_.clear();
  }
  for (const auto& work : now) {
    work();
  }
}

int Reactor::timeout() {
  const std::lock_guard lock(mutex_);
  if (stopping_ || !posted_.empty()) {
    return 0;
  }
  if (timers_.empty()) {
    return -1;
  }
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(timers_.begin()->first - std::chrono::steady_clock::now());
  constexpr std::int64_t longest = 60'000;
  return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, longest));
}

void Reactor::pollOnce() {
  descriptors_.clear();
  serials_.clear();
  for (const auto& [descriptor, watch] : watches_) {
    descriptors_.push_back({descriptor, watch.events, 0});
    serials_.push_back(watch.serial);
  }
  if (::poll(descriptors_.data(), descriptors_.size(), timeout()) <= 0) {
    return;
  }
  for (std::size_t i = 0; i < descriptors_.size(); ++i) {
    if (descriptors_[i].revents == 0) continue;
    // An earlier handler of this round may have ended this watch, and the number may have been given out again.
    const auto found = watches_.find(descriptors_[i].fd);
    if (found != watches_.end() && found->second.serial == serials_[i]) {
      const auto ready = found->second.ready;
      (*ready)(descriptors_[i].revents);
    }
  }
}

void Reactor::readSignals() {
  unsigned char number = 0;
  while (::read(signalReadEnd_, &number, 1) == 1) {
    if (const auto found = signalHandlers_.find(number); found != signalHandlers_.end()) {
      const auto handler = found->second;
      handler();
    }
  }
}

}  // namespace halcyra
