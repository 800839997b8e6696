#include <gtest/gtest.h>

#include "SMC/FanController.h"
#include "Support/CapturingLogSink.h"
#include "Support/ManualClock.h"
#include "Support/ScriptedSMC.h"
#include "Support/Values.h"

namespace halcyra {
namespace {

using test::CapturingLogSink;
using test::errorOf;
using test::ManualClock;
using test::ScriptedSMC;

class FanControllerTest : public testing::Test {
 protected:
  FanControllerTest() { smc.addFan(0, 1200, 6500); }

  void probe() {
    controller.probeCapabilities();
    smc.forgetAccesses();
    log.clear();
  }

  ManualClock clock;
  CapturingLogSink log;
  ScriptedSMC smc{clock};
  FanController controller{smc, log};
};

TEST_F(FanControllerTest, probesOnceAndSaysWhatItFound) {
  EXPECT_TRUE(smc.accesses().empty());
  EXPECT_EQ(controller.discoverFans(), 1);
  const auto accesses = smc.accesses().size();
  smc.addFan(1);
  EXPECT_EQ(controller.discoverFans(), 1);
  EXPECT_EQ(smc.accesses().size(), accesses);
  EXPECT_EQ(log.messages(LogLevel::standard),
            std::vector<std::string>{"probed hardware: 1 fan(s), diagnostic lock: false"});
}

TEST_F(FanControllerTest, fansThatCannotBeOrWereNotProbedAreNeitherReadNorWritten) {
  const auto expectRefused = [this](int index, const std::string& text) {
    EXPECT_EQ(errorOf([&] { controller.getFanInfo(index); }), text);
    EXPECT_EQ(errorOf([&] { controller.setFanMode(index, FanMode::manual); }), text);
    EXPECT_EQ(errorOf([&] { controller.setFanRPM(index, 2000); }), text);
  };
  for (const int index : {-1, 10}) {
    const std::string text =
        "SMC read failed: fan index " + std::to_string(index) + " is outside the supported key range";
    expectRefused(index, text);
    EXPECT_EQ(errorOf([&] { controller.resetToAuto(index); }), text);
  }
  EXPECT_TRUE(smc.accesses().empty());
  expectRefused(3, "SMC key fan 3 was not found");
  EXPECT_TRUE(smc.writes().empty());
}

TEST_F(FanControllerTest, readsAFanForWhichAllButTheTargetIsNeeded) {
  probe();
  smc.setUInt8("F0Md", 1);
  smc.setFloat("F0Tg", 2317.6);
  EXPECT_EQ(controller.getFanInfo(0), (FanInfo{0, 2000, 1200, 6500, FanMode::manual, 2318}));
  smc.failReads("F0Tg", SMCError::readFailed("gone"));
  EXPECT_EQ(controller.getFanInfo(0), (FanInfo{0, 2000, 1200, 6500, FanMode::manual, std::nullopt}));
  for (const char* key : {"F0Ac", "F0Mn", "F0Mx", "F0Md"}) {
    smc.failReads(key, SMCError::readFailed(key));
    EXPECT_EQ(errorOf([&] { controller.getFanInfo(0); }), std::string("SMC read failed: ") + key);
    smc.failReads(key, std::nullopt);
  }
}

TEST_F(FanControllerTest, boundsThatMakeNoSenseFail) {
  for (const auto& [minimum, maximum] : {std::pair(0, 6500), std::pair(3000, 2999)}) {
    smc.setFloat("F0Mn", minimum);
    smc.setFloat("F0Mx", maximum);
    EXPECT_EQ(errorOf([&] { controller.getFanInfo(0); }), "SMC read failed: fan 0 reported invalid RPM bounds");
  }
}

TEST_F(FanControllerTest, unknownModesCountAsAutomaticAndAreLogged) {
  probe();
  smc.setUInt8("F0Md", 3);
  EXPECT_EQ(controller.getFanInfo(0).mode, FanMode::automatic);
  EXPECT_EQ(log.messages(LogLevel::standard),
            std::vector<std::string>{"fan 0 reported unrecognized mode 3; treating as automatic"});
  smc.setFloat("F0Md", 1);
  EXPECT_EQ(controller.getFanInfo(0).mode, FanMode::automatic);
  EXPECT_EQ(log.messages(LogLevel::error),
            std::vector<std::string>{"fan 0 mode key returned a non-ui8 value; treating as automatic"});
}

TEST_F(FanControllerTest, fansThatAreNotControllableAreNotWritten) {
  smc.setFloat("F0Mn", 0);
  const std::string text = "SMC write failed: fan 0 does not support manual control on this machine";
  EXPECT_EQ(errorOf([&] { controller.setFanMode(0, FanMode::manual); }), text);
  EXPECT_EQ(errorOf([&] { controller.setFanRPM(0, 2000); }), text);
  EXPECT_TRUE(smc.writes().empty());
}

TEST_F(FanControllerTest, aModeIsWrittenOnceWhenItLatchesAtOnceAndNotWhenItIsThereAlready) {
  for (int round = 0; round < 2; ++round) {
    controller.setFanMode(0, FanMode::manual);
    EXPECT_EQ(smc.writes(), (std::vector<ScriptedSMC::Write>{{"F0Md", SMCValue::makeUInt8(1), false}}));
  }
  EXPECT_EQ(clock.sleeps(), 0);
}

TEST_F(FanControllerTest, aModeIsWrittenAgainUntilItLatchesForTenSeconds) {
  int writes = 0;
  smc.setWriteHandler([&](const std::string& key, const SMCValue&) {
    if (++writes == 4) smc.setUInt8(key, 1);
  });
  // Errors while reading back say nothing about the latch.
  smc.setReadHook([&](const std::string& key, int) {
    smc.failReads(key, writes == 2 ? std::optional(SMCError::readFailed("busy")) : std::nullopt);
  });
  controller.setFanMode(0, FanMode::manual);
  EXPECT_EQ(writes, 4);
  EXPECT_NEAR(clock.elapsed().count(), 0.3, 1e-9);
  EXPECT_EQ(errorOf([&] { controller.setFanMode(0, FanMode::automatic); }),
            "SMC write failed: fan 0 mode 0 did not latch within 10.0s");
  EXPECT_NEAR(clock.elapsed().count(), 10.3, 0.11);
  EXPECT_NEAR(writes, 104, 1);
}

TEST_F(FanControllerTest, transientResultsAreRetriedAndLoggedSparinglyAndNamedWhenTheyDoNotEnd) {
  probe();
  int writes = 0;
  smc.setWriteHandler([&](const std::string& key, const SMCValue&) {
    // The last one reads back although its result is transient.
    if (++writes == 20) smc.setUInt8(key, 1);
    throw SMCError::firmwareFailed("write bytes", key, writes % 2 == 0 ? 0x82 : 0x83);
  });
  controller.setFanMode(0, FanMode::manual);
  EXPECT_EQ(writes, 20);
  EXPECT_EQ(log.messages(LogLevel::standard),
            (std::vector<std::string>{"transient SMC 0x83 for F0Md; polling/retrying attempt 1",
                                      "transient SMC 0x82 for F0Md; polling/retrying attempt 10",
                                      "transient SMC 0x82 for F0Md; polling/retrying attempt 20"}));
  smc.setUInt8("F0Md", 0);
  smc.setWriteHandler(
      [](const std::string& key, const SMCValue&) { throw SMCError::firmwareFailed("write bytes", key, 0x82); });
  EXPECT_EQ(errorOf([&] { controller.setFanMode(0, FanMode::manual); }),
            "SMC write failed: fan 0 mode 1 did not latch after transient SMC retries: write bytes failed for F0Md "
            "(SMC result 0x82)");
}

TEST_F(FanControllerTest, otherWriteErrorsFailAtOnce) {
  const SMCError errors[] = {SMCError::firmwareFailed("write bytes", "F0Md", 0x84),
                             SMCError::firmwareFailed("write bytes", "F0Md", 0x81), SMCError::notOpen()};
  for (const SMCError& error : errors) {
    smc.setWriteHandler([&](const std::string&, const SMCValue&) { throw error; });
    EXPECT_EQ(errorOf([&] { controller.setFanMode(0, FanMode::manual); }), error.errorDescription());
  }
  smc.setWriteHandler([](const std::string&, const SMCValue&) { throw std::runtime_error("overtaken"); });
  EXPECT_THROW(controller.setFanMode(0, FanMode::manual), std::runtime_error);
  EXPECT_EQ(clock.sleeps(), 0);
  smc.failReads("F0Md", SMCError::readFailed("first read"));
  EXPECT_EQ(errorOf([&] { controller.setFanMode(0, FanMode::manual); }), "SMC read failed: first read");
}

TEST_F(FanControllerTest, aTargetNeedsManualMode) {
  for (const std::uint8_t mode : {std::uint8_t{0}, std::uint8_t{3}}) {
    smc.setUInt8("F0Md", mode);
    EXPECT_EQ(errorOf([&] { controller.setFanRPM(0, 2000); }),
              "SMC write failed: fan 0 must be in manual mode before setting RPM");
  }
  EXPECT_TRUE(smc.writes().empty());
}

TEST_F(FanControllerTest, targetsLieWithinTheLiveBoundsInclusively) {
  smc.setUInt8("F0Md", 1);
  probe();
  smc.setFloat("F0Mx", 6000);
  controller.setFanRPM(0, 1200);
  controller.setFanRPM(0, 6000);
  controller.applyCurve({.minTemp = 40, .maxTemp = 80, .minRPM = 2000, .maxRPM = 6000}, 0, 60);
  const std::vector<ScriptedSMC::Write> expected{{"F0Tg", SMCValue::makeFloat(1200), false},
                                                 {"F0Tg", SMCValue::makeFloat(6000), false},
                                                 {"F0Tg", SMCValue::makeFloat(4000), false}};
  EXPECT_EQ(smc.writes(), expected);
  for (const std::int64_t rpm : {std::int64_t{1199}, std::int64_t{6001}, std::int64_t{-1}, INT64_MAX}) {
    EXPECT_EQ(errorOf([&] { controller.setFanRPM(0, rpm); }),
              "SMC write failed: fan 0 target " + std::to_string(rpm) + " is outside 1200...6000 RPM");
  }
  smc.setFloat("F0Mx", 1100);
  for (const std::int64_t rpm : {1100, 1200}) {
    EXPECT_EQ(errorOf([&] { controller.setFanRPM(0, rpm); }), "SMC write failed: fan 0 reported invalid RPM bounds");
  }
  EXPECT_EQ(smc.writes(), expected) << "a target that was refused was written";
}

TEST_F(FanControllerTest, aTargetIsWrittenOnceAndWaitedFor) {
  smc.setUInt8("F0Md", 1);
  struct Case {
    double readsBack;
    bool latches;
  };
  for (const Case& each : {Case{2002, true}, Case{2002.5, false}}) {
    const auto earlier = smc.writes().size();
    smc.setWriteHandler([&](const std::string& key, const SMCValue&) { smc.setFloat(key, each.readsBack); });
    const Seconds start = clock.elapsed();
    EXPECT_EQ(errorOf([&] { controller.setFanRPM(0, 2000); }),
              each.latches ? "no error" : "SMC write failed: fan 0 target 2000 did not latch within 10.0s");
    EXPECT_NEAR((clock.elapsed() - start).count(), each.latches ? 0.0 : 10.0, 0.21);
    EXPECT_EQ(smc.writes().size(), earlier + 1);
  }
  smc.setWriteHandler([](const std::string&, const SMCValue&) { throw SMCError::permissionDenied(); });
  EXPECT_EQ(errorOf([&] { controller.setFanRPM(0, 2000); }), "Permission denied by AppleSMC");
}

TEST_F(FanControllerTest, handsBackAnyFanInTheKeyRangeThatTheFirmwareDoesNotHave) {
  smc.setFloat("F0Mn", 0);  // not controllable
  for (const std::uint8_t mode : {std::uint8_t{0}, std::uint8_t{3}}) {
    smc.setUInt8("F0Md", mode);
    controller.resetToAuto(0);
    EXPECT_TRUE(smc.writes().empty());
  }
  for (const char* key : {"F0Md", "F7Md"}) {
    for (const std::uint8_t mode : {std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{255}}) {
      smc.setUInt8(key, mode);
      controller.resetToAuto(key[1] - '0');
      EXPECT_EQ(smc.value(key), SMCValue::makeUInt8(0));
    }
  }
  EXPECT_EQ(smc.writes().size(), 6U);
}

TEST_F(FanControllerTest, onlyZeroCountsAsHandedBack) {
  smc.setUInt8("F0Md", 1);
  smc.setWriteHandler([&](const std::string& key, const SMCValue&) { smc.setUInt8(key, 3); });
  EXPECT_EQ(errorOf([&] { controller.resetToAuto(0); }),
            "SMC write failed: fan 0 automatic reset did not latch within 10.0s");
  smc.failReads("F0Md", SMCError::notOpen());
  EXPECT_EQ(errorOf([&] { controller.resetToAuto(0); }), "The AppleSMC connection is not open");
}

}  // namespace
}  // namespace halcyra
