// The console's run around the model, in virtual time.

#include "App/AppRig.h"
#include "App/ConsoleSession.h"
#include "Helpers/PresetSelectionStore.h"
#include "VirtualMac/TraceWorkload.h"

namespace halcyra::test {
namespace {

class ConsoleSessionTests : public testing::Test {
 protected:
  void startConsole(ConsoleOptions options, bool isTested = true) {
    options.style = ConsoleStyle::json;
    rig.emplace([=](TestPlatform& platform) {
      if (!isTested) platform.userDefaults.setInteger("supervisedFanTestProtocolVersion", 0);
    });
    rig->onMain([&](AppModel& model) {
      ConsoleSurroundings surroundings;
      surroundings.approveHelper = [] {};
      surroundings.output = [this](const std::string& text) {
        if (lines.size() >= mostLines) throw FileFailure("The reader is gone.");
        lines.push_back(nlohmann::json::parse(text));
      };
      surroundings.complain = [this](const std::string& text) { complaints.push_back(text); };
      surroundings.record = [this](const std::string& text) {
        if (recording.size() > recordingLimit) throw FileFailure("The disk is full.");
        recording += text;
      };
      surroundings.finished = [this](int result) {
        status = result;
        session.reset();
      };
      session = std::make_shared<ConsoleSession>(rig->doubles().platform, model.shared_from_this(), options,
                                                 std::move(surroundings));
      session->start();
    });
  }
  static ConsoleOptions fullBlastFor(double seconds) {
    ConsoleOptions options;
    options.preset = FanPreset::fullBlast();
    options.duration = Seconds{seconds};
    return options;
  }

  std::shared_ptr<ConsoleSession> session;
  std::vector<nlohmann::json> lines;
  Lines complaints;
  std::string recording;
  std::size_t recordingLimit = 1'000'000;
  std::size_t mostLines = 1'000'000;
  std::optional<int> status;
  std::optional<AppRig> rig;
};

TEST_F(ConsoleSessionTests, AnOutputThatNobodyGetsEndsTheSessionAndHandsBack) {
  ConsoleOptions options;
  options.preset = FanPreset::fullBlast();
  mostLines = 4;
  startConsole(options);
  rig->run(20);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(complaints, Lines{"The reader is gone."});
  EXPECT_EQ(lines.back().at("session"), true) << "nothing was driven";
  EXPECT_TRUE(rig->loop.allAutomatic());
}

TEST_F(ConsoleSessionTests, EveryPollIsALineAndARowAndTheEndHandsBack) {
  startConsole(fullBlastFor(21));
  rig->run(20.5);
  EXPECT_EQ(status, std::nullopt);
  ASSERT_GE(lines.size(), 10U);
  EXPECT_EQ(lines.back().at("preset"), "Full Blast");
  EXPECT_EQ(lines.back().at("fans")[0].at("mode"), "manual");
  rig->run(2);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(rig->loop.allAutomatic());
  EXPECT_EQ(complaints, Lines{});
  const auto trace = TraceWorkload::parse(recording);
  EXPECT_NEAR(trace->duration(), 20, 2);
  EXPECT_TRUE(trace->replayedTemperature(SMCKey::fromString("Te05"), 10).has_value());
}

TEST_F(ConsoleSessionTests, ARecordingThatFailsIsSaidOnceAndControlGoesOn) {
  recordingLimit = 1000;
  startConsole(fullBlastFor(60));
  rig->run(50);
  EXPECT_EQ(complaints, Lines{"The recording has ended: The disk is full."});
  EXPECT_TRUE(rig->loop.allManual());
  rig->run(12);
  EXPECT_EQ(status, 1) << "what was asked for was not done in full";
  EXPECT_TRUE(rig->loop.allAutomatic());
}

TEST_F(ConsoleSessionTests, APresetThatNeverDroveAFanIsAFailure) {
  startConsole(fullBlastFor(10), false);
  rig->run(12);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(complaints, Lines{"“Full Blast” never drove a fan: Approve the helper and complete the supervised fan test "
                              "first."});
}

TEST_F(ConsoleSessionTests, APresetThatIsNamedIsTheOnlyOne) {
  const auto remembersCooling = [](TestPlatform& platform) {
    PresetSelectionStore(platform.userDefaults).save(FanPreset::cpuCoreDefault());
  };
  rig.emplace(remembersCooling, AppModelOptions{.preset = FanPreset::fullBlast()});
  ASSERT_TRUE(rig->loop.runUntil([&] { return rig->loop.allManual(); }, 30));
  rig->run(2);
  for (const auto& write : rig->loop.writes) EXPECT_TRUE(write.key != "F0Tg" || write.value == 5700) << write.value;
}

TEST_F(ConsoleSessionTests, AFailedTestEndsTheRun) {
  ConsoleOptions options = fullBlastFor(60);
  options.supervisedTest = true;
  startConsole(options, false);
  rig->loop.fault("result F0Md 0x86");
  rig->run(30);
  EXPECT_EQ(status, 1);
  ASSERT_EQ(complaints.size(), 3U);
  EXPECT_TRUE(complaints[0].starts_with("The supervised fan test failed: ")) << complaints[0];
  EXPECT_EQ(complaints[1], "waiting for the helper to hand the fans back…");
  EXPECT_TRUE(complaints[2].starts_with("fan 0 may still be under manual control: ")) << complaints[2];
  EXPECT_TRUE(rig->loop.allAutomatic());
}

}  // namespace
}  // namespace halcyra::test
