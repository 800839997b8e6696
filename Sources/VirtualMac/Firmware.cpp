#include "VirtualMac/Firmware.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <utility>

#include "Platform/IOKit.h"
#include "SMC/SMCError.h"
#include "VirtualMac/Hash.h"

namespace halcyra {

namespace {

constexpr std::uint64_t latchStream = 4ULL << 40;
constexpr std::uint64_t refusalStream = 5ULL << 40;
constexpr std::uint64_t garbageStream = 6ULL << 40;
constexpr std::uint64_t tachometerStream = 7ULL << 40;

/// RPM, standard deviation of a tachometer reading.
constexpr double tachometerNoise = 3.0;

}  // namespace

Firmware::Firmware(std::uint64_t seed, FaultSet& faults, const SensorBank& sensors, const ThermalModel& thermals)
    : seed_(seed),
      faults_(faults),
      sensors_(sensors),
      thermals_(thermals),
      fans_{VirtualFan(0, minimumSpeeds[0], maximumSpeeds[0]), VirtualFan(1, minimumSpeeds[1], maximumSpeeds[1])} {}

void Firmware::settle(double now) {
  now_ = now;
  for (VirtualFan& fan : fans_) {
    const VirtualFan::LatchBlock block{
        faults_.find(FaultKind::neverLatch, SMCKey::fan(fan.index(), "Md")) != nullptr,
        faults_.find(FaultKind::neverLatch, SMCKey::fan(fan.index(), "Tg")) != nullptr,
    };
    fan.settle(now, block);
  }
}

VirtualSMCReply Firmware::call(const SMCParamStruct& input, bool privileged) {
  VirtualSMCReply reply;
  if (const Fault* const slow = faults_.find(FaultKind::slow)) {
    reply.delay = Seconds{slow->number / 1000.0};
  }
  if (faults_.driverGone()) {
    reply.status = kIOReturnNoDevice;
    return reply;
  }
  ++calls_;
  if (input.command == SMCParamStruct::writeBytes) {
    if (!privileged) {
      reply.status = kIOReturnNotPrivileged;
      return reply;
    }
    if (faults_.find(FaultKind::refuseWrites) != nullptr) {
      reply.status = kIOReturnNotPermitted;
      return reply;
    }
  }
  reply.output.result = answer(input, reply.output);
  return reply;
}

std::uint8_t Firmware::answer(const SMCParamStruct& input, SMCParamStruct& output) {
  switch (input.command) {
    case SMCParamStruct::readKeyInfo:
      return readKeyInfo(input, output);
    case SMCParamStruct::readBytes:
      return readBytes(input, output);
    case SMCParamStruct::readKeyIndex:
      return readKeyIndex(input, output);
    case SMCParamStruct::writeBytes:
      return writeBytes(input);
    default:
      return badCommand;
  }
}

const KeyEntry* Firmware::visibleKey(SMCKey key) const {
  return faults_.find(FaultKind::vanish, key) != nullptr ? nullptr : KeyTable::shared().find(key);
}

std::uint8_t Firmware::readKeyInfo(const SMCParamStruct& input, SMCParamStruct& output) const {
  const KeyEntry* const entry = visibleKey(SMCKey(input.key));
  if (entry == nullptr) {
    return SMCError::resultKeyNotFound;
  }
  output.keyInfoDataSize = entry->size;
  output.keyInfoDataType = entry->typeCode();
  output.keyInfoAttributes = entry->attributes;
  return SMCError::resultSuccess;
}

std::uint8_t Firmware::readBytes(const SMCParamStruct& input, SMCParamStruct& output) {
  const KeyEntry* const entry = visibleKey(SMCKey(input.key));
  if (entry == nullptr) {
    return SMCError::resultKeyNotFound;
  }
  if (const auto result = faults_.takeResult(FaultKind::resultRead, entry->key)) {
    return *result;
  }
  if (input.keyInfoDataSize != entry->size) {
    return sizeMismatch;
  }
  const Fault* const fault = faults_.readingFault(entry->key);
  const auto bytes = fault != nullptr ? faultyBytes(*entry, *fault) : bytesOf(*entry);
  std::copy_n(bytes.begin(), std::min(bytes.size(), output.bytes.size()), output.bytes.begin());
  return SMCError::resultSuccess;
}

std::uint8_t Firmware::readKeyIndex(const SMCParamStruct& input, SMCParamStruct& output) const {
  const auto& entries = KeyTable::shared().entries();
  if (input.data32 >= entries.size()) {
    return SMCError::resultKeyNotFound;
  }
  output.key = entries[input.data32].key.rawValue;
  return SMCError::resultSuccess;
}

std::uint8_t Firmware::writeBytes(const SMCParamStruct& input) {
  const KeyEntry* const entry = visibleKey(SMCKey(input.key));
  if (entry == nullptr) {
    return SMCError::resultKeyNotFound;
  }
  if (!entry->isWritable()) {
    return notWritable;
  }
  if (input.keyInfoDataSize != entry->size) {
    return sizeMismatch;
  }
  const std::span<const std::uint8_t> bytes(input.bytes.data(), entry->size);
  const auto value = decodeNumber(bytes, entry->type);
  if (!value || !std::isfinite(*value)) {
    return badArgument;
  }
  if (const auto result = faults_.takeResult(FaultKind::result, entry->key)) {
    return *result;
  }
  const std::uint8_t result = store(*entry, *value);
  if (result == SMCError::resultSuccess) {
    ++writes_;
    if (writeObserver_) {
      writeObserver_(stringFromKey(entry->key), *value);
    }
  }
  return result;
}

std::uint8_t Firmware::store(const KeyEntry& entry, double value) {
  switch (entry.source) {
    case KeySource::fanMode:
      return storeMode(entry.index, value);
    case KeySource::fanTarget:
      if (value < 0) {
        return badArgument;
      }
      fans_[entry.index].requestTarget(value, nextLatchTime());
      return SMCError::resultSuccess;
    case KeySource::fanTestFlag:
      if (value > 1) {
        return badArgument;
      }
      fanTestFlag_ = static_cast<std::uint8_t>(value);
      return SMCError::resultSuccess;
    default:
      stored_[entry.key] = value;
      return SMCError::resultSuccess;
  }
}

std::uint8_t Firmware::storeMode(std::size_t index, double value) {
  if (value != VirtualFan::automaticMode && value != VirtualFan::manualMode) {
    return badArgument;
  }
  const auto mode = static_cast<std::uint8_t>(value);
  VirtualFan& fan = fans_[index];
  if (mode != fan.requestedMode()) {
    ModeChange& change = modeChanges_[index];
    const std::uint64_t drawn = hashOf(seed_, refusalStream | index, change.ordinal);
    // Taking a fan away from the firmware meets more resistance than giving it back.
    const std::uint64_t refusals =
        mode == VirtualFan::manualMode ? drawn % (mostRefusals + 1) : static_cast<std::uint64_t>(drawn % 4 == 0);
    if (change.refusals < refusals) {
      ++change.refusals;
      return (drawn >> 8 & 1) != 0 ? badCommand : badParameter;
    }
    ++change.ordinal;
    change.refusals = 0;
  }
  fan.requestMode(mode, nextLatchTime());
  return SMCError::resultSuccess;
}

double Firmware::nextLatchTime() {
  const double drawn = unitOf(hashOf(seed_, latchStream, latches_++));
  const Fault* const fixed = faults_.find(FaultKind::latchDelay);
  return now_ + (fixed != nullptr ? fixed->number : leastLatchDelay + (mostLatchDelay - leastLatchDelay) * drawn);
}

double Firmware::tachometer(std::size_t index) const {
  const VirtualFan& fan = fans_[index];
  const double noise = bellOf(hashOf(seed_, tachometerStream | index, sensors_.sampleNumber()));
  return std::max(fan.actual() + tachometerNoise * noise, 0.0);
}

double Firmware::numberOf(const KeyEntry& entry) const {
  switch (entry.source) {
    case KeySource::keyCount:
      return static_cast<double>(KeyTable::shared().entries().size());
    case KeySource::temperature:
      return sensors_.temperature(entry.index);
    case KeySource::fanActual:
      return tachometer(entry.index);
    case KeySource::fanMinimum:
      return fans_[entry.index].minimum();
    case KeySource::fanMaximum:
      return fans_[entry.index].maximum();
    case KeySource::fanMode:
      return fans_[entry.index].mode();
    case KeySource::fanTarget:
      return fans_[entry.index].target();
    case KeySource::fanTestFlag:
      return fanTestFlag_;
    case KeySource::diePower:
      return thermals_.diePower();
    case KeySource::systemPower:
      return thermals_.systemPower();
    case KeySource::constantNumber: {
      const auto written = stored_.find(entry.key);
      return written != stored_.end() ? written->second : entry.number;
    }
    case KeySource::constantText:
      break;
  }
  return 0;
}

std::vector<std::uint8_t> Firmware::bytesOf(const KeyEntry& entry) const {
  if (entry.source != KeySource::constantText) {
    return encodeNumber(numberOf(entry), entry.type, entry.size);
  }
  std::vector<std::uint8_t> bytes(entry.size, 0);
  std::copy_n(entry.text.begin(), std::min(entry.text.size(), bytes.size()), bytes.begin());
  return bytes;
}

std::vector<std::uint8_t> Firmware::faultyBytes(const KeyEntry& entry, const Fault& fault) const {
  switch (fault.kind) {
    case FaultKind::freeze:
      return fault.frozen;
    case FaultKind::value:
      return encodeNumber(fault.number, entry.type, entry.size);
    case FaultKind::jump:
      return encodeNumber(numberOf(entry) + fault.number, entry.type, entry.size);
    case FaultKind::nan:
      return encodeNumber(std::numeric_limits<double>::quiet_NaN(), entry.type, entry.size);
    case FaultKind::inf:
      return encodeNumber(std::numeric_limits<double>::infinity(), entry.type, entry.size);
    default:
      break;
  }
  std::vector<std::uint8_t> bytes(entry.size);
  for (std::size_t place = 0; place < bytes.size(); ++place) {
    bytes[place] = static_cast<std::uint8_t>(hashOf(seed_, garbageStream | entry.key.rawValue, calls_ * 32 + place));
  }
  return bytes;
}

}  // namespace halcyra
