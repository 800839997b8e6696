#include "Daemon/FanHandBack.h"

#include <algorithm>
#include <utility>

#include "fmt/format.h"

#include "SMC/FanCapability.h"
#include "SMC/FanController.h"
#include "SMC/FanInfo.h"
#include "SMC/SMCError.h"

namespace halcyra {
namespace {

bool isTransportFailure(const SMCError& error) {
  switch (error.kind()) {
    case SMCError::Case::connectionFailed:
    case SMCError::Case::connectionFailedWithCode:
    case SMCError::Case::notOpen:
    case SMCError::Case::ioKitFailed:
      return true;
    default:
      return false;
  }
}

const SMCValue automaticMode = SMCValue::makeUInt8(static_cast<std::uint8_t>(FanMode::automatic));

}  // namespace

bool HandBackReport::failed() const {
  return unreachable || !failureText().empty();
}

std::string HandBackReport::failureText() const {
  std::string text;
  for (const FanHandBackOutcome& outcome : fans) {
    if (outcome.failure) {
      text += fmt::format("{}Fan {} could not be handed back to Automatic: {}", text.empty() ? "" : ". ", outcome.fan,
                          *outcome.failure);
    }
  }
  if (text.empty() && unreachable) {
    text = fmt::format("The fans could not be handed back to Automatic: {}", *unreachable);
  }
  return text;
}

HandBackReport FanHandBack::all(SMCInterface& smc) {
  for (const int fan : ledger_.fans()) {
    ledger_.owe(fan);
  }
  probeOwed_ = true;
  return again(smc);
}

HandBackReport FanHandBack::again(SMCInterface& smc) {
  HandBackReport report;
  // Even when the SMC cannot be reached: the process then stays until it can.
  if (isLeaving_) {
    ledger_.distrustUnattended();
  }
  if (reopen_) {
    smc.close();
    reopen_ = false;
  }
  try {
    smc.open();
    command(smc, ledger_.owed());
    if (probeOwed_) {
      probe(smc, report);
    }
    for (const int fan : ledger_.owed()) {
      report.fans.push_back(verify(smc, fan, report));
    }
  } catch (const SMCError& error) {
    noteFailure(error, report);
    for (const int fan : ledger_.owed()) {
      report.fans.push_back({fan, error.what()});
    }
  }
  report.owed = probeOwed_ || !ledger_.owed().empty();
  report.mayBeManual = ledger_.anyMayBeManual();
  report.isWatched = ledger_.anyIsWatched();
  return report;
}

void FanHandBack::command(SMCInterface& smc, std::vector<int> fans) {
  Clock& clock = smc.clock();
  const Instant deadline = clock.steadyNow() + commandTime;
  for (;;) {
    std::erase_if(fans, [&](int fan) { return isCommanded(smc, fan); });
    if (fans.empty() || clock.steadyNow() >= deadline) {
      return;
    }
    clock.sleep(FanController::retryPeriod);
  }
}

bool FanHandBack::isCommanded(SMCInterface& smc, int fan) {
  const SMCKey key = SMCKey::fan(fan, "Md");
  try {
    const SMCValue value = smc.readKey(key);
    if (const std::uint8_t* raw = value.asUInt8()) {
      ledger_.modeRead(fan, *raw);
      if (isSystemManagedFanMode(*raw) && !ledger_.needsCountermand(fan)) {
        return true;
      }
    }
  } catch (const SMCError&) {
    if (!ledger_.mayBeManual(fan)) {
      return true;
    }
  }
  try {
    smc.writeKeyUnverified(key, automaticMode);
    ledger_.countermanded(fan);
    return true;
  } catch (const SMCError& error) {
    // Any other failure is left to `verify`, which meets it again and reports it.
    return !error.isTransient();
  }
}

void FanHandBack::probe(SMCInterface& smc, HandBackReport& report) {
  std::vector<int> found;
  for (const FanCapability& capability : FanCapabilityProbe(smc).probe().fans) {
    if (!ledger_.knows(capability.index)) {
      ledger_.foundUnattended(capability.index, capability.canSwitchMode, smc.clock().steadyNow());
      found.push_back(capability.index);
    }
  }
  if (isLeaving_) {
    ledger_.distrustUnattended();
  }
  command(smc, std::move(found));
  // The probe takes a key that it cannot read for an absent one, so its list is complete only if the SMC answers.
  try {
    smc.getKeyCount();
  } catch (const SMCError& error) {
    if (isTransportFailure(error)) {
      noteFailure(error, report);
      return;
    }
  }
  probeOwed_ = false;
}

FanHandBackOutcome FanHandBack::verify(SMCInterface& smc, int fan, HandBackReport& report) {
  try {
    countermand(smc, fan);
    FanController(smc, log_).resetToAuto(fan);
  } catch (const SMCError& error) {
    const bool hasNoMode = error.kind() == SMCError::Case::keyNotFound && !ledger_.mayBeManual(fan);
    if (!hasNoMode) {
      noteFailure(error, report);
      return {fan, error.what()};
    }
    ledger_.modeMissing(fan, smc.clock().steadyNow());
    if (isLeaving_ && ledger_.isWatched(fan)) {
      report.unreachable = error.what();
      return {fan, error.what()};
    }
    return {fan, std::nullopt};
  }
  ledger_.confirmAutomatic(fan, smc.clock().steadyNow());
  return {fan, std::nullopt};
}

void FanHandBack::countermand(SMCInterface& smc, int fan) {
  if (!ledger_.needsCountermand(fan)) {
    return;
  }
  Clock& clock = smc.clock();
  const Instant deadline = clock.steadyNow() + FanController::verificationTimeout;
  for (;;) {
    try {
      smc.writeKeyUnverified(SMCKey::fan(fan, "Md"), automaticMode);
      ledger_.countermanded(fan);
      return;
    } catch (const SMCError& error) {
      if (!error.isTransient() || clock.steadyNow() >= deadline) {
        throw;
      }
    }
    clock.sleep(FanController::retryPeriod);
  }
}

void FanHandBack::noteFailure(const SMCError& error, HandBackReport& report) {
  if (isTransportFailure(error)) {
    report.unreachable = error.what();
    reopen_ = true;
  }
}

HandBackReport releaseAllFans(SMCInterface& smc, LogSink& log) {
  FanLedger ledger;
  try {
    smc.open();
    for (const FanCapability& fan : FanCapabilityProbe(smc).probe().fans) {
      if (fan.canSwitchMode) {
        ledger.manualWritten(fan.index, smc.clock().steadyNow());
      }
    }
  } catch (const SMCError&) {
    // The hand-back meets the same error and reports it.
  }
  return FanHandBack(ledger, log).all(smc);
}

}  // namespace halcyra
