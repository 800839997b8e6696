#include <functional>
#include <gtest/gtest.h>
#include <limits>

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
using enum SMCWriteCapability;

constexpr float floatNaN = std::numeric_limits<float>::quiet_NaN();

SMCKeyInfo infoOf(const std::string& name, std::string_view type, std::uint32_t size, std::uint8_t attributes = 0x40) {
  return {SMCKey::fromString(name), size, SMCKey::fromString(type).rawValue, attributes, name};
}

TEST(FanWriteAllowlistTest, allowsFanModesTargetsAndTheTestFlagWithTheirRulesAndNothingElse) {
  struct Case {
    const char* key;
    SMCValue value;
    SMCKeyInfo info;
    SMCWriteCapability capability;
    std::string text;
  };
  const auto outside = [](const std::string& key) {
    return "SMC write failed: " + key + " is outside the fan-write allowlist";
  };
  const SMCValue one = SMCValue::makeUInt8(1);
  const SMCValue speed = SMCValue::makeFloat(2000);
  const char* const mode = "SMC write failed: F0Md requires ui8 mode 0 or 1";
  const char* const target = "SMC write failed: F0Tg requires a finite native-endian flt value";
  const char* const flag = "SMC write failed: Ftst requires ui8 flag 0 or 1";
  const char* const locked = "SMC write failed: Ftst requires an explicit unlock-capable bridge";
  const char* const noAccess = "SMC write failed: F0Md metadata does not grant write access";
  const Case cases[] = {
      {"F0Md", one, infoOf("F0Md", "ui8 ", 1), phase2HardwareTest, "no error"},
      {"F9Tg", speed, infoOf("F9Tg", "flt ", 4), ftstUnlockProbe, "no error"},
      {"F0Tg", one, infoOf("F0Tg", "flt ", 4), disabled, "SMC write failed: capability gate is disabled"},
      {"Ftst", one, infoOf("Ftst", "ui8 ", 1), disabled, "SMC write failed: capability gate is disabled"},
      {"F0Md", one, infoOf("F0Md", "ui8 ", 1, 0xBF), privilegedHelper, noAccess},
      {"F0Md", one, infoOf("F1Md", "ui8 ", 1), privilegedHelper, noAccess},
      {"F0Md", SMCValue::makeUInt8(2), infoOf("F0Md", "ui8 ", 1), privilegedHelper, mode},
      {"F0Md", one, infoOf("F0Md", "ui8 ", 2), privilegedHelper, mode},
      {"F0Md", one, infoOf("F0Md", " ui8", 1), privilegedHelper, mode},
      {"F0Md", SMCValue::makeUInt32(1), infoOf("F0Md", "ui8 ", 1), privilegedHelper, mode},
      {"F0Tg", SMCValue::makeFloat(floatNaN), infoOf("F0Tg", "flt ", 4), privilegedHelper, target},
      {"F0Tg", speed, infoOf("F0Tg", "fpe2", 4), privilegedHelper, target},
      {"F0Tg", speed, infoOf("F0Tg", "flt ", 8), privilegedHelper, target},
      {"F0Tg", one, infoOf("F0Tg", "flt ", 4), privilegedHelper, target},
      {"Ftst", one, infoOf("Ftst", "ui8 ", 1), phase2HardwareTest, locked},
      {"Ftst", one, infoOf("Ftst", "ui8 ", 1), privilegedHelper, "no error"},
      {"Ftst", SMCValue::makeUInt8(2), infoOf("Ftst", "ui8 ", 1), ftstUnlockProbe, flag},
      {"F0Mn", speed, infoOf("F0Mn", "flt ", 4), privilegedHelper, outside("F0Mn")},
      {"FAMd", one, infoOf("FAMd", "ui8 ", 1), privilegedHelper, outside("FAMd")},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(errorOf([&] { IOKitSMCBridge::validateFanWrite(each.key, each.value, each.info, each.capability); }),
              each.text);
  }
}

TEST(SMCEncoderTest, encodesTheFourTypesAndRefusesTheRest) {
  struct Case {
    SMCValue value;
    const char* type;
    std::uint32_t size;
    Bytes bytes;
    const char* text;
  };
  const Case cases[] = {
      {SMCValue::makeFloat(2000), "flt ", 4, {0x00, 0x00, 0xFA, 0x44}, "no error"},
      {SMCValue::makeUInt8(7), "ui8 ", 1, {7}, "no error"},
      {SMCValue::makeUInt32(65535), "ui16", 2, {0xFF, 0xFF}, "no error"},
      {SMCValue::makeUInt32(0x81020304), "ui32", 4, {0x81, 2, 3, 4}, "no error"},
      {SMCValue::makeFloat(1), "flt ", 8, {}, "SMC write failed: TEST has unexpected size 8 for flt "},
      {SMCValue::makeUInt8(7), "ui8 ", 2, {}, "SMC write failed: TEST has unexpected size 2 for ui8 "},
      {SMCValue::makeUInt32(1), "ui16", 4, {}, "SMC write failed: TEST value does not fit ui16"},
      {SMCValue::makeUInt32(1), "ui32", 2, {}, "SMC write failed: TEST has unexpected size 2 for ui32"},
      {SMCValue::makeFloat(floatNaN),
       "flt ",
       4,
       {},
       "SMC write failed: TEST cannot be written with a non-finite float"},
      {SMCValue::makeUInt32(65536), "ui16", 2, {}, "SMC write failed: TEST value does not fit ui16"},
      {SMCValue::makeUInt32(1), "ui8 ", 1, {}, "SMC write failed: TEST expects ui8 ; incompatible typed value"},
      {SMCValue::makeFloat(1), "fpe2", 2, {}, "SMC write failed: TEST expects fpe2; incompatible typed value"},
  };
  for (const Case& each : cases) {
    Bytes bytes;
    const std::string text =
        errorOf([&] { bytes = IOKitSMCBridge::encodedBytes(each.value, infoOf("TEST", each.type, each.size)); });
    EXPECT_EQ(text, each.text);
    EXPECT_EQ(bytes, each.bytes) << each.type;
  }
}

class IOKitSMCBridgeWriteTest : public testing::Test {
 protected:
  IOKitSMCBridgeWriteTest() {
    iokit.setKey("F0Md", "ui8", {0});
    iokit.setKey("F0Tg", "flt", {0, 0, 0, 0});
    bridge.open();
  }

  ManualClock clock;
  ScriptedIOKit iokit;
  std::vector<SMCWriteAuditEvent> audit;
  IOKitSMCBridge bridge{iokit, clock, privilegedHelper,
                        [this](const SMCWriteAuditEvent& event) { audit.push_back(event); }};
};

TEST_F(IOKitSMCBridgeWriteTest, onlyAVerifiedWriteReadsBackAndShowsBothSidesWhenTheyDiffer) {
  const auto target = SMCValue::makeFloat(2000);
  bridge.writeKey(SMCKey::fan0TargetRPM, target);
  EXPECT_EQ(iokit.commands(), (std::vector<int>{9, 6, 5}));
  EXPECT_EQ(iokit.key("F0Tg").bytes, (Bytes{0x00, 0x00, 0xFA, 0x44}));
  iokit.ignoresWrites = true;
  iokit.setKey("F0Tg", "flt", {0, 0, 0, 0});
  bridge.writeKeyUnverified(SMCKey::fan0TargetRPM, target);
  EXPECT_EQ(iokit.commands(), (std::vector<int>{9, 6, 5, 9, 6}));
  const std::string text = "SMC write failed: F0Tg readback mismatch: wrote 00 00 FA 44, read 00 00 00 00";
  EXPECT_EQ(errorOf([&] { bridge.writeKey(SMCKey::fan0TargetRPM, target); }), text);
  EXPECT_EQ(audit, (std::vector<SMCWriteAuditEvent>{{"F0Tg", "2000.0", true, "verified readback"},
                                                    {"F0Tg", "2000.0", true, "write sent; async application expected"},
                                                    {"F0Tg", "2000.0", false, text}}));
}

TEST_F(IOKitSMCBridgeWriteTest, aDisabledBridgeTouchesNothing) {
  std::vector<SMCWriteAuditEvent> events;
  IOKitSMCBridge reader(iokit, clock, disabled, [&](const SMCWriteAuditEvent& event) { events.push_back(event); });
  reader.open();
  for (const bool verified : {true, false}) {
    EXPECT_EQ(errorOf([&] {
                const SMCValue value = SMCValue::makeFloat(2000);
                verified ? reader.writeKey(SMCKey::fan0TargetRPM, value)
                         : reader.writeKeyUnverified(SMCKey::fan0TargetRPM, value);
              }),
              "SMC write failed: capability gate is disabled");
  }
  EXPECT_TRUE(events.empty());
  EXPECT_TRUE(iokit.records().empty());
}

TEST_F(IOKitSMCBridgeWriteTest, refusedAndFailedWritesAreAuditedAndRefusedOnesNeverSent) {
  struct Case {
    SMCKey key;
    std::uint8_t mode;
    ScriptedIOKit::Failure failure;
    std::vector<int> commands;
    const char* text;
  };
  const Case cases[] = {
      {SMCKey::fan0Mode, 2, {}, {9}, "SMC write failed: F0Md requires ui8 mode 0 or 1"},
      {SMCKey::fan1Mode, 1, {}, {9}, "SMC key F1Md was not found"},
      {SMCKey::fan0Mode, 1, {.result = 0x82}, {9, 6}, "write bytes failed for F0Md (SMC result 0x82)"},
      {SMCKey::fan0Mode, 1, {.status = -1}, {9, 6}, "write bytes for F0Md failed (IOKit 0xffffffff)"},
  };
  for (const Case& each : cases) {
    audit.clear();
    iokit.forgetRecords();
    iokit.fail(SMCParamStruct::writeBytes, stringFromKey(each.key), each.failure);
    const SMCValue value = SMCValue::makeUInt8(each.mode);
    EXPECT_EQ(errorOf([&] { bridge.writeKey(each.key, value); }), each.text);
    EXPECT_EQ(iokit.commands(), each.commands);
    EXPECT_EQ(audit,
              (std::vector<SMCWriteAuditEvent>{{stringFromKey(each.key), value.description(), false, each.text}}));
    EXPECT_EQ(iokit.key("F0Md").bytes, Bytes{0});
  }
  bridge.close();
  EXPECT_EQ(errorOf([&] { bridge.writeKey(SMCKey::fan0Mode, SMCValue::makeUInt8(1)); }),
            "The AppleSMC connection is not open");
  ASSERT_EQ(audit.size(), 2U);
  EXPECT_FALSE(audit[1].succeeded);
}

}  // namespace
}  // namespace halcyra
