// A heartbeat proves that control is alive: while the main queue hangs, the helper hears nothing.

#include <cmath>
#include <vector>

#include "gtest/gtest.h"

#include "Client/ClientHarness.h"
#include "Client/MainQueueProbe.h"
#include "XPC/FanControlXPC.h"

namespace halcyra::test {
namespace {

class HangingClient : public ClientHarness {
 public:
  void hangMainQueue(double from, double duration) {
    scheduler.at(Seconds{from}, [this, duration] {
      process->mainQueue().async([this, duration] { process->clock().sleep(Seconds{duration}); });
    });
  }

  /// Whole seconds since the session began.
  std::vector<int> beats(double since) const {
    std::vector<int> result;
    for (const double time : timesOf(FanControlHelperSelector::heartbeat)) {
      result.push_back(static_cast<int>(std::lround(time - since)));
    }
    return result;
  }
};

class HangingClientTest : public ::testing::Test, public HangingClient {};

// A silence that is allowed must not cost the session.
static_assert(MainQueueProbe::longestSilence < FanControlXPC::watchdogSeconds);

TEST(HeartbeatProbeRows, AMainQueueThatHangsGetsNoHeartbeatUntilItRunsAgain) {
  struct Row {
    const char* name;
    double hangs;
    double lasts;
    std::vector<int> beats;
  };
  const std::vector<Row> rows = {
      {"short, in between", 5, 2, {4, 8, 12, 16, 20, 24, 28, 32, 36, 40}},
      {"as long as may be, over two firings", 7.5, 9.9, {4, 8, 12, 20, 24, 28, 32, 36, 40}},
      {"just before the first firing", 3.5, 26, {4, 8, 32, 36, 40}},
      {"right before a firing", 7.5, 25, {4, 8, 12, 36, 40}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    HangingClient h;
    h.beginSession();
    const double begun = h.now() - 0.01;
    h.hangMainQueue(begun + row.hangs, row.lasts);
    h.run(41.5);
    EXPECT_EQ(h.beats(begun), row.beats);
    EXPECT_TRUE(h.sessionErrors.empty()) << "a heartbeat that is withheld is no failed one";
    EXPECT_TRUE(h.client->sessionID().has_value());
  }
}

TEST_F(HangingClientTest, ANewSessionStartsWithoutTheSilenceOfTheOld) {
  beginSession();
  hangMainQueue(5, 30);
  run(25);
  // Begun from another thread; its silence counts from now.
  beginSession();
  const double begun = now() - 0.01;
  const std::size_t before = timesOf(FanControlHelperSelector::heartbeat).size();
  run(17);
  const auto times = timesOf(FanControlHelperSelector::heartbeat);
  ASSERT_EQ(times.size(), before + 4);
  EXPECT_NEAR(times[before], begun + 4, 0.01);
}

}  // namespace
}  // namespace halcyra::test
