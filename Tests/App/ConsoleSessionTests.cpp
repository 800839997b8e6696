// The console's run around the model, in virtual time.

#include "gtest/gtest.h"

#include "App/ConsoleSession.h"
#include "App/ModelHarness.h"
#include "VirtualMac/TraceWorkload.h"

namespace halcyra::test {
namespace {

class ConsoleSessionTests : public testing::Test {
 protected:
  void startConsole(ConsoleOptions options, bool recorded = false) {
    options.style = ConsoleStyle::json;
    h.process->mainQueue().async([this, options = std::move(options), recorded] {
      ConsoleSurroundings surroundings;
      surroundings.approveHelper = [] {};
      surroundings.output = [this](const std::string& text) {
        if (lines.size() >= mostLines) throw FileFailure("The reader is gone.");
        lines.push_back(nlohmann::json::parse(text));
      };
      surroundings.complain = [this](const std::string& text) { complaints.push_back(text); };
      if (recorded) {
        surroundings.record = [this](const std::string& text) {
          if (recording.size() > recordingLimit) throw FileFailure("The disk is full.");
          recording += text;
        };
      }
      surroundings.finished = [this](int result) {
        status = result;
        session.reset();
      };
      session = std::make_shared<ConsoleSession>(h.doubles.platform, AppModel::make(h.doubles.platform), options,
                                                 std::move(surroundings));
      session->start();
    });
  }

  ModelHarness h;
  std::shared_ptr<ConsoleSession> session;
  std::vector<nlohmann::json> lines;
  Lines complaints;
  std::string recording;
  std::size_t recordingLimit = 1'000'000;
  std::size_t mostLines = 1'000'000;
  std::optional<int> status;
};

TEST_F(ConsoleSessionTests, AnOutputThatNobodyGetsEndsTheSessionAndHandsBack) {
  ConsoleOptions options;
  options.preset = FanPreset::fullBlast();
  mostLines = 4;
  startConsole(options);
  h.run(20);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(complaints, Lines{"The reader is gone."});
  EXPECT_EQ(lines.back().at("session"), true) << "nothing was driven";
  EXPECT_EQ(h.helper.openSession(), 0);
  EXPECT_EQ(h.helper.fans[0].mode, 0);
}

TEST_F(ConsoleSessionTests, EveryPollIsALineAndARowAndTheEndHandsBack) {
  ConsoleOptions options;
  options.preset = FanPreset::fullBlast();
  options.duration = Seconds{21};
  startConsole(options, true);
  h.run(20.5);
  EXPECT_EQ(status, std::nullopt);
  ASSERT_GE(lines.size(), 10U);
  EXPECT_EQ(lines.back().at("preset"), "Full Blast");
  EXPECT_EQ(lines.back().at("fans")[0].at("mode"), "manual");
  h.run(1);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(h.helper.openSession(), 0);
  EXPECT_EQ(h.helper.fans[0].mode, 0);
  EXPECT_EQ(complaints, Lines{});
  const auto trace = TraceWorkload::parse(recording);
  EXPECT_NEAR(trace->duration(), 20, 0.1);
  EXPECT_EQ(trace->replayedTemperature(SMCKey::fromString("Te05"), 10), 50.0);
}

TEST_F(ConsoleSessionTests, ARecordingThatFailsIsSaidOnceAndControlGoesOn) {
  recordingLimit = 1000;
  ConsoleOptions options;
  options.preset = FanPreset::fullBlast();
  options.duration = Seconds{60};
  startConsole(options, true);
  h.run(50);
  EXPECT_EQ(complaints, Lines{"The recording has ended: The disk is full."});
  EXPECT_EQ(h.helper.openSession(), 1);
  EXPECT_EQ(h.helper.fans[0].mode, 1);
  h.run(11);
  EXPECT_EQ(status, 1) << "what was asked for was not done in full";
  EXPECT_EQ(h.helper.fans[0].mode, 0);
}

TEST_F(ConsoleSessionTests, AFailedTestEndsTheRun) {
  h.doubles.userDefaults.setInteger("supervisedFanTestProtocolVersion", 0);
  h.helper.failNext("mode", helperError(99, "stuck"));
  ConsoleOptions options;
  options.supervisedTest = true;
  options.preset = FanPreset::fullBlast();
  startConsole(options);
  h.run(10);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(complaints, Lines{"The supervised fan test failed: stuck"});
  EXPECT_EQ(h.helper.fans[0].mode, 0);
  EXPECT_EQ(h.helper.openSession(), 0);
}

}  // namespace
}  // namespace halcyra::test
