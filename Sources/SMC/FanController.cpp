#include "SMC/FanController.h"

#include "fmt/format.h"

namespace halcyra {

namespace {

bool isUInt8(const SMCValue& value, std::uint8_t expected) {
  const std::uint8_t* actual = value.asUInt8();
  return actual != nullptr && *actual == expected;
}

std::string timeoutText() {
  return fmt::format("{:.1f}s", FanController::verificationTimeout.count());
}

}  // namespace

FanController::FanController(SMCInterface& smc, LogSink& log)
    : smc_(smc), logger_(log, "com.norwick.Halcyra.core", "FanController") {}

const HardwareCapabilities& FanController::probeCapabilities() {
  if (!cachedCapabilities_) {
    cachedCapabilities_ = FanCapabilityProbe(smc_).probe();
    logger_.log(fmt::format("probed hardware: {} fan(s), diagnostic lock: {}", cachedCapabilities_->fans.size(),
                            cachedCapabilities_->hasDiagnosticLock));
  }
  return *cachedCapabilities_;
}

std::int64_t FanController::discoverFans() {
  return static_cast<std::int64_t>(probeCapabilities().fans.size());
}

FanInfo FanController::getFanInfo(int index) {
  const std::optional<FanInfo> info = readFan(index);
  if (!info) {
    throw SMCError::readFailed(fmt::format("fan {} reported invalid RPM bounds", index));
  }
  return *info;
}

std::optional<FanInfo> FanController::readFan(int index) {
  requireKnown(index);
  FanInfo info{.index = index,
               .actualRPM = smc_.readFanRPM(SMCKey::fan(index, "Ac")),
               .minRPM = smc_.readFanRPM(SMCKey::fan(index, "Mn")),
               .maxRPM = smc_.readFanRPM(SMCKey::fan(index, "Mx")),
               .mode = readMode(index),
               .targetRPM = std::nullopt};
  try {
    info.targetRPM = smc_.readFanRPM(SMCKey::fan(index, "Tg"));
  } catch (const SMCError&) {
    // The reading is useful without its target.
  }
  if (info.minRPM < 1 || info.maxRPM < info.minRPM) {
    return std::nullopt;
  }
  return info;
}

void FanController::setFanMode(int index, FanMode mode) {
  requireControllable(index);
  const auto raw = static_cast<std::uint8_t>(mode);
  writeModeWithTransientRetry(SMCKey::fan(index, "Md"), raw, fmt::format("fan {} mode {}", index, raw));
}

void FanController::setFanRPM(int index, std::int64_t rpm) {
  requireControllable(index);
  if (readMode(index) != FanMode::manual) {
    throw SMCError::writeFailed(fmt::format("fan {} must be in manual mode before setting RPM", index));
  }
  const std::int64_t minimum = smc_.readFanRPM(SMCKey::fan(index, "Mn"));
  const std::int64_t maximum = smc_.readFanRPM(SMCKey::fan(index, "Mx"));
  if (maximum < minimum) {
    throw SMCError::writeFailed(fmt::format("fan {} reported invalid RPM bounds", index));
  }
  if (rpm < minimum || rpm > maximum) {
    throw SMCError::writeFailed(fmt::format("fan {} target {} is outside {}...{} RPM", index, rpm, minimum, maximum));
  }
  const SMCKey key = SMCKey::fan(index, "Tg");
  const auto target = static_cast<float>(rpm);
  smc_.writeKeyUnverified(key, SMCValue::makeFloat(target));
  if (!smc_.waitForFloat(key, target, targetTolerance, verificationTimeout)) {
    throw SMCError::writeFailed(fmt::format("fan {} target {} did not latch within {}", index, rpm, timeoutText()));
  }
}

void FanController::resetToAuto(int index) {
  validate(index);
  const SMCKey key = SMCKey::fan(index, "Md");
  const SMCValue current = smc_.readKey(key);
  if (const std::uint8_t* raw = current.asUInt8(); raw != nullptr && isSystemManagedFanMode(*raw)) {
    return;
  }
  writeModeWithTransientRetry(key, static_cast<std::uint8_t>(FanMode::automatic),
                              fmt::format("fan {} automatic reset", index));
}

void FanController::validate(int index) const {
  if (index < 0 || index > FanCapabilityProbe::maxFanIndex) {
    throw SMCError::readFailed(fmt::format("fan index {} is outside the supported key range", index));
  }
}

const FanCapability& FanController::requireKnown(int index) {
  validate(index);
  const FanCapability* capability = probeCapabilities().fan(index);
  if (capability == nullptr) {
    throw SMCError::keyNotFound(fmt::format("fan {}", index));
  }
  return *capability;
}

void FanController::requireControllable(int index) {
  if (!requireKnown(index).isControllable()) {
    throw SMCError::writeFailed(fmt::format("fan {} does not support manual control on this machine", index));
  }
}

FanMode FanController::readMode(int index) {
  const SMCValue value = smc_.readKey(SMCKey::fan(index, "Md"));
  const std::uint8_t* raw = value.asUInt8();
  if (raw == nullptr) {
    logger_.error(fmt::format("fan {} mode key returned a non-ui8 value; treating as automatic", index));
    return FanMode::automatic;
  }
  const std::optional<FanMode> mode = fanModeFromRaw(*raw);
  if (!mode) {
    logger_.log(fmt::format("fan {} reported unrecognized mode {}; treating as automatic", index, *raw));
  }
  return mode.value_or(FanMode::automatic);
}

bool FanController::readsBack(SMCKey key, std::uint8_t expected) {
  try {
    return isUInt8(smc_.readKey(key), expected);
  } catch (const SMCError&) {
    return false;
  }
}

void FanController::writeModeWithTransientRetry(SMCKey key, std::uint8_t expected, const std::string& failureMessage) {
  constexpr std::int64_t attemptsPerLogRecord = 10;
  if (isUInt8(smc_.readKey(key), expected)) {
    return;
  }
  Clock& clock = smc_.clock();
  const Instant deadline = clock.steadyNow() + verificationTimeout;
  std::optional<SMCError> lastTransientError;
  std::int64_t attempt = 0;
  do {
    ++attempt;
    try {
      smc_.writeKeyUnverified(key, SMCValue::makeUInt8(expected));
    } catch (const SMCError& error) {
      if (!error.isTransient()) {
        throw;
      }
      lastTransientError = error;
      if (attempt == 1 || attempt % attemptsPerLogRecord == 0) {
        logger_.log(fmt::format("transient SMC 0x{:X} for {}; polling/retrying attempt {}", error.firmwareResult(),
                                stringFromKey(key), attempt));
      }
    }
    if (readsBack(key, expected)) {
      return;
    }
    clock.sleep(retryPeriod);
  } while (clock.steadyNow() < deadline);

  if (lastTransientError) {
    throw SMCError::writeFailed(fmt::format("{} did not latch after transient SMC retries: {}", failureMessage,
                                            lastTransientError->errorDescription()));
  }
  throw SMCError::writeFailed(fmt::format("{} did not latch within {}", failureMessage, timeoutText()));
}

}  // namespace halcyra
