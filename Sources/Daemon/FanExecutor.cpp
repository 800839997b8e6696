#include "Daemon/FanExecutor.h"

#include <utility>

#include "Daemon/FanStatusReport.h"
#include "Daemon/HelperFailure.h"
#include "SMC/SMCError.h"

namespace halcyra {

using HelperXPCError::Code;

FanExecutor::FanExecutor(SMCInterface& smc, const HandBackEpoch& epoch, LogSink& log)
    : smc_(smc), log_(log), interruptible_(smc, epoch, ledger_), handBack_(ledger_, log) {}

PropertyList FanExecutor::openSession() {
  try {
    interruptible_.close();
    controller_.reset();
    probe();
    interruptible_.getKeyCount();
  } catch (const SMCError& error) {
    throw HelperFailure(Code::controlUnavailable, error.what());
  }
  try {
    return statusDictionary(interruptible_, controller_->probeCapabilities());
  } catch (const SMCError& error) {
    throw HelperFailure(Code::abnormalPreflight, error.what());
  }
}

PropertyList FanExecutor::status() {
  try {
    if (controller_ == nullptr) {
      probe();
    }
    interruptible_.open();
    return statusDictionary(interruptible_, controller_->probeCapabilities());
  } catch (const SMCError& error) {
    throw HelperFailure(Code::internalFailure, error.what());
  }
}

PropertyList FanExecutor::setMode(std::int64_t fan, bool manual) {
  const FanCapability& capability = requireControllable(fan);
  try {
    interruptible_.open();
    if (!manual) {
      handBack_.countermand(interruptible_, capability.index);
    }
    controller_->setFanMode(capability.index, manual ? FanMode::manual : FanMode::automatic);
    if (manual) {
      // Also where nothing had to be written: what an earlier hand-back owed must not take the fan back.
      ledger_.manualWritten(capability.index, interruptible_.clock().steadyNow());
    }
  } catch (const SMCError& error) {
    log_.write({"com.norwick.Halcyra.helper", "Fans", LogLevel::error, error.what()});
    throw HelperFailure(Code::controlUnavailable);
  }
  return fanDictionary(interruptible_, capability);
}

PropertyList FanExecutor::setTarget(std::int64_t fan, std::int64_t rpm) {
  const FanCapability& capability = requireControllable(fan);
  try {
    interruptible_.open();
    controller_->setFanRPM(capability.index, rpm);
  } catch (const SMCError& error) {
    if (isKnownToBeAutomatic(capability.index)) {
      throw HelperFailure(Code::controlUnavailable);
    }
    throw HelperFailure(Code::internalFailure, error.what());
  }
  return fanDictionary(interruptible_, capability);
}

// The controller is kept only when no hand-back came in between: the probe would take an interrupted read for an
// absent fan.
void FanExecutor::probe() {
  interruptible_.open();
  auto controller = std::make_unique<FanController>(interruptible_, log_);
  for (const FanCapability& fan : controller->probeCapabilities().fans) {
    ledger_.found(fan.index);
  }
  interruptible_.check();
  controller_ = std::move(controller);
}

const FanCapability& FanExecutor::requireControllable(std::int64_t fan) {
  interruptible_.check();
  if (controller_ == nullptr || fan < 0 || fan > FanCapabilityProbe::maxFanIndex) {
    throw HelperFailure(Code::invalidFan);
  }
  const FanCapability* capability = controller_->probeCapabilities().fan(static_cast<int>(fan));
  if (capability == nullptr) {
    throw HelperFailure(Code::invalidFan);
  }
  if (!capability->isControllable()) {
    throw HelperFailure(Code::unsupportedHardware);
  }
  return *capability;
}

bool FanExecutor::isKnownToBeAutomatic(int fan) {
  try {
    const SMCValue value = interruptible_.readKey(SMCKey::fan(fan, "Md"));
    const std::uint8_t* raw = value.asUInt8();
    return raw != nullptr && fanModeFromSafeRaw(*raw) == FanMode::automatic;
  } catch (const SMCError&) {
    return false;
  }
}

}  // namespace halcyra
