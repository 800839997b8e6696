#include <functional>
#include <gtest/gtest.h>

#include "SMC/IOKitSMCBridge.h"
#include "Support/ManualClock.h"
#include "Support/ScriptedIOKit.h"
#include "Support/Values.h"

namespace halcyra {
namespace {

using test::errorOf;
using test::ManualClock;
using test::ScriptedIOKit;
using Bytes = std::vector<std::uint8_t>;

class IOKitSMCBridgeTest : public testing::Test {
 protected:
  ManualClock clock;
  ScriptedIOKit iokit;
  IOKitSMCBridge bridge{iokit, clock, SMCWriteCapability::disabled, {}};
};

TEST_F(IOKitSMCBridgeTest, opensOnceClosesAndReleasesWhatItTook) {
  {
    IOKitSMCBridge other(iokit, clock, SMCWriteCapability::disabled, {});
    other.close();
    other.open();
    other.open();
    EXPECT_EQ(iokit.matchedName(), "AppleSMC");
    EXPECT_EQ(iokit.opens(), 1);
    EXPECT_EQ(iokit.heldServices(), 0);
    other.close();
    other.close();
    EXPECT_FALSE(other.isOpen());
    EXPECT_EQ(iokit.openConnections(), 0);
    other.open();
    EXPECT_EQ(iokit.openConnections(), 1);
  }
  EXPECT_EQ(iokit.openConnections(), 0);
}

TEST_F(IOKitSMCBridgeTest, failedOpensLeaveNothingBehind) {
  iokit.hasMatching = false;
  EXPECT_EQ(errorOf([&] { bridge.open(); }), "AppleSMC service was not found");
  iokit.hasMatching = true;
  iokit.hasService = false;
  EXPECT_EQ(errorOf([&] { bridge.open(); }), "AppleSMC service was not found");
  iokit.hasService = true;
  iokit.openStatus = kIOReturnNotPermitted;
  EXPECT_EQ(errorOf([&] { bridge.open(); }), "Failed to open AppleSMC (IOKit 0xe00002e2)");
  EXPECT_FALSE(bridge.isOpen());
  EXPECT_EQ(iokit.heldServices(), 0);
  EXPECT_EQ(iokit.openConnections(), 0);
}

TEST_F(IOKitSMCBridgeTest, withoutAConnectionEveryCallSaysSo) {
  const char* const notOpen = "The AppleSMC connection is not open";
  EXPECT_EQ(errorOf([&] { bridge.readKey(SMCKey::cpuCore); }), notOpen);
  iokit.nextConnection = 0;
  bridge.open();
  EXPECT_EQ(errorOf([&] { bridge.readTemperature(SMCKey::cpuCore); }), notOpen);
  EXPECT_TRUE(iokit.records().empty());
}

TEST_F(IOKitSMCBridgeTest, readsSendExactlyTheirFields) {
  iokit.setKey("TC0P", "sp78", {0x2A, 0x80});
  bridge.open();
  EXPECT_DOUBLE_EQ(bridge.readTemperature(SMCKey::cpuProximity), 42.5);
  errorOf([&] { bridge.getKeyFromIndex(0x01020304); });
  // Of the 80 bytes all others are zero.
  using Fields = std::vector<std::pair<std::size_t, std::uint8_t>>;
  const Fields expected[] = {{{0, 'P'}, {1, '0'}, {2, 'C'}, {3, 'T'}, {42, 9}},
                             {{0, 'P'}, {1, '0'}, {2, 'C'}, {3, 'T'}, {28, 2}, {42, 5}},
                             {{42, 8}, {44, 4}, {45, 3}, {46, 2}, {47, 1}}};
  ASSERT_EQ(iokit.records().size(), std::size(expected));
  for (std::size_t call = 0; call < std::size(expected); ++call) {
    ScriptedIOKit::Record record{};
    for (const auto& [offset, byte] : expected[call]) record[offset] = byte;
    EXPECT_EQ(iokit.records()[call], record) << call;
  }
}

TEST_F(IOKitSMCBridgeTest, decodesByType) {
  struct Case {
    const char* type;
    Bytes bytes;
    SMCValue value;
  };
  const Case cases[] = {
      {"flt ", {0x00, 0x00, 0xFA, 0x44}, SMCValue::makeFloat(2000)},
      {"sp78", {0xFF, 0x80}, SMCValue::makeFloat(-0.5F)},
      {"fpe2", {0x1F, 0x40}, SMCValue::makeFloat(2000)},
      {"fp2e", {0xFF, 0xFF}, SMCValue::makeFloat(16383.75F)},
      {"ui8 ", {0xFE}, SMCValue::makeUInt8(0xFE)},
      {"ui16", {0x12, 0x34}, SMCValue::makeUInt32(4660)},
      {"ui32", {0x81, 0x02, 0x03, 0x04}, SMCValue::makeUInt32(0x81020304)},
      {"hex_", {1, 2, 3}, SMCValue::makeBytes({1, 2, 3})},
  };
  bridge.open();
  for (const Case& each : cases) {
    iokit.setKey("TEST", each.type, each.bytes);
    EXPECT_EQ(bridge.readKey(SMCKey::fromString("TEST")), each.value) << each.type;
  }
}

TEST_F(IOKitSMCBridgeTest, valuesThatAreTooShortFailInsteadOfReadingWrong) {
  bridge.open();
  const std::tuple<const char*, std::size_t, const char*> cases[] = {
      {"flt", 2, "SMC read failed: TEST returned fewer than 2 bytes for flt "},
      {"sp78", 1, "SMC read failed: TEST returned fewer than 1 bytes for sp78"},
      {"ui8", 0, "SMC read failed: TEST returned fewer than 0 bytes for ui8 "},
      {"ui32", 3, "SMC read failed: TEST returned fewer than 3 bytes for ui32"},
  };
  for (const auto& [type, size, text] : cases) {
    iokit.setKey("TEST", type, Bytes(size, 0));
    EXPECT_EQ(errorOf([&] { bridge.readKey(SMCKey::fromString("TEST")); }), text);
  }
}

TEST_F(IOKitSMCBridgeTest, valuesOfUpTo32BytesAreReadLargerOnesRefusedBeforeTheCall) {
  bridge.open();
  iokit.setKey("TEST", "hex_", Bytes(32, 7));
  EXPECT_EQ(bridge.readKey(SMCKey::fromString("TEST")), SMCValue::makeBytes(Bytes(32, 7)));
  iokit.key("TEST").size = 33;
  iokit.forgetRecords();
  EXPECT_EQ(errorOf([&] { bridge.readKey(SMCKey::fromString("TEST")); }),
            "SMC read failed: SMC values larger than 32 bytes are unsupported");
  EXPECT_EQ(iokit.commands(), (std::vector<int>{9}));
}

TEST_F(IOKitSMCBridgeTest, failedCallsNameOperationAndKey) {
  iokit.setKey("TC0P", "flt", {0, 0, 0, 0});
  bridge.open();
  const auto read = [&] { bridge.readKey(SMCKey::cpuProximity); };
  const auto index = [&] { bridge.getKeyFromIndex(12); };
  struct Case {
    std::uint8_t command;
    const char* name;
    ScriptedIOKit::Failure failure;
    std::function<void()> work;
    const char* text;
  };
  const Case cases[] = {
      {5, "TC0P", {.status = kIOReturnBadArgument}, read, "read bytes for TC0P failed (IOKit 0xe00002c2)"},
      {5, "TC0P", {.outputSize = 40}, read, "SMC read failed: read bytes returned 40 bytes; expected 80"},
      {5, "TC0P", {.result = 0x82}, read, "read bytes failed for TC0P (SMC result 0x82)"},
      {9, "TC0P", {.result = 1}, read, "read key info failed for TC0P (SMC result 0x1)"},
      {8, "", {.status = kIOReturnError}, index, "read key index 12 failed (IOKit 0xe00002bc)"},
      {8, "", {.result = 0x84}, index, "SMC key #12 was not found"},
  };
  for (const Case& each : cases) {
    iokit.fail(each.command, each.name, each.failure);
    EXPECT_EQ(errorOf(each.work), each.text);
    iokit.clearFailures();
  }
}

TEST_F(IOKitSMCBridgeTest, countsKeysBigEndian) {
  bridge.open();
  iokit.setKey("#KEY", "ui32", {0x00, 0x00, 0x07, 0xD1});
  EXPECT_EQ(bridge.getKeyCount(), 2001U);
  iokit.setKey("#KEY", "ui16", {0x07, 0xD1});
  EXPECT_EQ(errorOf([&] { bridge.getKeyCount(); }), "SMC key enumeration count did not match #KEY");
}

Bytes floatBytes(float value) {
  return IOKitSMCBridge::encodedBytes(SMCValue::makeFloat(value), {SMCKey(), 4, 0x666C7420, 0x40, "TEST"});
}

TEST_F(IOKitSMCBridgeTest, readsTemperaturesOfTheTwoTypesOnly) {
  bridge.open();
  const SMCKey key = SMCKey::fromString("TEST");
  iokit.setKey("TEST", "flt", floatBytes(-300.5F));
  EXPECT_DOUBLE_EQ(bridge.readTemperature(key), -300.5);
  iokit.setKey("TEST", "flt", {0x00, 0x00, 0xC0, 0x7F});
  EXPECT_EQ(errorOf([&] { bridge.readTemperature(key); }), "SMC read failed: TEST returned a non-finite temperature");
  iokit.setKey("TEST", "fpe2", {0x1F, 0x40});
  EXPECT_EQ(errorOf([&] { bridge.readTemperature(key); }), "Unsupported SMC data type: fpe2 for TEST");
}

TEST_F(IOKitSMCBridgeTest, readsFanSpeedsRoundedAndUsable) {
  bridge.open();
  const SMCKey key = SMCKey::fromString("TEST");
  const std::tuple<const char*, Bytes, std::int64_t> good[] = {
      {"fpe2", {0x1F, 0x42}, 2001},
      {"flt", floatBytes(2316.5F), 2317},
      {"flt", floatBytes(-0.0F), 0},
      {"flt", floatBytes(9223371487098961920.0F), 9223371487098961920},
  };
  for (const auto& [type, bytes, rpm] : good) {
    iokit.setKey("TEST", type, bytes);
    EXPECT_EQ(bridge.readFanRPM(key), rpm);
  }
  for (const Bytes& bytes :
       {floatBytes(-0.25F), floatBytes(9223372036854775808.0F), Bytes{0, 0, 0xC0, 0x7F}, Bytes{0, 0, 0x80, 0x7F}}) {
    iokit.setKey("TEST", "flt", bytes);
    EXPECT_EQ(errorOf([&] { bridge.readFanRPM(key); }), "SMC read failed: TEST returned an invalid RPM");
  }
  iokit.setKey("TEST", "sp78", {0x2A, 0x00});
  EXPECT_EQ(errorOf([&] { bridge.readFanRPM(key); }), "Unsupported SMC data type: sp78 for TEST");
}

}  // namespace
}  // namespace halcyra
