#include <gtest/gtest.h>

#include "SMC/IOKitSMCBridge.h"
#include "Support/ManualClock.h"
#include "Support/ScriptedIOKit.h"
#include "Support/Values.h"

namespace halcyra {
namespace {

using test::errorOf;
using test::ScriptedIOKit;
using test::Table;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* notOpenText = "The AppleSMC connection is not open";

/// A driver with one key "TEST" and a bridge that only reads.
class IOKitSMCBridgeTest : public testing::Test {
 protected:
  void setKey(const std::string& type, const Bytes& bytes) {
    if (!bridge.isOpen()) bridge.open();
    iokit.setKey("TEST", type, bytes);
  }
  std::string errorOfOpening() {
    return errorOf([this] { bridge.open(); });
  }
  std::string errorOfReading() {
    return errorOf([this] { bridge.readKey(key); });
  }

  const SMCKey key = SMCKey::fromString("TEST");
  test::ManualClock clock;
  ScriptedIOKit iokit;
  IOKitSMCBridge bridge{iokit, clock, SMCWriteCapability::disabled, {}};
};

TEST_F(IOKitSMCBridgeTest, opensOnceAndReleasesWhatItTookAlsoWhenOpeningFails) {
  iokit.hasMatching = false;
  EXPECT_EQ(errorOfOpening(), "AppleSMC service was not found");
  iokit.hasMatching = true;
  iokit.hasService = false;
  EXPECT_EQ(errorOfOpening(), "AppleSMC service was not found");
  iokit.hasService = true;
  iokit.openStatus = kIOReturnNotPermitted;
  EXPECT_EQ(errorOfOpening(), "Failed to open AppleSMC (IOKit 0xe00002e2)");
  EXPECT_FALSE(bridge.isOpen());
  EXPECT_EQ(errorOfReading(), notOpenText);
  EXPECT_EQ(std::pair(iokit.heldServices(), iokit.openConnections()), std::pair(0, 0));
  iokit.openStatus = kIOReturnSuccess;
  const int earlier = iokit.opens();
  {
    IOKitSMCBridge other(iokit, clock, SMCWriteCapability::disabled, {});
    other.close();
    other.open();
    other.open();
    EXPECT_EQ(iokit.matchedName(), "AppleSMC");
    EXPECT_EQ(std::tuple(iokit.opens(), iokit.heldServices(), iokit.openConnections()), std::tuple(earlier + 1, 0, 1));
    other.close();
    other.close();
    EXPECT_FALSE(other.isOpen());
    EXPECT_EQ(iokit.openConnections(), 0);
    other.open();
    EXPECT_EQ(iokit.openConnections(), 1);
  }
  EXPECT_EQ(iokit.openConnections(), 0) << "closed by its destruction";
  iokit.nextConnection = 0;
  bridge.open();
  EXPECT_EQ(errorOfReading(), notOpenText) << "the driver gave no handle";
  EXPECT_TRUE(iokit.records().empty());
}

TEST_F(IOKitSMCBridgeTest, readsSendExactlyTheirFields) {
  setKey("sp78", {0x2A, 0x80});
  EXPECT_DOUBLE_EQ(bridge.readTemperature(key), 42.5);
  errorOf([&] { bridge.getKeyFromIndex(0x01020304); });
  // Of the 80 bytes all others are zero.
  using Fields = std::vector<std::pair<std::size_t, std::uint8_t>>;
  const Fields expected[] = {{{0, 'T'}, {1, 'S'}, {2, 'E'}, {3, 'T'}, {42, 9}},
                             {{0, 'T'}, {1, 'S'}, {2, 'E'}, {3, 'T'}, {28, 2}, {42, 5}},
                             {{42, 8}, {44, 4}, {45, 3}, {46, 2}, {47, 1}}};
  ASSERT_EQ(iokit.records().size(), std::size(expected));
  for (std::size_t call = 0; call < std::size(expected); ++call) {
    ScriptedIOKit::Record record{};
    for (const auto& [offset, byte] : expected[call]) record[offset] = byte;
    EXPECT_EQ(iokit.records()[call], record) << call;
  }
}

TEST_F(IOKitSMCBridgeTest, decodesByTypeAndRefusesWhatIsTooShortOrTooLong) {
  for (const auto& [type, bytes, value] :
       Table<const char*, Bytes, SMCValue>{{"flt ", {0x00, 0x00, 0xFA, 0x44}, SMCValue::makeFloat(2000)},
                                           {"sp78", {0xFF, 0x80}, SMCValue::makeFloat(-0.5F)},
                                           {"fpe2", {0x1F, 0x40}, SMCValue::makeFloat(2000)},
                                           {"fp2e", {0xFF, 0xFF}, SMCValue::makeFloat(16383.75F)},
                                           {"ui8 ", {0xFE}, SMCValue::makeUInt8(0xFE)},
                                           {"ui16", {0x12, 0x34}, SMCValue::makeUInt32(4660)},
                                           {"ui32", {0x81, 2, 3, 4}, SMCValue::makeUInt32(0x81020304)},
                                           {"hex_", Bytes(32, 7), SMCValue::makeBytes(Bytes(32, 7))}}) {
    setKey(type, bytes);
    EXPECT_EQ(bridge.readKey(key), value) << type;
  }
  for (const auto& [type, size] : Table<std::string, std::size_t>{{"flt ", 2}, {"sp78", 1}, {"ui8 ", 0}, {"ui32", 3}}) {
    setKey(type, Bytes(size, 0));
    EXPECT_EQ(errorOfReading(),
              "SMC read failed: TEST returned fewer than " + std::to_string(size) + " bytes for " + type);
  }
  iokit.key("TEST").size = 33;
  iokit.forgetRecords();
  EXPECT_EQ(errorOfReading(), "SMC read failed: SMC values larger than 32 bytes are unsupported");
  EXPECT_EQ(iokit.commands(), std::vector<int>{9}) << "the value was asked for";
}

TEST_F(IOKitSMCBridgeTest, failedCallsNameOperationAndKey) {
  setKey("flt", {0, 0, 0, 0});
  for (const auto& [command, name, failure, text] :
       Table<std::uint8_t, const char*, ScriptedIOKit::Failure, const char*>{
           {5, "TEST", {.status = kIOReturnBadArgument}, "read bytes for TEST failed (IOKit 0xe00002c2)"},
           {5, "TEST", {.outputSize = 40}, "SMC read failed: read bytes returned 40 bytes; expected 80"},
           {5, "TEST", {.result = 0x82}, "read bytes failed for TEST (SMC result 0x82)"},
           {9, "TEST", {.result = 1}, "read key info failed for TEST (SMC result 0x1)"},
           {8, "", {.status = kIOReturnError}, "read key index 12 failed (IOKit 0xe00002bc)"},
           {8, "", {.result = 0x84}, "SMC key #12 was not found"}}) {
    iokit.fail(command, name, failure);
    EXPECT_EQ(command == 8 ? errorOf([&] { bridge.getKeyFromIndex(12); }) : errorOfReading(), text);
    iokit.clearFailures();
  }
}

Bytes floatBytes(float value) {
  return IOKitSMCBridge::encodedBytes(SMCValue::makeFloat(value), {SMCKey(), 4, 0x666C7420, 0x40, "TEST"});
}

TEST_F(IOKitSMCBridgeTest, readsCountsTemperaturesAndSpeedsOfTheirTypesOnly) {
  const auto keyCount = [this] { return std::to_string(bridge.getKeyCount()); };
  const auto temperature = [this] { return std::to_string(bridge.readTemperature(key)); };
  const auto speed = [this] { return std::to_string(bridge.readFanRPM(key)); };
  const std::string noSpeed = "SMC read failed: TEST returned an invalid RPM";
  for (const auto& [read, type, bytes, expected] : Table<std::function<std::string()>, const char*, Bytes, std::string>{
           {keyCount, "ui32", {0x00, 0x00, 0x07, 0xD1}, "2001"},
           {keyCount, "ui16", {0x07, 0xD1}, "SMC key enumeration count did not match #KEY"},
           {temperature, "flt", floatBytes(-300.5F), "-300.500000"},
           {temperature, "flt", {0x00, 0x00, 0xC0, 0x7F}, "SMC read failed: TEST returned a non-finite temperature"},
           {temperature, "fpe2", {0x1F, 0x40}, "Unsupported SMC data type: fpe2 for TEST"},
           {speed, "fpe2", {0x1F, 0x42}, "2001"},
           {speed, "flt", floatBytes(2316.5F), "2317"},
           {speed, "flt", floatBytes(-0.0F), "0"},
           {speed, "flt", floatBytes(9223371487098961920.0F), "9223371487098961920"},
           {speed, "flt", floatBytes(-0.25F), noSpeed},
           {speed, "flt", floatBytes(9223372036854775808.0F), noSpeed},
           {speed, "flt", {0x00, 0x00, 0xC0, 0x7F}, noSpeed},
           {speed, "flt", {0x00, 0x00, 0x80, 0x7F}, noSpeed},
           {speed, "sp78", {0x2A, 0x00}, "Unsupported SMC data type: sp78 for TEST"}}) {
    setKey(type, bytes);
    iokit.setKey("#KEY", type, bytes);
    std::string result;
    const std::string error = errorOf([&, &read = read] { result = read(); });
    EXPECT_EQ(result.empty() ? error : result, expected) << type;
  }
}

}  // namespace
}  // namespace halcyra
