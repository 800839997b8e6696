#pragma once

#include <memory>
#include <sys/types.h>

#include "Platform/Dispatch.h"
#include "Platform/Log.h"

namespace halcyra {

/// A second process that looks after the helper, as no service manager here does: when the helper gives no sign of life
/// for `patience` (it was stopped, or hangs) the guard kills it, and when the helper has ended without a farewell the
/// guard hands the fans back. A guard that is gone is replaced.
class HelperGuard {
 public:
  static constexpr Seconds signPeriod{1.0};
  /// Longer than the helper's main queue is ever busy; shorter than the session's own watchdog.
  static constexpr Seconds patience{8.0};
  /// The argument with which the helper's program is the guard; its standard input is the helper's life line.
  static constexpr const char* argument = "--guard";

  /// Main queue only. `main` and `log` outlive this.
  HelperGuard(Queue& main, LogSink& log);
  /// Says farewell: the fans are with the firmware.
  ~HelperGuard();
  HelperGuard(const HelperGuard&) = delete;
  HelperGuard& operator=(const HelperGuard&) = delete;

 private:
  void start();
  void giveSign();
  void drop();

  const Logger logger_;
  int writeEnd_ = -1;
  pid_t process_ = -1;
  std::unique_ptr<Timer> signs_;
};

}  // namespace halcyra
