#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "SMC/SMCKey.h"
#include "SMC/SMCParamStruct.h"
#include "VirtualMac/VirtualMac.h"

namespace halcyra::test {

/// A machine with shorthands for single calls.
struct MachineBench {
  explicit MachineBench(std::string_view workload = "idle", std::uint64_t seed = 1)
      : machine(VirtualMacConfiguration{seed, "Mac15,11", 24.0}, makeWorkload(workload, seed)) {}

  void runTo(double time) { machine.advance(Seconds{time}); }

  VirtualSMCReply call(std::uint8_t command, std::string_view key, std::uint32_t size = 0) {
    SMCParamStruct input;
    input.command = command;
    input.key = SMCKey::fromString(key).rawValue;
    input.keyInfoDataSize = size;
    return machine.call(input, true);
  }

  VirtualSMCReply info(std::string_view key) { return call(SMCParamStruct::readKeyInfo, key); }

  VirtualSMCReply read(std::string_view key) {
    return call(SMCParamStruct::readBytes, key, info(key).output.keyInfoDataSize);
  }

  float readFloat(std::string_view key) {
    const auto reply = read(key);
    float value = 0;
    std::memcpy(&value, reply.output.bytes.data(), sizeof value);
    return value;
  }

  int readByte(std::string_view key) { return read(key).output.bytes[0]; }

  VirtualSMCReply writeMode(int fan, std::uint8_t mode, bool privileged = true) {
    SMCParamStruct input;
    input.command = SMCParamStruct::writeBytes;
    input.key = SMCKey::fan(fan, "Md").rawValue;
    input.keyInfoDataSize = 1;
    input.bytes[0] = mode;
    return machine.call(input, privileged);
  }

  VirtualSMCReply writeTarget(int fan, float rpm, bool privileged = true) {
    SMCParamStruct input;
    input.command = SMCParamStruct::writeBytes;
    input.key = SMCKey::fan(fan, "Tg").rawValue;
    input.keyInfoDataSize = 4;
    std::memcpy(input.bytes.data(), &rpm, sizeof rpm);
    return machine.call(input, privileged);
  }

  /// Writes until the firmware has accepted, and says how often it refused.
  int insistOnMode(int fan, std::uint8_t mode) {
    int refusals = 0;
    while (writeMode(fan, mode).output.result != 0) {
      ++refusals;
      if (refusals > 100) {
        break;
      }
    }
    return refusals;
  }

  double truth(std::string_view key) const {
    for (const auto& [name, celsius] : machine.state().temperatures) {
      if (name == key) {
        return celsius;
      }
    }
    return -1000;
  }

  VirtualMac machine;
};

}  // namespace halcyra::test
