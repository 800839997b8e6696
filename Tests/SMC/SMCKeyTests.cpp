#include <gtest/gtest.h>
#include <limits>

#include "SMC/SMCError.h"
#include "SMC/SMCKey.h"
#include "SMC/SMCValue.h"
#include "Support/ManualClock.h"
#include "Support/ScriptedSMC.h"
#include "Support/Values.h"

namespace halcyra {
namespace {

using test::ScriptedSMC;
using test::Table;

TEST(SMCKeyTest, packsFourCharactersOfWhichTypeNamesLoseASCIIWhiteSpaceOnly) {
  EXPECT_EQ(SMCKey::fan(0, "Tg").rawValue, 0x46305467U);
  EXPECT_EQ(stringFromKey(SMCKey::fan(9, "Md")), "F9Md");
  EXPECT_EQ(stringFromCode(0x66806C74), "????");
  for (const auto& [code, trimmed] :
       Table<const char*, const char*>{{"sp78", "sp78"}, {" f\n ", "f"}, {"    ", ""}, {"f  t", "f  t"}}) {
    EXPECT_EQ(trimmedTypeName(SMCKey::fromString(code).rawValue), trimmed);
  }
  EXPECT_EQ(trimmedTypeName(0x666C74A0), "????") << "0xA0 is white space elsewhere, but it is not ASCII";
  EXPECT_DEATH(SMCKey::fan(10, "Tg"), "fan index lies in 0...9");
  EXPECT_DEATH(SMCKey::fan(0, "T"), "suffix has exactly two bytes");
  EXPECT_DEATH(SMCKey::fromString("TC0"), "exactly four bytes");
}

TEST(SMCValueTest, describesItselfForTheAudit) {
  for (const auto& [value, text] :
       Table<SMCValue, const char*>{{SMCValue::makeFloat(100000), "100000.0"},
                                    {SMCValue::makeFloat(-0.0F), "-0.0"},
                                    {SMCValue::makeFloat(2317.25F), "2317.25"},
                                    {SMCValue::makeFloat(1e20F), "1.0e+20"},
                                    {SMCValue::makeFloat(std::numeric_limits<float>::quiet_NaN()), "nan"},
                                    {SMCValue::makeUInt8(200), "200"},
                                    {SMCValue::makeUInt32(4294967295U), "4294967295"},
                                    {SMCValue::makeBytes({0x0A, 0x1B}), "0A1B"}}) {
    EXPECT_EQ(value.description(), text);
  }
}

TEST(SMCErrorTest, writesCodesInHexadecimalAndKeysWithoutZeroBytes) {
  const SMCError error = SMCError::firmwareFailed("write bytes", "F0Md", 0x0A);
  EXPECT_EQ(error.errorDescription(), "write bytes failed for F0Md (SMC result 0xa)");
  EXPECT_EQ(error.asError().localizedDescription(), error.errorDescription());
  EXPECT_EQ(SMCError::ioKitFailed("op", 5).errorDescription(), "op failed (IOKit 0x5)");
  EXPECT_EQ(SMCError::keyNotFound(std::string(4, '\0')).errorDescription(), "SMC key ???? was not found");
}

TEST(SMCWaitTest, looksEvery200MillisecondsUntilTheValueIsThereOrTheTimeIsUp) {
  using Machine = ScriptedSMC&;
  const auto present = [](Machine smc) { smc.setUInt8("F0Md", 1); };
  // Another type, an error, and then the value.
  const auto late = [](Machine smc) {
    smc.setFloat("F0Md", 1);
    smc.setReadHook([&smc](const std::string& key, int earlierReads) {
      smc.failReads(key, earlierReads == 1 ? std::optional(SMCError::readFailed("busy")) : std::nullopt);
      if (earlierReads == 2) smc.setUInt8(key, 1);
    });
  };
  for (const auto& [prepare, timeout, matches, reads, seconds] :
       Table<std::function<void(Machine)>, double, bool, long, double>{{[](Machine) {}, 1.0, false, 5, 1.0},
                                                                       {present, 10.0, true, 1, 0.0},
                                                                       {present, 0.0, false, 0, 0.0},
                                                                       {late, 10.0, true, 3, 0.4}}) {
    test::ManualClock clock;
    ScriptedSMC smc(clock);
    prepare(smc);
    EXPECT_EQ(smc.waitForUInt8(SMCKey::fan0Mode, 1, Seconds{timeout}), matches);
    EXPECT_EQ(smc.count("read F0Md"), reads);
    EXPECT_NEAR(clock.elapsed().count(), seconds, 1e-9);
  }
}

TEST(SMCWaitTest, floatsMatchWithinTheToleranceAndOnlyFailuresOfTheSMCAreSwallowed) {
  test::ManualClock clock;
  ScriptedSMC smc(clock);
  for (const auto& [value, matches] :
       Table<double, bool>{{2002, true}, {1998, true}, {2002.5, false}, {1997.5, false}}) {
    smc.setFloat("F0Tg", value);
    EXPECT_EQ(smc.waitForFloat(SMCKey::fan0TargetRPM, 2000, 2, Seconds{0.4}), matches) << value;
  }
  smc.setUInt8("F0Tg", 200);
  EXPECT_FALSE(smc.waitForFloat(SMCKey::fan0TargetRPM, 200, 2, Seconds{0.4}));
  smc.setReadHook([](const std::string&, int) { throw std::runtime_error("overtaken"); });
  EXPECT_THROW(smc.waitForUInt8(SMCKey::fan0TargetRPM, 200, Seconds{1.0}), std::runtime_error);
}

}  // namespace
}  // namespace halcyra
