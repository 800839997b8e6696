#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "App/Published.h"
#include "App/Replies.h"
#include "Helpers/CoalescedRefreshState.h"
#include "Platform/Platform.h"

namespace halcyra {

/// Looks for fan utilities of other vendors: once for every request, and twice a second while one is watched. Knows
/// nothing of presets. Main queue only; the look itself runs on a queue of its own.
class ConflictMonitor {
 public:
  static constexpr Seconds scanPeriod{0.5};

  /// `changed` is called after every change of `competitor`. What is handed in outlives the monitor.
  ConflictMonitor(Platform& platform, const ChangeSignal& signal, const Replies& replies,
                  std::function<void()> changed);

  /// The name of the utility that was seen last.
  const std::optional<std::string>& competitor() const { return *competitor_; }

  /// Looks once; requests made meanwhile fold into one more look.
  void request();
  /// Looks at once, on the calling thread.
  void lookNow();
  void watch();
  void stopWatching() { timer_.reset(); }
  bool isWatching() const { return timer_ != nullptr; }

 private:
  void run();
  void apply(const std::optional<std::string>& name);

  SystemInformation& system_;
  const Replies& replies_;
  std::function<void()> changed_;
  Published<std::optional<std::string>> competitor_;
  CoalescedRefreshState refresh_;
  std::unique_ptr<Queue> queue_;
  std::unique_ptr<Timer> timer_;
};

}  // namespace halcyra
