#include <gtest/gtest.h>
#include <limits>

#include "SMC/SMCError.h"
#include "SMC/SMCKey.h"
#include "SMC/SMCValue.h"

namespace halcyra {
namespace {

TEST(SMCKeyTest, packsTheFirstCharacterHighest) {
  EXPECT_EQ(SMCKey::cpuProximity.rawValue, 0x54433050U);
  EXPECT_EQ(SMCKey::fan(0, "Tg").rawValue, 0x46305467U);
  EXPECT_EQ(SMCKey::fromString("#KEY").rawValue, 0x234B4559U);
  EXPECT_EQ(SMCKey::fan(1, "Tg"), SMCKey::fan1TargetRPM);
  EXPECT_NE(SMCKey::fan(1, "Tg"), SMCKey::fan0TargetRPM);
  EXPECT_EQ(stringFromKey(SMCKey::fan(9, "Md")), "F9Md");
  const std::pair<SMCKey, const char*> named[] = {
      {SMCKey::cpuCore, "TC0c"},       {SMCKey::gpuProximity, "TG0P"},  {SMCKey::palmRest, "Ts0P"},
      {SMCKey::batteryTemp, "TB0T"},   {SMCKey::fan0ActualRPM, "F0Ac"}, {SMCKey::fan0MinRPM, "F0Mn"},
      {SMCKey::fan0MaxRPM, "F0Mx"},    {SMCKey::fan0Mode, "F0Md"},      {SMCKey::fan1ActualRPM, "F1Ac"},
      {SMCKey::fan1MinRPM, "F1Mn"},    {SMCKey::fan1MaxRPM, "F1Mx"},    {SMCKey::fan1Mode, "F1Md"},
      {SMCKey::fan1TargetRPM, "F1Tg"}, {SMCKey::fan0TargetRPM, "F0Tg"}, {SMCKey::fanTestMode, "Ftst"},
  };
  for (const auto& [key, text] : named) {
    EXPECT_EQ(stringFromKey(key), text);
  }
}

TEST(SMCKeyTest, codesThatAreNotASCIIHaveNoText) {
  EXPECT_EQ(stringFromCode(0x666C7420), "flt ");
  EXPECT_EQ(stringFromCode(0x66806C74), "????");
  EXPECT_EQ(stringFromCode(0xFF666C74), "????");
  EXPECT_EQ(stringFromCode(0x666C74FF), "????");
}

TEST(SMCKeyTest, typeNamesLoseASCIIWhiteSpaceOnly) {
  const std::pair<const char*, const char*> cases[] = {
      {"flt ", "flt"},  {" flt", "flt"}, {"ui8\t", "ui8"}, {" f\n ", "f"},
      {"sp78", "sp78"}, {"    ", ""},    {"f  t", "f  t"},
  };
  for (const auto& [code, trimmed] : cases) {
    EXPECT_EQ(trimmedTypeName(SMCKey::fromString(code).rawValue), trimmed);
  }
  // 0xA0 is white space elsewhere, but it is not ASCII.
  EXPECT_EQ(trimmedTypeName(0x666C74A0), "????");
}

TEST(SMCKeyDeathTest, brokenPreconditionsStopTheProgram) {
  EXPECT_DEATH(SMCKey::fan(10, "Tg"), "fan index lies in 0...9");
  EXPECT_DEATH(SMCKey::fan(-1, "Tg"), "fan index lies in 0...9");
  EXPECT_DEATH(SMCKey::fan(0, "T"), "suffix has exactly two bytes");
  EXPECT_DEATH(SMCKey::fromString("TC0"), "exactly four bytes");
  EXPECT_DEATH(SMCKey::fromString("TC0PP"), "exactly four bytes");
}

TEST(SMCValueTest, comparesPerCase) {
  EXPECT_EQ(SMCValue::makeFloat(1), SMCValue::makeFloat(1));
  EXPECT_EQ(SMCValue::makeFloat(-0.0F), SMCValue::makeFloat(0.0F));
  EXPECT_NE(SMCValue::makeFloat(1), SMCValue::makeUInt8(1));
  EXPECT_NE(SMCValue::makeUInt8(1), SMCValue::makeUInt32(1));
  EXPECT_EQ(SMCValue::makeBytes({1, 2}), SMCValue::makeBytes({1, 2}));
  EXPECT_NE(SMCValue::makeBytes({1, 2}), SMCValue::makeBytes({1, 2, 0}));
  const SMCValue notANumber = SMCValue::makeFloat(std::numeric_limits<float>::quiet_NaN());
  EXPECT_NE(notANumber, notANumber);
}

TEST(SMCValueTest, describesItselfForTheAudit) {
  const std::pair<SMCValue, const char*> cases[] = {
      {SMCValue::makeFloat(2000), "2000.0"},
      {SMCValue::makeFloat(100000), "100000.0"},
      {SMCValue::makeFloat(0.1F), "0.1"},
      {SMCValue::makeFloat(-0.0F), "-0.0"},
      {SMCValue::makeFloat(2317.25F), "2317.25"},
      {SMCValue::makeFloat(1e20F), "1.0e+20"},
      {SMCValue::makeFloat(1.5e-8F), "1.5e-08"},
      {SMCValue::makeFloat(std::numeric_limits<float>::infinity()), "inf"},
      {SMCValue::makeFloat(std::numeric_limits<float>::quiet_NaN()), "nan"},
      {SMCValue::makeUInt8(200), "200"},
      {SMCValue::makeUInt32(4294967295U), "4294967295"},
      {SMCValue::makeBytes({0x0A, 0x1B}), "0A1B"},
      {SMCValue::makeBytes({}), ""},
  };
  for (const auto& [value, text] : cases) {
    EXPECT_EQ(value.description(), text);
  }
}

TEST(SMCErrorTest, describesEveryCase) {
  const std::pair<SMCError, const char*> cases[] = {
      {SMCError::connectionFailedWithCode(static_cast<std::int32_t>(0xE00002C2)),
       "Failed to open AppleSMC (IOKit 0xe00002c2)"},
      {SMCError::keyNotFound("TC0P"), "SMC key TC0P was not found"},
      {SMCError::readFailed("m"), "SMC read failed: m"},
      {SMCError::writeFailed("m"), "SMC write failed: m"},
      {SMCError::ioKitFailed("read bytes for TC0P", -1), "read bytes for TC0P failed (IOKit 0xffffffff)"},
      {SMCError::ioKitFailed("op", 5), "op failed (IOKit 0x5)"},
      {SMCError::firmwareFailed("write bytes", "F0Md", 0x0A), "write bytes failed for F0Md (SMC result 0xa)"},
      {SMCError::unsupportedType("hex_ for TC0P"), "Unsupported SMC data type: hex_ for TC0P"},
      {SMCError::connectionFailed(), "AppleSMC service was not found"},
      {SMCError::notOpen(), "The AppleSMC connection is not open"},
      {SMCError::permissionDenied(), "Permission denied by AppleSMC"},
      {SMCError::keyCountMismatch(), "SMC key enumeration count did not match #KEY"},
  };
  for (const auto& [error, text] : cases) {
    EXPECT_EQ(error.errorDescription(), text);
    EXPECT_EQ(error.asError().localizedDescription(), text);
  }
  EXPECT_EQ(SMCError::firmwareFailed("op", "k", 0x82).firmwareResult(), 0x82);
}

TEST(SMCErrorTest, aCodeOfZeroBytesDoesNotCutTheTextShort) {
  EXPECT_EQ(SMCError::keyNotFound(std::string(4, '\0')).errorDescription(), "SMC key ???? was not found");
}

}  // namespace
}  // namespace halcyra
