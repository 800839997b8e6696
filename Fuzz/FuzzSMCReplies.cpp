// The 80-byte records that a driver answers with: whatever they hold, the program reads no nonsense and sends none.

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "FuzzTargets.h"
#include "Helpers/SensorReader.h"
#include "Platform/UnicodeText.h"
#include "SMC/FanController.h"
#include "SMC/IOKitSMCBridge.h"
#include "Support/ArbitraryDriver.h"
#include "Support/CapturingLogSink.h"
#include "Support/Expect.h"
#include "Support/ManualClock.h"

namespace halcyra::fuzz {
namespace {

constexpr std::size_t mostOperations = 8;
/// Of the input: the bridge's capability (its highest bit: with a machine), then two bytes for each operation; answers
/// follow.
constexpr std::size_t headerSize = 1 + 2 * mostOperations;

constexpr std::array<const char*, 16> keyNames{"TC0P", "#KEY", "F0Ac", "F0Mn", "F0Mx", "F0Md", "F0Tg", "F1Md",
                                               "F1Tg", "F9Tg", "Ftst", "Tf04", "TCMz", "FAMd", "F0mD", "\xFFxyz"};

/// The program's reader and writer over an arbitrary driver.
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
