#include "Platform/Linux/BusThread.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <poll.h>
#include <pthread.h>
#include <string_view>
#include <sys/eventfd.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "fmt/format.h"

#include "Platform/Linux/UnixSocket.h"
#include "Platform/Precondition.h"
#include "sdbus-c++/sdbus-c++.h"

namespace halcyra {

struct BusThread::State {
  using Time = std::chrono::steady_clock::time_point;
  using Work = std::function<void()>;
  struct LossHandler {
    std::weak_ptr<void> owner;
    Work lost;
  };

  explicit State(Opener opener) : open(std::move(opener)), wakeUp(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (wakeUp < 0) {
      throw std::system_error(errno, std::generic_category(), "eventfd");
    }
  }
  ~State() { ::close(wakeUp); }

  void wake() const {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(wakeUp, &one, sizeof one);
  }

  void run() noexcept;
  void runReadyWork();
  /// True when there may be more to handle at once.
  bool processBus();
  /// True when there was any.
  bool runDrainedWork();
  void waitForEvents();
  int workTimeout();
  void closeConnection();

  const Opener open;
  const int wakeUp;
  std::thread thread;

  std::mutex mutex;
  std::deque<Work> ready;
  std::multimap<Time, Work> delayed;
  bool started = false;
  bool stopping = false;

  // Bus thread only.
  std::unique_ptr<sdbus::IConnection> connection;
  std::vector<LossHandler> lossHandlers;
  std::vector<Work> drained;
  std::vector<std::shared_ptr<void>> garbage;
};

void BusThread::State::run() noexcept {
  pthread_setname_np(pthread_self(), "bus");
  for (;;) {
    runReadyWork();
    {
      const std::lock_guard lock(mutex);
      if (stopping) break;
    }
    if (!processBus()) {
      waitForEvents();
    }
  }
  closeConnection();
  // Destroyed outside the lock: what the work owns may come back here.
  std::deque<Work> dropped;
  std::multimap<Time, Work> droppedLater;
  {
    const std::lock_guard lock(mutex);
    dropped.swap(ready);
    droppedLater.swap(delayed);
  }
}

void BusThread::State::runReadyWork() {
  std::deque<Work> now;
  {
    const std::lock_guard lock(mutex);
    now.swap(ready);
    const auto due = delayed.upper_bound(std::chrono::steady_clock::now());
    std::for_each(delayed.begin(), due, [&](auto& entry) { now.push_back(std::move(entry.second)); });
    delayed.erase(delayed.begin(), due);
  }
  for (Work& work : now) {
    work();
    work = nullptr;
  }
  garbage.clear();
}

bool BusThread::State::processBus() {
  if (!connection) {
    return false;
  }
  try {
    if (connection->processPendingRequest()) {
      garbage.clear();
      return true;
    }
  } catch (const std::exception&) {
    closeConnection();
    return true;
  }
  return false;
}

bool BusThread::State::runDrainedWork() {
  const auto work = std::exchange(drained, {});
  for (const Work& one : work) {
    one();
  }
  return !work.empty();
}

int BusThread::State::workTimeout() {
  const std::lock_guard lock(mutex);
  if (!ready.empty() || stopping) {
    return 0;
  }
  if (delayed.empty()) {
    return -1;
  }
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(delayed.begin()->first - std::chrono::steady_clock::now());
  constexpr std::int64_t longest = 3'600'000;
  return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, longest));
}

void BusThread::State::waitForEvents() {
  std::array<pollfd, 2> events{{{wakeUp, POLLIN, 0}, {-1, 0, 0}}};
  int timeout = workTimeout();
  if (connection) {
    try {
      const auto bus = connection->getEventLoopPollData();
      events[1] = {bus.fd, bus.events, 0};
      const int busTimeout = bus.getPollTimeout();
      // Zero: the bus has more to handle; so it is while it reports its own end call by call.
      if (busTimeout != 0 && runDrainedWork()) {
        return;
      }
      timeout = timeout < 0 ? busTimeout : busTimeout < 0 ? timeout : std::min(timeout, busTimeout);
    } catch (const std::exception&) {
      closeConnection();
      return;
    }
  }
  ::poll(events.data(), events.size(), timeout);
  std::uint64_t count = 0;
  [[maybe_unused]] const ssize_t size = ::read(wakeUp, &count, sizeof count);
}

void BusThread::State::closeConnection() {
  drained.clear();
  for (const LossHandler& handler : std::exchange(lossHandlers, {})) {
    if (const auto owner = handler.owner.lock()) {
      handler.lost();
    }
  }
  garbage.clear();
  connection.reset();
}

BusThread::BusThread(Opener open) : state_(std::make_shared<State>(std::move(open))) {}

BusThread::~BusThread() {
  stop();
}

void BusThread::stop() {
  {
    const std::lock_guard lock(state_->mutex);
    state_->stopping = true;
  }
  state_->wake();
  if (state_->thread.joinable()) {
    precondition(state_->thread.get_id() != std::this_thread::get_id(), "a bus thread cannot end itself");
    state_->thread.join();
  }
}

void BusThread::post(std::function<void()> work) {
  postAfter(Seconds::zero(), std::move(work));
}

void BusThread::postAfter(Seconds delay, std::function<void()> work) {
  {
    const std::lock_guard lock(state_->mutex);
    if (state_->stopping) {
      return;
    }
    if (delay > Seconds::zero()) {
      const auto span = std::chrono::duration_cast<std::chrono::steady_clock::duration>(delay);
      state_->delayed.emplace(std::chrono::steady_clock::now() + span, std::move(work));
    } else {
      state_->ready.push_back(std::move(work));
    }
    if (!std::exchange(state_->started, true)) {
      state_->thread = std::thread([state = state_.get()] { state->run(); });
    }
  }
  state_->wake();
}

sdbus::IConnection& BusThread::connection() {
  if (!state_->connection) {
    state_->connection = state_->open();
  }
  return *state_->connection;
}

void BusThread::onLoss(std::weak_ptr<void> owner, std::function<void()> lost) {
  std::erase_if(state_->lossHandlers, [](const State::LossHandler& handler) { return handler.owner.expired(); });
  state_->lossHandlers.push_back({std::move(owner), std::move(lost)});
}

void BusThread::whenDrained(std::function<void()> work) {
  state_->drained.push_back(std::move(work));
}

void BusThread::dispose(std::shared_ptr<void> object) {
  state_->garbage.push_back(std::move(object));
}

namespace {

/// The socket of a "unix:path=" address; nothing for other addresses.
std::optional<std::string> socketPath(std::string_view address) {
  constexpr std::string_view prefix = "unix:path=";
  if (!address.starts_with(prefix)) {
    return std::nullopt;
  }
  address.remove_prefix(prefix.size());
  std::string path;
  for (std::size_t i = 0; i < address.size() && address[i] != ',' && address[i] != ';'; ++i) {
    unsigned value = 0;
    const char* const digits = address.data() + i + 1;
    if (address[i] == '%' && i + 2 < address.size() &&
        std::from_chars(digits, digits + 2, value, 16).ptr == digits + 2) {
      path += static_cast<char>(value);
      i += 2;
    } else {
      path += address[i];
    }
  }
  return path;
}

/// The bus library loses memory with every connection that it cannot open; so that attempts on a bus that is not there
/// may be repeated for days, it is only asked when somebody listens.
void requireListener(const std::string& address) {
  const auto path = socketPath(address);
  const auto target = path ? unixSocketAddress(*path) : std::nullopt;
  if (!target) {
    return;
  }
  const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool listens = ::connect(probe, reinterpret_cast<const sockaddr*>(&*target), sizeof *target) == 0;
  const int reason = errno;
  ::close(probe);
  if (!listens) {
    throw sdbus::Error("org.freedesktop.DBus.Error.NoServer",
                       fmt::format("no message bus at {}: {}", *path, std::generic_category().message(reason)));
  }
}

}  // namespace

BusThread::Opener busOpener(std::string address) {
  if (address.empty()) {
    return [] { return sdbus::createSystemBusConnection(); };
  }
  return [address = std::move(address)] {
    requireListener(address);
    return sdbus::createSessionBusConnectionWithAddress(address);
  };
}

BusThread::Opener sessionBusOpener() {
  return [] { return sdbus::createSessionBusConnection(); };
}

}  // namespace halcyra
