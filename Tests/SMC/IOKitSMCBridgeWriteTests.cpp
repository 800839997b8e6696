#include <gtest/gtest.h>
#include <limits>

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
using enum SMCWriteCapability;

const SMCValue one = SMCValue::makeUInt8(1);
const SMCValue two = SMCValue::makeUInt8(2);
const SMCValue wideOne = SMCValue::makeUInt32(1);
const SMCValue speed = SMCValue::makeFloat(2000);
const SMCValue notFinite = SMCValue::makeFloat(std::numeric_limits<float>::quiet_NaN());

SMCKeyInfo infoOf(const std::string& name, std::string_view type, std::uint32_t size, std::uint8_t attributes = 0x40) {
  return {SMCKey::fromString(name), size, SMCKey::fromString(type).rawValue, attributes, name};
}

TEST(FanWriteAllowlistTest, allowsFanModesTargetsAndTheTestFlagWithTheirRulesAndNothingElse) {
  const std::string mode = "F0Md requires ui8 mode 0 or 1";
  const std::string target = "F0Tg requires a finite native-endian flt value";
  const std::string locked = "Ftst requires an explicit unlock-capable bridge";
  const std::string noAccess = "F0Md metadata does not grant write access";
  for (const auto& [key, value, info, capability, text] :
       Table<std::string, SMCValue, SMCKeyInfo, SMCWriteCapability, std::string>{
           {"F0Md", one, infoOf("F0Md", "ui8 ", 1), phase2HardwareTest, ""},
           {"F9Tg", speed, infoOf("F9Tg", "flt ", 4), ftstUnlockProbe, ""},
           {"Ftst", one, infoOf("Ftst", "ui8 ", 1), privilegedHelper, ""},
           {"F0Tg", one, infoOf("F0Tg", "flt ", 4), disabled, "capability gate is disabled"},
           {"Ftst", one, infoOf("Ftst", "ui8 ", 1), disabled, "capability gate is disabled"},
           {"Ftst", one, infoOf("Ftst", "ui8 ", 1), phase2HardwareTest, locked},
           {"Ftst", two, infoOf("Ftst", "ui8 ", 1), ftstUnlockProbe, "Ftst requires ui8 flag 0 or 1"},
           {"F0Md", one, infoOf("F0Md", "ui8 ", 1, 0xBF), privilegedHelper, noAccess},
           {"F0Md", one, infoOf("F1Md", "ui8 ", 1), privilegedHelper, noAccess},
           {"F0Md", two, infoOf("F0Md", "ui8 ", 1), privilegedHelper, mode},
           {"F0Md", one, infoOf("F0Md", "ui8 ", 2), privilegedHelper, mode},
           {"F0Md", one, infoOf("F0Md", " ui8", 1), privilegedHelper, mode},
           {"F0Md", wideOne, infoOf("F0Md", "ui8 ", 1), privilegedHelper, mode},
           {"F0Tg", notFinite, infoOf("F0Tg", "flt ", 4), privilegedHelper, target},
           {"F0Tg", speed, infoOf("F0Tg", "fpe2", 4), privilegedHelper, target},
           {"F0Tg", speed, infoOf("F0Tg", "flt ", 8), privilegedHelper, target},
           {"F0Mn", speed, infoOf("F0Mn", "flt ", 4), privilegedHelper, "F0Mn is outside the fan-write allowlist"},
           {"FAMd", one, infoOf("FAMd", "ui8 ", 1), privilegedHelper, "FAMd is outside the fan-write allowlist"}}) {
    const std::string error = errorOf([&key = key, &value = value, &info = info, capability = capability] {
      IOKitSMCBridge::validateFanWrite(key, value, info, capability);
    });
    EXPECT_EQ(error, text.empty() ? "no error" : "SMC write failed: " + text);
  }
}

TEST(SMCEncoderTest, encodesTheFourTypesAndRefusesTheRest) {
  for (const auto& [value, type, size, bytes, text] : Table<SMCValue, const char*, std::uint32_t, Bytes, std::string>{
           {speed, "flt ", 4, {0x00, 0x00, 0xFA, 0x44}, ""},
           {one, "ui8 ", 1, {1}, ""},
           {SMCValue::makeUInt32(65535), "ui16", 2, {0xFF, 0xFF}, ""},
           {SMCValue::makeUInt32(0x81020304), "ui32", 4, {0x81, 2, 3, 4}, ""},
           {speed, "flt ", 8, {}, "has unexpected size 8 for flt "},
           {one, "ui8 ", 2, {}, "has unexpected size 2 for ui8 "},
           {wideOne, "ui16", 4, {}, "value does not fit ui16"},
           {wideOne, "ui32", 2, {}, "has unexpected size 2 for ui32"},
           {notFinite, "flt ", 4, {}, "cannot be written with a non-finite float"},
           {SMCValue::makeUInt32(65536), "ui16", 2, {}, "value does not fit ui16"},
           {wideOne, "ui8 ", 1, {}, "expects ui8 ; incompatible typed value"},
           {speed, "fpe2", 2, {}, "expects fpe2; incompatible typed value"}}) {
    Bytes encoded;
    const SMCKeyInfo info = infoOf("TEST", type, size);
    const std::string error = errorOf([&, &value = value] { encoded = IOKitSMCBridge::encodedBytes(value, info); });
    EXPECT_EQ(error, text.empty() ? "no error" : "SMC write failed: TEST " + text);
    EXPECT_EQ(encoded, bytes) << type;
  }
}

class IOKitSMCBridgeWriteTest : public testing::Test {
 protected:
  IOKitSMCBridgeWriteTest() {
    iokit.setKey("F0Md", "ui8", {0});
    iokit.setKey("F0Tg", "flt", {0, 0, 0, 0});
    bridge.open();
  }

  test::ManualClock clock;
  ScriptedIOKit iokit;
  std::vector<SMCWriteAuditEvent> audit;
  std::function<void(const SMCWriteAuditEvent&)> note = [this](const auto& event) { audit.push_back(event); };
  IOKitSMCBridge bridge{iokit, clock, privilegedHelper, note};
};

TEST_F(IOKitSMCBridgeWriteTest, onlyAVerifiedWriteReadsBackAndShowsBothSidesWhenTheyDiffer) {
  bridge.writeKey(SMCKey::fan0TargetRPM, speed);
  EXPECT_EQ(iokit.commands(), (std::vector<int>{9, 6, 5}));
  EXPECT_EQ(iokit.key("F0Tg").bytes, (Bytes{0x00, 0x00, 0xFA, 0x44}));
  iokit.ignoresWrites = true;
  iokit.setKey("F0Tg", "flt", {0, 0, 0, 0});
  bridge.writeKeyUnverified(SMCKey::fan0TargetRPM, speed);
  EXPECT_EQ(iokit.commands(), (std::vector<int>{9, 6, 5, 9, 6}));
  const std::string text = "SMC write failed: F0Tg readback mismatch: wrote 00 00 FA 44, read 00 00 00 00";
  EXPECT_EQ(errorOf([&] { bridge.writeKey(SMCKey::fan0TargetRPM, speed); }), text);
  EXPECT_EQ(audit, (std::vector<SMCWriteAuditEvent>{{"F0Tg", "2000.0", true, "verified readback"},
                                                    {"F0Tg", "2000.0", true, "write sent; async application expected"},
                                                    {"F0Tg", "2000.0", false, text}}));
}

TEST_F(IOKitSMCBridgeWriteTest, aDisabledBridgeTouchesNothing) {
  IOKitSMCBridge reader(iokit, clock, disabled, note);
  reader.open();
  const std::string text = "SMC write failed: capability gate is disabled";
  EXPECT_EQ(errorOf([&] { reader.writeKey(SMCKey::fan0TargetRPM, speed); }), text);
  EXPECT_EQ(errorOf([&] { reader.writeKeyUnverified(SMCKey::fan0TargetRPM, speed); }), text);
  EXPECT_TRUE(audit.empty());
  EXPECT_TRUE(iokit.records().empty());
}

TEST_F(IOKitSMCBridgeWriteTest, refusedAndFailedWritesAreAuditedAndRefusedOnesNeverSent) {
  for (const auto& [key, value, failure, commands, text] :
       Table<SMCKey, SMCValue, ScriptedIOKit::Failure, std::vector<int>, std::string>{
           {SMCKey::fan0Mode, two, {}, {9}, "SMC write failed: F0Md requires ui8 mode 0 or 1"},
           {SMCKey::fan1Mode, one, {}, {9}, "SMC key F1Md was not found"},
           {SMCKey::fan0Mode, one, {.result = 0x82}, {9, 6}, "write bytes failed for F0Md (SMC result 0x82)"},
           {SMCKey::fan0Mode, one, {.status = -1}, {9, 6}, "write bytes for F0Md failed (IOKit 0xffffffff)"}}) {
    audit.clear();
    iokit.forgetRecords();
    iokit.fail(SMCParamStruct::writeBytes, stringFromKey(key), failure);
    EXPECT_EQ(errorOf([&, &key = key, &value = value] { bridge.writeKey(key, value); }), text);
    EXPECT_EQ(iokit.commands(), commands);
    EXPECT_EQ(audit, (std::vector<SMCWriteAuditEvent>{{stringFromKey(key), value.description(), false, text}}));
    EXPECT_EQ(iokit.key("F0Md").bytes, Bytes{0});
  }
  bridge.close();
  EXPECT_EQ(errorOf([&] { bridge.writeKey(SMCKey::fan0Mode, one); }), "The AppleSMC connection is not open");
  EXPECT_FALSE(audit.back().succeeded);
  EXPECT_EQ(audit.size(), 2U);
}

}  // namespace
}  // namespace halcyra
