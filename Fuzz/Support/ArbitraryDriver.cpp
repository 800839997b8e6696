#include "Support/ArbitraryDriver.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <span>
#include <string>

#include "Support/Expect.h"

namespace halcyra::fuzz {

namespace {

/// Most keys that the driver claims to have: each one costs two calls.
constexpr std::uint32_t mostKeys = 300;
/// Calls after which the driver fails whatever it is asked, so that an input ends.
constexpr std::size_t mostCalls = 20'000;

bool isZero(std::span<const std::uint8_t> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

}  // namespace

ArbitraryDriver::ArbitraryDriver(Bytes replies, SMCWriteCapability capability, bool hasMachine, Clock& clock)
    : replies_(replies), capability_(capability), clock_(clock) {
  if (hasMachine) machine_ = std::make_unique<VirtualMac>(VirtualMacConfiguration{}, makeWorkload("bursts"));
}

SMCParamStruct ArbitraryDriver::nextReply() {
  SMCParamStruct reply;
  if (!replies_.empty()) {
    if (position_ >= replies_.size()) position_ = 0;
    const auto size = std::min(replies_.size() - position_, sizeof reply);
    std::memcpy(static_cast<void*>(&reply), replies_.data() + position_, size);
    position_ += sizeof reply;
  }
  return reply;
}

kern_return_t ArbitraryDriver::addTruth(const SMCParamStruct& sent, SMCParamStruct& reply) {
  machine_->advance(clock_.steadyNow().time_since_epoch());
  const VirtualSMCReply truth = machine_->call(sent, true);
  const auto bytes = std::as_writable_bytes(std::span(&reply, 1));
  const auto trueBytes = std::as_bytes(std::span(&truth.output, 1));
  std::transform(bytes.begin(), bytes.end(), trueBytes.begin(), bytes.begin(), std::bit_xor<>());
  return truth.status;
}

kern_return_t ArbitraryDriver::IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector,
                                                         const void* input, std::size_t inputSize, void* output,
                                                         std::size_t* outputSize) {
  SMCParamStruct sent;
  expect(connection == 2 && selector == SMCParamStruct::selector, "the one connection's one selector is called");
  expect(inputSize == sizeof sent && outputSize != nullptr && *outputSize == sizeof sent, "records have 80 bytes");
  std::memcpy(static_cast<void*>(&sent), input, sizeof sent);
  checkSent(sent);
  SMCParamStruct reply = nextReply();
  if (++calls_ > mostCalls) return kIOReturnError;
  if ((reply.versionMajor & 1) != 0) return static_cast<kern_return_t>(reply.data32 | 1);
  if (machine_ != nullptr) {
    if (const kern_return_t status = addTruth(sent, reply); status != kIOReturnSuccess) return status;
  }
  if (sent.key == SMCKey::fromString("#KEY").rawValue && sent.command == SMCParamStruct::readBytes) {
    const auto limited =
        std::min<std::uint32_t>(mostKeys, static_cast<std::uint32_t>(reply.bytes[2] << 8 | reply.bytes[3]));
    // Whole or not at all: a count that no table has is refused before anything is read.
    const bool isHuge = reply.bytes[0] != 0;
    if (!isHuge) reply.bytes = {0, 0, static_cast<std::uint8_t>(limited >> 8), static_cast<std::uint8_t>(limited)};
  }
  std::memcpy(output, &reply, sizeof reply);
  *outputSize = (reply.versionMajor & 2) != 0 ? reply.versionRelease : sizeof reply;
  return kIOReturnSuccess;
}

void ArbitraryDriver::checkSent(const SMCParamStruct& record) {
  SMCParamStruct rest = record;
  rest.command = 0;
  switch (record.command) {
    case SMCParamStruct::readKeyInfo:
      rest.key = 0;
      break;
    case SMCParamStruct::readBytes:
      expect(record.keyInfoDataSize <= SMCParamStruct::maximumValueSize, "no value is asked for that fits no record");
      rest.key = rest.keyInfoDataSize = 0;
      break;
    case SMCParamStruct::readKeyIndex:
      rest.data32 = 0;
      break;
    case SMCParamStruct::writeBytes:
      checkSentWrite(record);
      rest.key = rest.keyInfoDataSize = 0;
      rest.bytes = {};
      break;
    default:
      expect(false, "there are four operations");
  }
  expect(rest == SMCParamStruct{}, "a record holds nothing but its operation's fields");
}

void ArbitraryDriver::checkSentWrite(const SMCParamStruct& record) {
  ++writesSent_;
  expect(capability_ != SMCWriteCapability::disabled, "a reading bridge writes nothing");
  const std::string name = stringFromKey(SMCKey(record.key));
  const bool isFanKey = name[0] == 'F' && name[1] >= '0' && name[1] <= '9';
  const bool isFlag = name == "Ftst" || (isFanKey && name.substr(2) == "Md");
  const bool isTarget = isFanKey && name.substr(2) == "Tg";
  expect(isFlag || isTarget, "nothing but the fans' keys is written");
  expect(name != "Ftst" || capability_ != SMCWriteCapability::phase2HardwareTest, "the test flag needs its capability");
  const std::size_t size = isFlag ? 1 : sizeof(float);
  expect(record.keyInfoDataSize == size && isZero(std::span(record.bytes).subspan(size)), "a value has its key's size");
  if (isFlag) {
    expect(record.bytes[0] <= 1, "a flag is 0 or 1");
  } else {
    float target = 0;
    std::memcpy(&target, record.bytes.data(), sizeof target);
    expect(std::isfinite(target), "a target is a number");
  }
}

}  // namespace halcyra::fuzz
