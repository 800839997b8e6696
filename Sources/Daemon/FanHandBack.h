#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Daemon/FanLedger.h"
#include "Platform/Log.h"
#include "SMC/SMCInterface.h"

namespace halcyra {

struct FanHandBackOutcome {
  int fan = 0;
  /// Absent: the fan's mode was read back as the firmware's.
  std::optional<std::string> failure;
};

struct HandBackReport {
  /// Every fan that was to be handed back, in ascending order.
  std::vector<FanHandBackOutcome> fans;
  /// Why the SMC could not be reached, when it could not.
  std::optional<std::string> unreachable;
  /// Something is left to be done: a fan that failed, or one to be watched because an earlier command may still become
  /// effective.
  bool owed = false;
  /// Some fan may be under manual control.
  bool mayBeManual = false;
  /// Some fan may still become manual by an earlier command.
  bool isWatched = false;

  bool failed() const;
  /// One sentence for each fan that could not be handed back, and why; empty when none failed.
  std::string failureText() const;
};

/// Hands fans back to the firmware: a command, verified by reading back, that goes on to the next fan when one fails.
/// Nothing is restored, and nothing is assumed of what was found. Blocks; to be used from the fan work queue alone.
class FanHandBack {
 public:
  FanHandBack(FanLedger& ledger, LogSink& log) : ledger_(ledger), log_(log) {}

  /// How long fans that refuse a command for the moment are asked again before any fan is verified.
  static constexpr Seconds commandTime{1.0};

  /// Every fan: first each one is commanded, then each one is verified, so that a fan that does not obey (up to 10 s)
  /// delays no other. The fans are probed anew, since what an earlier probe found may not have been all.
  HandBackReport all(SMCInterface& smc);
  /// The process is about to end: from now on nothing is left to be watched, automatic mode is written instead.
  void beginToLeave() { isLeaving_ = true; }
  /// What is still owed, and nothing else: fans that have been set to manual mode since are left alone.
  HandBackReport again(SMCInterface& smc);

  /// Writes automatic mode over a manual write that was not seen to take effect, if there is one. Throws `SMCError`.
  void countermand(SMCInterface& smc, int fan);

 private:
  void command(SMCInterface& smc, std::vector<int> fans);
  /// Commands the fan unless that is needless; false when it is to be tried again.
  bool isCommanded(SMCInterface& smc, int fan);
  void probe(SMCInterface& smc, HandBackReport& report);
  FanHandBackOutcome verify(SMCInterface& smc, int fan, HandBackReport& report);
  void noteFailure(const SMCError& error, HandBackReport& report);

  FanLedger& ledger_;
  LogSink& log_;
  bool probeOwed_ = false;
  bool isLeaving_ = false;
  /// The connection failed and is to be opened anew.
  bool reopen_ = false;
};

/// Hands every fan back without a session; `smc` is opened and left open. Since nothing is known of commands that
/// others gave and that have not become effective yet, automatic mode is written whatever the mode keys read.
HandBackReport releaseAllFans(SMCInterface& smc, LogSink& log);

}  // namespace halcyra
