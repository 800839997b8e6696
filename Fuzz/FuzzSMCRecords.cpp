// The 80-byte records that a client of the simulated machine's driver sends.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "fmt/format.h"
#include "nlohmann/json.hpp"

#include "FuzzTargets.h"
#include "Platform/IOKit.h"
#include "Support/Expect.h"
#include "VirtualMac/Fault.h"
#include "VirtualMac/KeyTable.h"
#include "VirtualMac/VirtualFan.h"
#include "VirtualMac/VirtualMac.h"

namespace halcyra::fuzz {
namespace {

constexpr std::size_t mostRecords = 64;
/// Seconds that one input may last.
constexpr double longestRecordRun = 60;

/// What the fields say that the firmware does not look at.
struct Circumstances {
  bool privileged;
  double wait;
  std::string fault;
};

Circumstances circumstancesOf(const SMCParamStruct& record) {
  static constexpr std::array<const char*, 16> faults{
      "",          "vanish {}",        "garbage {}",  "value {} 12",        "nan {}",        "inf {}",
      "freeze {}", "jump {} 1e6",      "clear",       "never-latch {}",     "latch-delay 0", "latch-delay 3600",
      "slow 50",   "result {} 0x82 2", "driver-gone", "result-read {} 0x84"};
  const std::string key = stringFromKey(SMCKey(record.key));
  return {(record.versionMajor & 1) != 0, record.versionRelease * 0.01,
          fmt::format(fmt::runtime(faults[record.versionMinor % faults.size()]), key)};
}

class MachineUnderTest {
 public:
  MachineUnderTest() : mac_({}, makeWorkload("bursts")) {
    mac_.setWriteObserver([this](const std::string& key, double value) { noteWrite(key, value); });
  }

  void applyFault(const std::string& command) {
    try {
      mac_.faults().apply(command);
    } catch (const FaultError& error) {
      expectReadable(error.errorDescription());
    }
  }
  void advance(double seconds) { mac_.advance(Seconds{seconds}); }
  VirtualSMCReply call(const SMCParamStruct& record, bool privileged);
  void checkFans() const;
  std::string stateText() const { return mac_.state().json().dump(); }

 private:
  void noteWrite(const std::string& key, double value);
  void checkStatus(const VirtualSMCReply& reply, bool isWrite, bool privileged);
  static void checkOutput(const SMCParamStruct& input, const SMCParamStruct& output);

  VirtualMac mac_;
  int writes_ = 0;
};

void MachineUnderTest::noteWrite(const std::string& key, double value) {
  const KeyEntry* entry = KeyTable::shared().find(SMCKey::fromString(key));
  expect(entry != nullptr && entry->isWritable(), "only writable keys are written");
  expect(std::isfinite(value), "what is written is a number");
  ++writes_;
}

VirtualSMCReply MachineUnderTest::call(const SMCParamStruct& record, bool privileged) {
  const bool isWrite = record.command == SMCParamStruct::writeBytes;
  const int writesBefore = writes_;
  const VirtualSMCReply reply = mac_.call(record, privileged);
  const bool wrote = isWrite && privileged && reply.status == kIOReturnSuccess && reply.output.result == 0;
  expect(writes_ - writesBefore == static_cast<int>(wrote), "an accepted write of a privileged client alone writes");
  checkStatus(reply, isWrite, privileged);
  if (reply.status == kIOReturnSuccess) {
    checkOutput(record, reply.output);
  } else {
    expect(reply.output == SMCParamStruct{}, "a call that fails answers nothing");
  }
  return reply;
}

void MachineUnderTest::checkStatus(const VirtualSMCReply& reply, bool isWrite, bool privileged) {
  if (mac_.faults().driverGone()) {
    expect(reply.status == kIOReturnNoDevice, "a driver that is gone answers nothing");
    return;
  }
  const bool refused = isWrite && !privileged;
  expect(reply.status == (refused ? kIOReturnNotPrivileged : kIOReturnSuccess), "writing needs privilege, no more");
  expect(reply.delay >= Seconds{0} && reply.delay <= Seconds{60}, "no call takes longer than a minute");
}

// An answer holds what its operation fills in and nothing else, and a refusal holds nothing.
void MachineUnderTest::checkOutput(const SMCParamStruct& input, const SMCParamStruct& output) {
  SMCParamStruct rest = output;
  rest.result = 0;
  if (output.result == 0) {
    const KeyEntry* entry = KeyTable::shared().find(SMCKey(input.key));
    switch (input.command) {
      case SMCParamStruct::readKeyInfo:
        expect(entry == nullptr || output.keyInfoDataSize == entry->size, "a key's size is that of the table");
        expect(output.keyInfoDataSize <= SMCParamStruct::maximumValueSize, "every value fits a record");
        rest.keyInfoDataSize = rest.keyInfoDataType = 0;
        rest.keyInfoAttributes = 0;
        break;
      case SMCParamStruct::readBytes:
        std::fill_n(rest.bytes.begin(), std::min<std::size_t>(input.keyInfoDataSize, rest.bytes.size()),
                    std::uint8_t{0});
        break;
      case SMCParamStruct::readKeyIndex:
        expect(KeyTable::shared().find(SMCKey(output.key)) != nullptr || output.key == 0, "the table lists its keys");
        rest.key = 0;
        break;
      default:
        break;
    }
  }
  expect(rest == SMCParamStruct{}, "an answer holds nothing but what was asked for");
}

void MachineUnderTest::checkFans() const {
  for (const VirtualFanState& fan : mac_.state().fans) {
    expect(fan.mode == VirtualFan::automaticMode || fan.mode == VirtualFan::manualMode ||
               fan.mode == VirtualFan::systemMode,
           "a fan is in a mode that there is");
    expect(fan.target >= fan.minimum && fan.target <= fan.maximum, "a target lies within the fan's limits");
    expect(fan.actual >= 0 && fan.actual <= fan.maximum + 1, "a fan turns no faster than it can");
  }
  for (const auto& [key, celsius] : mac_.state().temperatures) {
    expect(std::isfinite(celsius) && celsius > -60 && celsius < 200, "temperatures stay on this earth");
  }
}

bool isSame(const VirtualSMCReply& first, const VirtualSMCReply& second) {
  return first.status == second.status && first.output == second.output && first.delay == second.delay;
}

}  // namespace

void fuzzSMCRecords(Bytes input) {
  MachineUnderTest machine;
  MachineUnderTest twin;
  double now = 0;
  for (std::size_t count = 0; count < mostRecords && !input.empty(); ++count) {
    SMCParamStruct record;
    const auto size = std::min(input.size(), sizeof record);
    std::memcpy(static_cast<void*>(&record), input.data(), size);
    input = input.subspan(size);
    const Circumstances around = circumstancesOf(record);
    now = std::min(now + around.wait, longestRecordRun);
    for (MachineUnderTest* each : {&machine, &twin}) {
      each->advance(now);
      if (!around.fault.empty()) each->applyFault(around.fault);
    }
    expect(isSame(machine.call(record, around.privileged), twin.call(record, around.privileged)),
           "the same calls get the same answers");
    machine.checkFans();
  }
  expect(machine.stateText() == twin.stateText(), "the same calls end in the same state");
  expect(nlohmann::json::accept(machine.stateText()), "the state can be told");
}

}  // namespace halcyra::fuzz
