#pragma once

#include <cstdint>
#include <memory>

#include "Daemon/FanHandBack.h"
#include "Daemon/FanLedger.h"
#include "Daemon/FanWorkQueue.h"
#include "Daemon/InterruptibleSMC.h"
#include "Platform/Log.h"
#include "Platform/PropertyList.h"
#include "SMC/FanController.h"

namespace halcyra {

/// What the messages do to the fans. Every operation blocks and belongs on the fan work queue; failures are thrown as
/// `HelperFailure`, and everything but a full hand-back gives way to a hand-back with `SupersededByHandBack`.
class FanExecutor {
 public:
  /// `smc` may write fan keys; all three outlive this.
  FanExecutor(SMCInterface& smc, const HandBackEpoch& epoch, LogSink& log);

  /// To be called first by each piece of work but a full hand-back: the epoch in which it was asked for.
  void begin(std::uint64_t ticket) { interruptible_.begin(ticket); }

  /// A new connection and a new probe for a session; the status dictionary. `controlUnavailable` when the SMC cannot be
  /// reached, `abnormalPreflight` when it answers but a report cannot be made.
  PropertyList openSession();
  PropertyList status();

  /// The fan's dictionary afterwards. `invalidFan` for an index that was not probed, `unsupportedHardware` for a fan
  /// that can only be read, `controlUnavailable` when the firmware does not take the mode.
  PropertyList setMode(std::int64_t fan, bool manual);
  /// The same; `internalFailure` with the SMC's text when the target cannot be set, `controlUnavailable` when the fan
  /// is not in manual mode (any more).
  PropertyList setTarget(std::int64_t fan, std::int64_t rpm);

  /// Every fan; gives way to nothing. Needs no `begin`.
  HandBackReport handBack() { return handBack_.all(smc_); }
  /// From now on hand-backs leave nothing to be watched. Needs no `begin`.
  void beginToLeave() { handBack_.beginToLeave(); }
  /// What is still owed.
  HandBackReport handBackAgain() { return handBack_.again(interruptible_); }

 private:
  void probe();
  const FanCapability& requireControllable(std::int64_t fan);
  bool isKnownToBeAutomatic(int fan);

  SMCInterface& smc_;
  LogSink& log_;
  FanLedger ledger_;
  InterruptibleSMC interruptible_;
  FanHandBack handBack_;
  std::unique_ptr<FanController> controller_;
};

}  // namespace halcyra
