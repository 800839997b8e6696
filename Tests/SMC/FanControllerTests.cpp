#include <gtest/gtest.h>

#include "Helpers/FanCurve.h"
#include "SMC/FanController.h"
#include "Support/CapturingLogSink.h"
#include "Support/ManualClock.h"
#include "Support/ScriptedSMC.h"
#include "Support/Values.h"

namespace halcyra {
namespace {

using test::ScriptedSMC;
using test::Table;
using Texts = std::vector<std::string>;

/// Fan 0 with 1200…6500 RPM.
class FanControllerTest : public testing::Test {
 protected:
  FanControllerTest() { smc.addFan(0, 1200, 6500); }

  std::string errorOfMode(FanMode mode, int index = 0) {
    return test::errorOf([&] { controller.setFanMode(index, mode); });
  }
  std::string errorOfTarget(std::int64_t rpm, int index = 0) {
    return test::errorOf([&] { controller.setFanRPM(index, rpm); });
  }
  std::string errorOfReading(int index = 0) {
    return test::errorOf([&] { controller.getFanInfo(index); });
  }
  std::string errorOfReset(int index = 0) {
    return test::errorOf([&] { controller.resetToAuto(index); });
  }
  void throwOnWrite(const SMCError& error) {
    smc.setWriteHandler([error](const std::string&, const SMCValue&) { throw error; });
  }

  test::ManualClock clock;
  test::CapturingLogSink log;
  ScriptedSMC smc{clock};
  FanController controller{smc, log};
};

TEST_F(FanControllerTest, fansThatCannotBeOrWereNotProbedAreNeitherReadNorWritten) {
  for (const int index : {-1, 10}) {
    const std::string text =
        "SMC read failed: fan index " + std::to_string(index) + " is outside the supported key range";
    EXPECT_EQ((Texts{errorOfReading(index), errorOfMode(FanMode::manual, index), errorOfTarget(2000, index),
                     errorOfReset(index)}),
              Texts(4, text));
  }
  EXPECT_TRUE(smc.accesses().empty());
  EXPECT_EQ(controller.discoverFans(), 1);
  EXPECT_EQ(log.messages(LogLevel::standard), Texts{"probed hardware: 1 fan(s), diagnostic lock: false"});
  smc.addFan(3);
  EXPECT_EQ((Texts{errorOfReading(3), errorOfMode(FanMode::manual, 3), errorOfTarget(2000, 3)}),
            Texts(3, "SMC key fan 3 was not found"))
      << "probed once for all";
  EXPECT_TRUE(smc.writes().empty());
}

TEST_F(FanControllerTest, readsAFanForWhichAllButTheTargetIsNeeded) {
  smc.setUInt8("F0Md", 1);
  smc.setFloat("F0Tg", 2317.6);
  EXPECT_EQ(controller.getFanInfo(0), (FanInfo{0, 2000, 1200, 6500, FanMode::manual, 2318}));
  smc.failReads("F0Tg", SMCError::readFailed("gone"));
  EXPECT_EQ(controller.getFanInfo(0), (FanInfo{0, 2000, 1200, 6500, FanMode::manual, std::nullopt}));
  for (const char* key : {"F0Ac", "F0Mn", "F0Mx", "F0Md"}) {
    smc.failReads(key, SMCError::readFailed(key));
    EXPECT_EQ(errorOfReading(), std::string("SMC read failed: ") + key);
    smc.failReads(key, std::nullopt);
  }
  log.clear();
  smc.setUInt8("F0Md", 3);
  EXPECT_EQ(controller.getFanInfo(0).mode, FanMode::automatic);
  EXPECT_EQ(log.messages(LogLevel::standard), Texts{"fan 0 reported unrecognized mode 3; treating as automatic"});
  smc.setFloat("F0Md", 1);
  EXPECT_EQ(controller.getFanInfo(0).mode, FanMode::automatic);
  EXPECT_EQ(log.messages(LogLevel::error), Texts{"fan 0 mode key returned a non-ui8 value; treating as automatic"});
  for (const auto& [minimum, maximum] : Table<double, double>{{0, 6500}, {3000, 2999}}) {
    smc.setFloat("F0Mn", minimum);
    smc.setFloat("F0Mx", maximum);
    EXPECT_EQ(errorOfReading(), "SMC read failed: fan 0 reported invalid RPM bounds");
  }
}

TEST_F(FanControllerTest, aFanThatIsNotControllableIsNotWrittenButHandedBack) {
  smc.setFloat("F0Mn", 0);
  smc.setUInt8("F0Md", 1);
  EXPECT_EQ((Texts{errorOfMode(FanMode::manual), errorOfTarget(2000)}),
            Texts(2, "SMC write failed: fan 0 does not support manual control on this machine"));
  EXPECT_TRUE(smc.writes().empty());
  controller.resetToAuto(0);
  EXPECT_EQ(smc.writes(), (std::vector<ScriptedSMC::Write>{{"F0Md", SMCValue::makeUInt8(0), false}}));
}

TEST_F(FanControllerTest, aModeIsWrittenUntilItLatchesForTenSecondsAndNotWhenItIsThereAlready) {
  for (int round = 0; round < 2; ++round) {
    controller.setFanMode(0, FanMode::manual);
    EXPECT_EQ(smc.writes(), (std::vector<ScriptedSMC::Write>{{"F0Md", SMCValue::makeUInt8(1), false}}));
  }
  EXPECT_EQ(clock.sleeps(), 0);
  int writes = 0;
  smc.setWriteHandler([&](const std::string& key, const SMCValue&) {
    if (++writes == 4) smc.setUInt8(key, 0);
  });
  // Errors while reading back say nothing about the latch.
  smc.setReadHook([&](const std::string& key, int) {
    smc.failReads(key, writes == 2 ? std::optional(SMCError::readFailed("busy")) : std::nullopt);
  });
  controller.setFanMode(0, FanMode::automatic);
  EXPECT_EQ(writes, 4);
  EXPECT_NEAR(clock.elapsed().count(), 0.3, 1e-9);
  EXPECT_EQ(errorOfMode(FanMode::manual), "SMC write failed: fan 0 mode 1 did not latch within 10.0s");
  EXPECT_NEAR(clock.elapsed().count(), 10.3, 0.11);
  EXPECT_NEAR(writes, 104, 1);
}

TEST_F(FanControllerTest, transientResultsAreRetriedAndLoggedSparinglyAndNamedWhenTheyDoNotEnd) {
  controller.probeCapabilities();
  log.clear();
  int writes = 0;
  smc.setWriteHandler([&](const std::string& key, const SMCValue&) {
    // The last one reads back although its result is transient.
    if (++writes == 20) smc.setUInt8(key, 1);
    throw SMCError::firmwareFailed("write bytes", key, writes % 2 == 0 ? 0x82 : 0x83);
  });
  controller.setFanMode(0, FanMode::manual);
  EXPECT_EQ(writes, 20);
  EXPECT_EQ(log.messages(LogLevel::standard), (Texts{"transient SMC 0x83 for F0Md; polling/retrying attempt 1",
                                                     "transient SMC 0x82 for F0Md; polling/retrying attempt 10",
                                                     "transient SMC 0x82 for F0Md; polling/retrying attempt 20"}));
  throwOnWrite(SMCError::firmwareFailed("write bytes", "F0Md", 0x82));
  EXPECT_EQ(errorOfReset(),
            "SMC write failed: fan 0 automatic reset did not latch after transient SMC retries: write bytes failed for "
            "F0Md (SMC result 0x82)");
}

TEST_F(FanControllerTest, otherErrorsFailAtOnce) {
  for (const SMCError& error : {SMCError::firmwareFailed("write bytes", "F0Md", 0x84),
                                SMCError::firmwareFailed("write bytes", "F0Md", 0x81), SMCError::notOpen()}) {
    throwOnWrite(error);
    EXPECT_EQ(errorOfMode(FanMode::manual), error.errorDescription());
  }
  smc.setWriteHandler([](const std::string&, const SMCValue&) { throw std::runtime_error("overtaken"); });
  EXPECT_THROW(controller.setFanMode(0, FanMode::manual), std::runtime_error);
  smc.failReads("F0Md", SMCError::readFailed("first read"));
  EXPECT_EQ((Texts{errorOfMode(FanMode::manual), errorOfReset()}), Texts(2, "SMC read failed: first read"));
  EXPECT_EQ(clock.sleeps(), 0);
}

TEST_F(FanControllerTest, targetsNeedManualModeAndLieWithinTheLiveBoundsInclusively) {
  for (const std::uint8_t mode : {std::uint8_t{0}, std::uint8_t{3}}) {
    smc.setUInt8("F0Md", mode);
    EXPECT_EQ(errorOfTarget(2000), "SMC write failed: fan 0 must be in manual mode before setting RPM");
  }
  smc.setUInt8("F0Md", 1);
  smc.setFloat("F0Mx", 6000);
  for (const std::int64_t rpm : {std::int64_t{1199}, std::int64_t{6001}, std::int64_t{-1}, INT64_MAX}) {
    EXPECT_EQ(errorOfTarget(rpm),
              "SMC write failed: fan 0 target " + std::to_string(rpm) + " is outside 1200...6000 RPM");
  }
  smc.setFloat("F0Mx", 1100);
  EXPECT_EQ((Texts{errorOfTarget(1100), errorOfTarget(1200)}),
            Texts(2, "SMC write failed: fan 0 reported invalid RPM bounds"));
  EXPECT_TRUE(smc.writes().empty()) << "a target that was refused was written";
  smc.setFloat("F0Mx", 6000);
  controller.setFanRPM(0, 1200);
  controller.setFanRPM(0, 6000);
  controller.applyCurve(FanCurve{.minTemp = 40, .maxTemp = 80, .minRPM = 2000, .maxRPM = 6000}, 0, 60);
  EXPECT_EQ(smc.writes(), (std::vector<ScriptedSMC::Write>{{"F0Tg", SMCValue::makeFloat(1200), false},
                                                           {"F0Tg", SMCValue::makeFloat(6000), false},
                                                           {"F0Tg", SMCValue::makeFloat(4000), false}}));
}

TEST_F(FanControllerTest, aTargetIsWrittenOnceAndWaitedFor) {
  smc.setUInt8("F0Md", 1);
  const std::string late = "SMC write failed: fan 0 target 2000 did not latch within 10.0s";
  for (const auto& [readsBack, text, seconds] :
       Table<double, std::string, double>{{2002, "no error", 0}, {2002.5, late, 10}}) {
    const auto earlier = smc.writes().size();
    smc.setWriteHandler(
        [this, value = readsBack](const std::string& key, const SMCValue&) { smc.setFloat(key, value); });
    const Seconds start = clock.elapsed();
    EXPECT_EQ(errorOfTarget(2000), text);
    EXPECT_NEAR((clock.elapsed() - start).count(), seconds, 0.21);
    EXPECT_EQ(smc.writes().size(), earlier + 1);
  }
  throwOnWrite(SMCError::permissionDenied());
  EXPECT_EQ(errorOfTarget(2000), "Permission denied by AppleSMC");
}

TEST_F(FanControllerTest, handsBackAnyFanInTheKeyRangeThatTheFirmwareDoesNotHave) {
  for (const auto& [key, mode, writes] : Table<std::string, std::uint8_t, std::size_t>{
           {"F0Md", 0, 0}, {"F0Md", 3, 0}, {"F0Md", 1, 1}, {"F0Md", 2, 2}, {"F7Md", 1, 3}, {"F7Md", 255, 4}}) {
    smc.setUInt8(key, mode);
    controller.resetToAuto(key[1] - '0');
    EXPECT_EQ(smc.writes().size(), writes) << key << ' ' << int{mode};
    EXPECT_EQ(smc.value(key), SMCValue::makeUInt8(mode == 3 ? 3 : 0));
  }
  smc.setUInt8("F0Md", 1);
  smc.setWriteHandler([&](const std::string& key, const SMCValue&) { smc.setUInt8(key, 3); });
  EXPECT_EQ(errorOfReset(), "SMC write failed: fan 0 automatic reset did not latch within 10.0s");
}

}  // namespace
}  // namespace halcyra
