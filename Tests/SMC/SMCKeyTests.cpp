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
  EXPECT_EQ(stringFromKey(SMCKey::fan(9, "Md")), "F9Md");
}

TEST(SMCKeyTest, codesThatAreNotASCIIHaveNoText) {
  EXPECT_EQ(stringFromCode(0x666C7420), "flt ");
  EXPECT_EQ(stringFromCode(0x66806C74), "????");
}

TEST(SMCKeyTest, typeNamesLoseASCIIWhiteSpaceOnly) {
  const std::pair<const char*, const char*> cases[] = {
      {"sp78", "sp78"},
      {" f\n ", "f"},
      {"    ", ""},
      {"f  t", "f  t"},
  };
  for (const auto& [code, trimmed] : cases) {
    EXPECT_EQ(trimmedTypeName(SMCKey::fromString(code).rawValue), trimmed);
  }
  // 0xA0 is white space elsewhere, but it is not ASCII.
  EXPECT_EQ(trimmedTypeName(0x666C74A0), "????");
}

TEST(SMCKeyDeathTest, brokenPreconditionsStopTheProgram) {
  EXPECT_DEATH(SMCKey::fan(10, "Tg"), "fan index lies in 0...9");
  EXPECT_DEATH(SMCKey::fan(0, "T"), "suffix has exactly two bytes");
  EXPECT_DEATH(SMCKey::fromString("TC0"), "exactly four bytes");
}

TEST(SMCValueTest, describesItselfForTheAudit) {
  const std::pair<SMCValue, const char*> cases[] = {
      {SMCValue::makeFloat(100000), "100000.0"},
      {SMCValue::makeFloat(-0.0F), "-0.0"},
      {SMCValue::makeFloat(2317.25F), "2317.25"},
      {SMCValue::makeFloat(1e20F), "1.0e+20"},
      {SMCValue::makeFloat(std::numeric_limits<float>::quiet_NaN()), "nan"},
      {SMCValue::makeUInt8(200), "200"},
      {SMCValue::makeUInt32(4294967295U), "4294967295"},
      {SMCValue::makeBytes({0x0A, 0x1B}), "0A1B"},
  };
  for (const auto& [value, text] : cases) {
    EXPECT_EQ(value.description(), text);
  }
}

TEST(SMCErrorTest, describesEveryCase) {
  const std::pair<SMCError, const char*> cases[] = {
      {SMCError::ioKitFailed("op", 5), "op failed (IOKit 0x5)"},
      {SMCError::firmwareFailed("write bytes", "F0Md", 0x0A), "write bytes failed for F0Md (SMC result 0xa)"},
      {SMCError::permissionDenied(), "Permission denied by AppleSMC"},
  };
  for (const auto& [error, text] : cases) {
    EXPECT_EQ(error.errorDescription(), text);
    EXPECT_EQ(error.asError().localizedDescription(), text);
  }
  EXPECT_EQ(SMCError::keyNotFound(std::string(4, '\0')).errorDescription(), "SMC key ???? was not found")
      << "zero bytes cut the text short";
}

}  // namespace
}  // namespace halcyra
