#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "VirtualMac/KeyTable.h"
#include "VirtualMac/SensorBank.h"
#include "VirtualMac/VirtualFan.h"
#include "VirtualMac/VirtualMac.h"

namespace halcyra {

/// Answers the calls of the SMC's user client. Knows keys, types, attributes and results; owns the fans' keys.
class Firmware {
 public:
  /// Results beside those of `SMCError`. `badCommand` and `badParameter` are also what a mode write is answered with
  /// while the firmware is not ready for it.
  static constexpr std::uint8_t badCommand = 0x82;
  static constexpr std::uint8_t badParameter = 0x83;
  static constexpr std::uint8_t notWritable = 0x86;
  static constexpr std::uint8_t sizeMismatch = 0x87;
  static constexpr std::uint8_t badArgument = 0x89;

  /// Seconds from an accepted write to its effect.
  static constexpr double leastLatchDelay = 0.05;
  static constexpr double mostLatchDelay = 0.6;
  /// How often a mode write is refused at most before it is accepted.
  static constexpr std::uint32_t mostRefusals = 3;

  /// RPM, by fan.
  static constexpr std::array<double, KeyTable::fanCount> minimumSpeeds{1350, 1350};
  static constexpr std::array<double, KeyTable::fanCount> maximumSpeeds{5700, 6200};

  using Fans = std::array<VirtualFan, KeyTable::fanCount>;
  using WriteObserver = std::function<void(const std::string& key, double value)>;

  /// All references outlive the firmware.
  Firmware(std::uint64_t seed, FaultSet& faults, const SensorBank& sensors, const ThermalModel& thermals);

  /// Lets pending writes take effect that are due by `now`, seconds since power-on.
  void settle(double now);
  VirtualSMCReply call(const SMCParamStruct& input, bool privileged);

  /// The true bytes of a key, without faults.
  std::vector<std::uint8_t> bytesOf(const KeyEntry& entry) const;
  /// The true number of a numeric key, without faults.
  double numberOf(const KeyEntry& entry) const;

  Fans& fans() { return fans_; }
  const Fans& fans() const { return fans_; }
  std::uint64_t calls() const { return calls_; }
  std::uint64_t writes() const { return writes_; }
  void setWriteObserver(WriteObserver observer) { writeObserver_ = std::move(observer); }

 private:
  /// How far a change of a fan's mode has come.
  struct ModeChange {
    std::uint64_t ordinal = 0;
    std::uint32_t refusals = 0;
  };

  const KeyEntry* visibleKey(SMCKey key) const;
  std::uint8_t answer(const SMCParamStruct& input, SMCParamStruct& output);
  std::uint8_t readKeyInfo(const SMCParamStruct& input, SMCParamStruct& output) const;
  std::uint8_t readBytes(const SMCParamStruct& input, SMCParamStruct& output);
  std::uint8_t readKeyIndex(const SMCParamStruct& input, SMCParamStruct& output) const;
  std::uint8_t writeBytes(const SMCParamStruct& input);
  std::uint8_t store(const KeyEntry& entry, double value);
  std::uint8_t storeMode(std::size_t index, double value);
  std::vector<std::uint8_t> faultyBytes(const KeyEntry& entry, const Fault& fault) const;
  double nextLatchTime();
  double tachometer(std::size_t index) const;

  std::uint64_t seed_;
  FaultSet& faults_;
  const SensorBank& sensors_;
  const ThermalModel& thermals_;
  Fans fans_;
  double now_ = 0;
  std::array<ModeChange, KeyTable::fanCount> modeChanges_{};
  std::uint8_t fanTestFlag_ = 0;
  /// Values written to keys that merely store them.
  std::map<SMCKey, double> stored_;
  std::uint64_t calls_ = 0;
  std::uint64_t writes_ = 0;
  std::uint64_t latches_ = 0;
  WriteObserver writeObserver_;
};

}  // namespace halcyra
