#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <sys/types.h>
#include <vector>

#include "Support/CapturingLogSink.h"
#include "Support/TemporaryFolder.h"

namespace halcyra::test {

/// How long anything may take before it counts as failed. Generous: nothing waits for it in vain.
inline constexpr std::chrono::seconds patience{60};

std::string contentOf(const std::filesystem::path& path);
void writeContent(const std::filesystem::path& path, const std::string& content);
std::vector<std::string> namesIn(const std::filesystem::path& folder);

/// Keeps what is logged, and can be waited on.
class CapturedLog : public CapturingLogSink {
 public:
  void write(const LogRecord& record) override;
  /// Waits for a record with this text; false when none comes.
  bool awaitText(const std::string& text) const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
};

/// What other threads report, in the order in which it came.
template <typename Item>
class Inbox {
 public:
  void put(Item item) {
    const std::lock_guard lock(mutex_);
    items_.push_back(std::move(item));
    changed_.notify_all();
  }

  /// Waits for the next; throws when none comes.
  Item next() {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, patience, [&] { return !items_.empty(); })) {
      throw std::runtime_error("nothing came");
    }
    Item item = std::move(items_.front());
    items_.pop_front();
    return item;
  }

  std::size_t size() const {
    const std::lock_guard lock(mutex_);
    return items_.size();
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Item> items_;
};

/// A message bus of the test's own, in a folder; killed at the end.
class PrivateBus {
 public:
  explicit PrivateBus(const std::filesystem::path& folder);
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  std::string address() const { return "unix:path=" + (folder_ / "bus").string(); }
  std::filesystem::path servicesFolder() const { return folder_ / "services"; }
  void kill();
  /// At the same address.
  void start();

 private:
  std::filesystem::path folder_;
  pid_t process_ = -1;
};

}  // namespace halcyra::test
