#include "Platform/POSIX/SignalWatcher.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include "Platform/Precondition.h"

namespace halcyra {

namespace {

/// Write end of the watcher's pipe, for the signal handler; -1 without a watcher.
std::atomic<int> signalPipe{-1};
static_assert(std::atomic<int>::is_always_lock_free);

void forwardSignal(int signal) {
  const int savedError = errno;
  const auto number = static_cast<unsigned char>(signal);
  // A full pipe already holds a signal that will be handled.
  [[maybe_unused]] const auto written = write(signalPipe.load(), &number, 1);
  errno = savedError;
}

}  // namespace

struct SignalWatcher::State {
  int readEnd = -1;
  int writeEnd = -1;
  std::vector<std::pair<int, struct sigaction>> earlier;
  std::thread thread;
};

SignalWatcher::SignalWatcher(Queue& queue, const std::vector<int>& signals, std::function<void(int)> handler)
    : state_(std::make_unique<State>()) {
  precondition(signalPipe.load() == -1, "one signal watcher at a time");
  int ends[2];
  if (pipe(ends) != 0) {
    throw std::system_error(errno, std::generic_category(), "signal pipe");
  }
  state_->readEnd = ends[0];
  state_->writeEnd = ends[1];
  // Nothing else starts programs this early, so that no child can get them before the flag is set.
  for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
  fcntl(state_->writeEnd, F_SETFL, O_NONBLOCK);
  signalPipe.store(state_->writeEnd);
  state_->thread = std::thread([readEnd = state_->readEnd, &queue, handle = std::move(handler)] {
    unsigned char number = 0;
    for (;;) {
      const ssize_t count = read(readEnd, &number, 1);
      if (count == 1 && number != 0) {
        queue.async([handle, signal = int{number}] { handle(signal); });
      } else if (!(count < 0 && errno == EINTR)) {
        return;
      }
    }
  });
  for (const int signal : signals) {
    struct sigaction action {};
    action.sa_handler = forwardSignal;
    action.sa_flags = SA_RESTART;
    struct sigaction before {};
    if (sigaction(signal, &action, &before) == 0) {
      state_->earlier.emplace_back(signal, before);
    }
  }
}

SignalWatcher::~SignalWatcher() {
  for (const auto& [signal, action] : state_->earlier) {
    sigaction(signal, &action, nullptr);
  }
  signalPipe.store(-1);
  // Zero is no signal: it ends the thread, also when the pipe is full of signals that it reads first.
  const unsigned char end = 0;
  fcntl(state_->writeEnd, F_SETFL, 0);
  [[maybe_unused]] const ssize_t written = write(state_->writeEnd, &end, 1);
  state_->thread.join();
  close(state_->readEnd);
  close(state_->writeEnd);
}

}  // namespace halcyra
