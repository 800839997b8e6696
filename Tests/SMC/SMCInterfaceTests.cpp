#include <gtest/gtest.h>

#include "SMC/SMCInterface.h"
#include "Support/ManualClock.h"
#include "Support/ScriptedSMC.h"

namespace halcyra {
namespace {

using test::ManualClock;
using test::ScriptedSMC;

class SMCWaitTest : public testing::Test {
 protected:
  ManualClock clock;
  ScriptedSMC smc{clock};
};

TEST_F(SMCWaitTest, aKeyThatNeverReadsIsPolledEvery200MillisecondsUntilTheTimeout) {
  EXPECT_FALSE(smc.waitForUInt8(SMCKey::fan0Mode, 1, Seconds{1.0}));
  EXPECT_EQ(smc.count("read F0Md"), 5);
  EXPECT_NEAR(clock.elapsed().count(), 1.0, 1e-9);
}

TEST_F(SMCWaitTest, aMatchReturnsAtOnceAndATimeoutOfZeroReadsNothing) {
  smc.setUInt8("F0Md", 1);
  EXPECT_FALSE(smc.waitForUInt8(SMCKey::fan0Mode, 1, Seconds{0.0}));
  EXPECT_TRUE(smc.accesses().empty());
  EXPECT_TRUE(smc.waitForUInt8(SMCKey::fan0Mode, 1, Seconds{10.0}));
  EXPECT_EQ(smc.count("read F0Md"), 1);
  EXPECT_EQ(clock.sleeps(), 0);
}

TEST_F(SMCWaitTest, errorsAndOtherCasesAreNoMatchUntilTheValueComes) {
  smc.setFloat("F0Md", 1);
  smc.setReadHook([this](const std::string& key, int earlierReads) {
    if (earlierReads == 1) {
      smc.failReads(key, SMCError::readFailed("busy"));
    } else if (earlierReads == 2) {
      smc.failReads(key, std::nullopt);
      smc.setUInt8(key, 1);
    }
  });
  EXPECT_TRUE(smc.waitForUInt8(SMCKey::fan0Mode, 1, Seconds{10.0}));
  EXPECT_EQ(smc.count("read F0Md"), 3);
  EXPECT_NEAR(clock.elapsed().count(), 0.4, 1e-9);
}

TEST_F(SMCWaitTest, floatsMatchWithinTheToleranceInclusively) {
  const std::pair<double, bool> cases[] = {{2002, true}, {1998, true}, {2002.5, false}, {1997.5, false}};
  for (const auto& [value, matches] : cases) {
    smc.setFloat("F0Tg", value);
    EXPECT_EQ(smc.waitForFloat(SMCKey::fan0TargetRPM, 2000, 2, Seconds{0.4}), matches) << value;
  }
  smc.setUInt8("F0Tg", 200);
  EXPECT_FALSE(smc.waitForFloat(SMCKey::fan0TargetRPM, 200, 2, Seconds{0.4}));
}

TEST_F(SMCWaitTest, whatIsNoFailureOfTheSMCIsNotSwallowed) {
  smc.setUInt8("F0Md", 1);
  smc.setReadHook([](const std::string&, int) { throw std::runtime_error("overtaken"); });
  EXPECT_THROW(smc.waitForUInt8(SMCKey::fan0Mode, 1, Seconds{1.0}), std::runtime_error);
}

}  // namespace
}  // namespace halcyra
