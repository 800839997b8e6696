#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "App/Control/ControlSession.h"
#include "App/StandingErrors.h"
#include "Platform/Log.h"
#include "SMC/FanInfo.h"

namespace halcyra {

/// Sees to it that fans which were asked to be manual are automatic again, although the hand-back was not confirmed:
/// what is owed, when it is asked for again, and when it is settled. Knows nothing of presets. Main queue only.
class HandBack {
 public:
  /// How long the end of the program, or sleep, waits for it at most.
  static constexpr Seconds patience{15.0};
  /// After that a person is told what is being waited for.
  static constexpr Seconds noticeAfter{2.0};
  static constexpr Seconds retryDelay{5.0};

  /// What is handed in outlives it.
  HandBack(Clock& clock, const Replies& replies, ControlSession& session, StandingErrors& errors, Logger logger);
  /// Whoever still waits is let go.
  ~HandBack() { stopSettling(); }
  HandBack(const HandBack&) = delete;
  HandBack& operator=(const HandBack&) = delete;

  bool isOwed() const { return !session_.manualFans().empty(); }
  /// The helper has answered a hand-back. `isCurrent`: no newer generation was opened meanwhile.
  void noteResult(const HandBackResult& result, bool isCurrent);
  /// To be called after each poll. `fans` are those just read, null when the read failed; with `mayAct` it is asked for
  /// again when it is due.
  void poll(const std::vector<FanInfo>* fans, bool mayAct);

  /// Carries out `first`, which calls its argument when it is through, then asks again every second until nothing is
  /// owed or `patience` is over; then `done`. `notice` (may be empty) is called when that takes longer than
  /// `noticeAfter`. Asked for a second time meanwhile, it begins anew, and both are told at its end.
  void settle(const std::function<void(std::function<void()>)>& first, std::function<void()> notice,
              std::function<void()> done);
  void stopSettling();

  /// Which fans may still be manual, and why; none when nothing is owed.
  std::optional<std::string> failure() const;

 private:
  struct Settling {
    std::vector<std::function<void()>> done;
    std::unique_ptr<Timer> notice, end, retry;
  };

  void ask(const std::function<void(const std::optional<Error>&)>& answered);
  void askUntilSettled();

  Clock& clock_;
  const Replies& replies_;
  ControlSession& session_;
  StandingErrors& errors_;
  Logger logger_;
  /// Until then it is left to the helper; none: not measured yet.
  std::optional<Instant> next_;
  std::optional<Error> lastError_;
  std::shared_ptr<Settling> settling_;
};

}  // namespace halcyra
