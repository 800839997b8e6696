#include "Daemon/InterruptibleSMC.h"

#include "SMC/FanInfo.h"

namespace halcyra {

InterruptibleSMC::InterruptibleSMC(SMCInterface& smc, const HandBackEpoch& epoch, FanLedger& ledger)
    : smc_(smc), epoch_(epoch), ledger_(ledger), clock_(*this) {}

void InterruptibleSMC::check() const {
  if (epoch_.current() != ticket_) {
    throw SupersededByHandBack();
  }
}

void InterruptibleSMC::open() {
  check();
  smc_.open();
}

void InterruptibleSMC::close() {
  smc_.close();
}

SMCValue InterruptibleSMC::readKey(SMCKey key) {
  check();
  SMCValue value = smc_.readKey(key);
  if (const auto fan = fanOfModeKey(key); fan && value.asUInt8() != nullptr) {
    ledger_.modeRead(*fan, *value.asUInt8());
  }
  return value;
}

void InterruptibleSMC::writeKey(SMCKey key, const SMCValue& value) {
  checkWrite(key, value);
  smc_.writeKey(key, value);
}

void InterruptibleSMC::writeKeyUnverified(SMCKey key, const SMCValue& value) {
  checkWrite(key, value);
  smc_.writeKeyUnverified(key, value);
}

SMCKeyInfo InterruptibleSMC::getKeyInfo(SMCKey key) {
  check();
  return smc_.getKeyInfo(key);
}

SMCKey InterruptibleSMC::getKeyFromIndex(std::uint32_t index) {
  check();
  return smc_.getKeyFromIndex(index);
}

std::uint32_t InterruptibleSMC::getKeyCount() {
  check();
  return smc_.getKeyCount();
}

double InterruptibleSMC::readTemperature(SMCKey key) {
  check();
  return smc_.readTemperature(key);
}

std::int64_t InterruptibleSMC::readFanRPM(SMCKey key) {
  check();
  return smc_.readFanRPM(key);
}

void InterruptibleSMC::CheckedClock::sleep(Seconds duration) {
  owner_.check();
  owner_.smc_.clock().sleep(duration);
  owner_.check();
}

// The ledger hears of it before the write: one that fails on the way back may still have reached the firmware.
void InterruptibleSMC::checkWrite(SMCKey key, const SMCValue& value) {
  check();
  const auto fan = fanOfModeKey(key);
  const std::uint8_t* raw = value.asUInt8();
  const auto mode = fan && raw != nullptr ? fanModeFromRaw(*raw) : std::nullopt;
  if (mode == FanMode::automatic) {
    return;
  }
  const Instant now = smc_.clock().steadyNow();
  if (now >= epoch_.sessionDeadline()) {
    throw SupersededByHandBack();
  }
  if (mode == FanMode::manual) {
    ledger_.manualWritten(*fan, now);
  }
}

}  // namespace halcyra
