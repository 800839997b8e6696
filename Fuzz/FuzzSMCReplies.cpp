// The 80-byte records that a driver answers with: whatever they hold, the program reads no nonsense and sends none.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

#include "FuzzTargets.h"
#include "Helpers/SensorReader.h"
#include "Helpers/UnicodeText.h"
#include "SMC/FanController.h"
#include "SMC/IOKitSMCBridge.h"
#include "Support/CapturingLogSink.h"
#include "Support/Expect.h"
#include "Support/ManualClock.h"
#include "VirtualMac/VirtualMac.h"

namespace halcyra::fuzz {
namespace {

constexpr std::size_t mostOperations = 8;
/// Of the input: the bridge's capability (its highest bit: with a machine), then two bytes for each operation; answers
/// follow.
constexpr std::size_t headerSize = 1 + 2 * mostOperations;
/// Most keys that the driver claims to have: each one costs two calls.
constexpr std::uint32_t mostKeys = 300;
/// Calls after which the driver fails whatever it is asked, so that an input ends.
constexpr std::size_t mostCalls = 20'000;

constexpr std::array<const char*, 16> keyNames{"TC0P", "#KEY", "F0Ac", "F0Mn", "F0Mx", "F0Md", "F0Tg", "F1Md",
                                               "F1Tg", "F9Tg", "Ftst", "Tf04", "TCMz", "FAMd", "F0mD", "\xFFxyz"};

bool isZero(std::span<const std::uint8_t> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

/// Answers with the records of the input, in turn and over again; or with a simulated machine's, of which the records
/// of the input turn bits over.
class ArbitraryDriver : public IOKit {
 public:
  ArbitraryDriver(Bytes replies, SMCWriteCapability capability, bool hasMachine, Clock& clock)
      : replies_(replies), capability_(capability), clock_(clock) {
    if (hasMachine) machine_ = std::make_unique<VirtualMac>(VirtualMacConfiguration{}, makeWorkload("bursts"));
  }

  int writesSent() const { return writesSent_; }
  int openConnections() const { return openConnections_; }
  int heldServices() const { return heldServices_; }

  IOMatchingDictionary IOServiceMatching(const char* name) override { return {name}; }
  io_service_t IOServiceGetMatchingService(mach_port_t, const IOMatchingDictionary&) override {
    ++heldServices_;
    return 1;
  }
  kern_return_t IOServiceOpen(io_service_t, task_port_t, std::uint32_t, io_connect_t* connection) override {
    ++openConnections_;
    *connection = 2;
    return kIOReturnSuccess;
  }
  kern_return_t IOObjectRelease(io_object_t) override {
    --heldServices_;
    return kIOReturnSuccess;
  }
  kern_return_t IOServiceClose(io_connect_t) override {
    --openConnections_;
    return kIOReturnSuccess;
  }
  kern_return_t IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                          std::size_t inputSize, void* output, std::size_t* outputSize) override;

 private:
  void checkSent(const SMCParamStruct& record);
  void checkSentWrite(const SMCParamStruct& record);
  SMCParamStruct nextReply();
  /// The status of the call.
  kern_return_t addTruth(const SMCParamStruct& sent, SMCParamStruct& reply);

  Bytes replies_;
  SMCWriteCapability capability_;
  Clock& clock_;
  std::unique_ptr<VirtualMac> machine_;
  std::size_t position_ = 0;
  std::size_t calls_ = 0;
  int writesSent_ = 0;
  int openConnections_ = 0;
  int heldServices_ = 0;
};

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

/// The program's reader and writer over such a driver.
class ProgramUnderTest {
 public:
  ProgramUnderTest(Bytes replies, SMCWriteCapability capability, bool hasMachine)
      : capability_(capability),
        driver_(replies, capability, hasMachine, clock_),
        bridge_(driver_, clock_, capability, [this](const SMCWriteAuditEvent& event) { events_.push_back(event); }) {
    bridge_.open();
  }

  void perform(std::uint8_t operation, std::uint8_t argument);
  void finish();

 private:
  void read(int operation, SMCKey key, std::uint8_t argument);
  void write(int operation, SMCKey key, std::uint8_t argument);
  void control(int operation, std::uint8_t argument);
  void readSensors();

  SMCWriteCapability capability_;
  test::ManualClock clock_;
  test::CapturingLogSink log_;
  std::vector<SMCWriteAuditEvent> events_;
  ArbitraryDriver driver_;
  IOKitSMCBridge bridge_;
};

void ProgramUnderTest::perform(std::uint8_t operation, std::uint8_t argument) {
  const int number = operation & 0xF;
  const SMCKey key = SMCKey::fromString(keyNames[operation >> 4]);
  try {
    if (number < 6) {
      read(number, key, argument);
    } else if (number < 11) {
      write(number, key, argument);
    } else if (number < 15) {
      control(number, argument);
    } else {
      readSensors();
    }
  } catch (const SMCError& error) {
    // Codes are told as the driver has them, whatever characters they are of.
    expect(!error.errorDescription().empty() && isValidUTF8(error.errorDescription()), "a failure has a text");
  }
}

void ProgramUnderTest::read(int operation, SMCKey key, std::uint8_t argument) {
  switch (operation) {
    case 0: {
      const SMCValue value = bridge_.readKey(key);
      const auto* bytes = value.asBytes();
      expect(bytes != nullptr ? bytes->size() <= SMCParamStruct::maximumValueSize : !value.description().empty(),
             "a value can be told and fits a record");
      break;
    }
    case 1:
      expect(bridge_.getKeyInfo(key).key == key, "metadata are those of the key");
      break;
    case 2:
      expect(std::isfinite(bridge_.readTemperature(key)), "a temperature is a number");
      break;
    case 3:
      expect(bridge_.readFanRPM(key) >= 0, "a speed is not negative");
      break;
    case 4:
      bridge_.getKeyCount();
      break;
    default:
      bridge_.getKeyFromIndex(argument);
  }
}

void ProgramUnderTest::write(int operation, SMCKey key, std::uint8_t argument) {
  static constexpr std::array<float, 8> speeds{0.0F,
                                               2000.0F,
                                               -1.0F,
                                               1e30F,
                                               std::numeric_limits<float>::quiet_NaN(),
                                               std::numeric_limits<float>::infinity(),
                                               std::numeric_limits<float>::denorm_min(),
                                               2000.5F};
  const std::array<SMCValue, 4> values{SMCValue::makeUInt8(argument), SMCValue::makeFloat(speeds[argument % 8]),
                                       SMCValue::makeUInt32(argument * 0x1010101U),
                                       SMCValue::makeBytes(SMCValue::Bytes(argument, 0xAB))};
  const SMCValue& value = operation == 10 ? values[1] : values[static_cast<std::size_t>(operation - 6)];
  const std::size_t eventsBefore = events_.size();
  const int writesBefore = driver_.writesSent();
  bool succeeded = false;
  const auto check = [&] {
    const bool isGated = capability_ == SMCWriteCapability::disabled;
    expect(events_.size() - eventsBefore == (isGated ? 0U : 1U), "each attempt that passes the gate is on record once");
    expect(isGated || events_.back().succeeded == succeeded, "the record says how it ended");
    expect(driver_.writesSent() - writesBefore <= 1, "no write is repeated");
    expect(!succeeded || driver_.writesSent() - writesBefore == 1, "what succeeded was sent");
  };
  try {
    operation == 10 ? bridge_.writeKeyUnverified(key, value) : bridge_.writeKey(key, value);
    succeeded = true;
  } catch (const SMCError& error) {
    check();
    throw;
  }
  check();
}

void ProgramUnderTest::control(int operation, std::uint8_t argument) {
  FanController fans(bridge_, log_);
  const int index = argument % 12;
  const double before = clock_.elapsed().count();
  switch (operation) {
    case 11: {
      const FanInfo fan = fans.getFanInfo(index);
      expect(fan.minRPM >= 1 && fan.maxRPM >= fan.minRPM && fan.actualRPM >= 0, "a fan that can be read makes sense");
      break;
    }
    case 12:
      fans.setFanMode(index, (argument & 0x80) != 0 ? FanMode::manual : FanMode::automatic);
      break;
    case 13:
      fans.setFanRPM(index, argument * 25);
      break;
    default:
      fans.resetToAuto(index);
  }
  expect(clock_.elapsed().count() - before <= 11, "no command waits longer than a latch may take");
}

void ProgramUnderTest::readSensors() {
  SensorReader sensors(bridge_);
  for (const SensorReading& reading : sensors.readAllTemperatures()) {
    expect(reading.value >= -40 && reading.value <= 125, "a listed temperature is plausible");
    expect(reading.keyName.size() == 4 && isValidUTF8(reading.displayName), "a sensor has a name");
  }
  const CPUCoreAverage average = sensors.readCPUCoreAverage();
  expect(average.temperature >= 20 && average.temperature <= 115, "the CPU's average is plausible");
  for (const FanZoneReading& zone : average.fanZoneReadings) {
    expect(zone.temperature >= 20 && zone.temperature <= 125, "a fan's zone has a plausible temperature");
  }
}

void ProgramUnderTest::finish() {
  bridge_.close();
  expect(driver_.openConnections() == 0 && driver_.heldServices() == 0, "what was opened is closed");
}

}  // namespace

void fuzzSMCReplies(Bytes input) {
  std::array<std::uint8_t, headerSize> header{};
  const auto size = std::min(input.size(), headerSize);
  std::copy_n(input.begin(), size, header.begin());
  const auto capability = static_cast<SMCWriteCapability>(header[0] % 4);
  const bool hasMachine = (header[0] & 0x80) != 0;
  ProgramUnderTest program(input.subspan(size), capability, hasMachine);
  for (std::size_t i = 0; i < mostOperations; ++i) {
    program.perform(header[1 + 2 * i], header[2 + 2 * i]);
  }
  program.finish();
}

}  // namespace halcyra::fuzz
