#include <cmath>

#include "gmock/gmock.h"
#include "gtest/gtest.h"

#include "UI/HistoryGraphState.h"
#include "UI/HistoryViewState.h"
#include "UI/SparklineState.h"

namespace halcyra::test {

namespace {

using testing::ElementsAre;

Date at(double seconds) {
  return Date(Seconds(1'700'000'000.0 + seconds));
}

HistorySample sample(double seconds, double control, std::vector<std::int64_t> rpms = {2000, 2100}) {
  return {.date = at(seconds),
          .cpuTemp = control + 10,
          .cpuCoreAverage = control - 5,
          .gpuCoreAverage = std::nullopt,
          .controlTemp = control,
          .rpms = std::move(rpms)};
}

struct Session {
  std::vector<HistorySample> samples;
  ModelView::SensorHistory sensors;
  std::vector<SensorReading> readings;
  std::vector<FanInfo> fans{{1, 1980, 1350, 6200}, {0, 2040, 1350, 5950}};

  SessionHistory history() const { return {samples, sensors, readings, fans}; }
  ExpandedSensorHistoryState state(const std::string& id, const HistoryChoice& choice = {}) const {
    return ExpandedSensorHistory().update(history(), id, choice);
  }
};

std::vector<std::string> ids(const ExpandedSensorHistoryState& state) {
  std::vector<std::string> result;
  for (const SensorOption& option : state.options) result.push_back(option.id);
  return result;
}

constexpr const char* zone = ExpandedSensorHistory::fanControlSignalID;
constexpr const char* cpu = ExpandedSensorHistory::cpuCoreAverageID;
constexpr const char* gpu = ExpandedSensorHistory::gpuAverageID;

}  // namespace

TEST(HistoryViewState, offersEverySensorThatWasEverSeen) {
  Session session;
  session.readings = {{"Tp0A", "Tp0A", 50}, {"TCMz", "TCMz", 60}};
  session.sensors = {{"TCMz", {}}, {"Te05", {}}};
  EXPECT_THAT(ids(session.state(zone)), ElementsAre(zone, cpu, "TCMz", "Te05", "Tp0A"));
  session.samples = {sample(0, 50)};
  session.samples[0].gpuCoreAverage = 44;
  const auto state = session.state("TCMz");
  EXPECT_THAT(ids(state), ElementsAre(zone, cpu, gpu, "TCMz", "Te05", "Tp0A"));
  EXPECT_EQ(state.options[3].name, "CPU Die Hotspot (TCMz)");
  EXPECT_EQ(state.options[4].name, "Te05");
  EXPECT_EQ(state.selectedOption, 3u);
}

TEST(HistoryViewState, describesTheSelectedSeries) {
  Session session;
  EXPECT_EQ(session.state(zone).description, "Warmest Fan Zone (curve input) · waiting for samples");
  for (int i = 0; i < 46; ++i) session.samples.push_back(sample(2.0 * i, 50 + i % 3));
  session.samples[3].gpuCoreAverage = 40;
  session.samples[9].gpuCoreAverage = 43.25;
  session.sensors["Te05"] = std::vector<float>(45, NAN);
  session.sensors["Te05"][1] = 36.5F;
  session.sensors["Te05"][44] = 38.5F;

  const auto zoneState = session.state(zone);
  EXPECT_EQ(zoneState.description, "Warmest Fan Zone (curve input) · 46 samples · 1m 30s");
  EXPECT_EQ(zoneState.chartAccessibleName, "Warmest Fan Zone (curve input) full session chart");
  EXPECT_TRUE(zoneState.hasChart);

  EXPECT_EQ(session.state(cpu).description, "CPU Core Average · 46 samples · 1m 30s");
  EXPECT_EQ(session.state(cpu).points.front().value, 45);

  const auto gpuState = session.state(gpu);
  EXPECT_EQ(gpuState.description, "GPU Cluster Average · 2 samples · 12s");
  EXPECT_THAT(gpuState.points, ElementsAre(HistoryPoint{at(6), 40}, HistoryPoint{at(18), 43.25}));
  EXPECT_THAT(gpuState.figures, ElementsAre("40.0", "41.6", "43.2"));
  EXPECT_EQ(gpuState.peakText, "Peak 43.2°");

  const auto sensorState = session.state("Te05");
  EXPECT_EQ(sensorState.description, "Te05 · 2 samples · 1m 26s");
  EXPECT_THAT(sensorState.points, ElementsAre(HistoryPoint{at(2), 36.5}, HistoryPoint{at(88), 38.5}));
}

TEST(HistoryViewState, aSeriesWithoutTwoPointsIsBeingCollected) {
  Session session;
  session.samples = {sample(0, 50), sample(2, 51)};
  session.sensors["Te05"] = {NAN, 40.0F};
  const auto one = session.state("Te05");
  EXPECT_FALSE(one.hasChart);
  EXPECT_EQ(one.description, "Te05 · 1 samples · 0s");
  EXPECT_THAT(one.figures, ElementsAre("40.0", "40.0", "40.0"));

  const auto unknown = session.state("Tzzz");
  EXPECT_FALSE(unknown.hasChart);
  EXPECT_EQ(unknown.selectedOption, std::nullopt);
  EXPECT_EQ(unknown.description, "Warmest Fan Zone · waiting for samples");
  EXPECT_THAT(unknown.figures, ElementsAre(std::nullopt, std::nullopt, std::nullopt));

  // The clock was set back between the two samples.
  session.samples[1].date = at(-500);
  EXPECT_EQ(session.state(zone).description, "Warmest Fan Zone (curve input) · 2 samples · 0s");
}

TEST(HistoryViewState, peakSpeedsGoByThePositionAmongTheFans) {
  Session session;
  session.samples = {sample(0, 50, {3862}), sample(2, 50, {2000, 3715}), sample(4, 50, {2010, 1990})};
  session.fans.push_back({4, 1500, 1000, 4000});
  using Row = ExpandedSensorHistoryState::FanRow;
  EXPECT_THAT(session.state(zone).fans, ElementsAre(Row{"Left Fan (F0)", "2040 RPM", " · peak 3862"},
                                                    Row{"Right Fan (F1)", "1980 RPM", " · peak 3715"},
                                                    Row{"Fan 5 (F4)", "1500 RPM", " · peak 1500"}));
}

TEST(HistoryViewState, aRangeEndsWithTheNewestSampleAndOverlaysGoAlong) {
  Session session;
  for (int i = 0; i <= 400; ++i) {
    session.samples.push_back(sample(10.0 * i, 40 + i % 7));
    session.sensors["Te05"].push_back(static_cast<float>(i));
  }
  struct Case {
    HistoryRange range;
    std::string description;
    double low;
  };
  const std::vector<Case> cases{{HistoryRange::fiveMinutes, "Te05 · 31 samples · 5m", 370},
                                {HistoryRange::hour, "Te05 · 361 samples · 1h", 40},
                                {HistoryRange::all, "Te05 · 401 samples · 1h 6m", 0}};
  for (const Case& each : cases) {
    const auto state = session.state("Te05", {each.range, {zone, "Te05", "Tzzz"}});
    EXPECT_EQ(state.description, each.description);
    EXPECT_EQ(state.points.front().value, each.low);
    ASSERT_EQ(state.overlays.size(), 2u) << "not the chart's own line";
    EXPECT_EQ(state.overlays[0].name, "Warmest Fan Zone (curve input)");
    EXPECT_EQ(state.overlays[0].points.size(), state.points.size());
    EXPECT_TRUE(state.overlays[1].points.empty());
  }
}

TEST(HistorySelection, holdsFourOverlays) {
  HistorySelection selection;
  int changes = 0;
  QObject::connect(&selection, &HistorySelection::changed, [&] { ++changes; });
  for (const char* const id : {"a", "b", "b", "c", "d"}) selection.add(id);
  EXPECT_TRUE(selection.isFull());
  selection.show("e");
  selection.remove("c");
  selection.remove("zz");
  EXPECT_THAT(selection.choice().overlays, ElementsAre("b", "d", "e"));
  EXPECT_EQ(changes, 6);
}

TEST(HistoryViewState, followingTheHistoryGivesWhatStartingAnewGives) {
  Session session;
  ExpandedSensorHistory followed;
  HistoryGraph followedGraph;
  const std::vector<std::string> selections{zone, "Te05", gpu, cpu};
  const std::vector<HistoryChoice> choices{
      {}, {HistoryRange::fiveMinutes, {"Te05"}}, {HistoryRange::all, {gpu, "Te05"}}};
  for (int i = 0; i < 1500; ++i) {
    session.samples.push_back(sample(2.0 * i, 40 + (i * 37) % 50, {2000 + (i * 91) % 3000, 1500 + (i * 53) % 3000}));
    if (i > 700) session.samples.back().gpuCoreAverage = 30 + i % 11;
    session.sensors["Te05"].push_back(i % 4 == 0 ? NAN : static_cast<float>(30 + (i * 17) % 40));
    if (i == 1100) {
      session.samples.erase(session.samples.begin(), session.samples.begin() + 600);
      session.sensors["Te05"].erase(session.sensors["Te05"].begin(), session.sensors["Te05"].begin() + 600);
    }
    const std::string& selection = selections[static_cast<std::size_t>(i / 150) % selections.size()];
    const HistoryChoice& choice = choices[static_cast<std::size_t>(i / 40) % choices.size()];
    if (i % 7 == 0) {
      ASSERT_EQ(followed.update(session.history(), selection, choice), session.state(selection, choice)) << i;
      ASSERT_EQ(followedGraph.update(session.history(), choice), HistoryGraph().update(session.history(), choice)) << i;
    }
  }
  EXPECT_LE(session.state(zone).points.size(), 500u);
}

TEST(HistoryGraphState, hasALineForEveryFan) {
  Session session;
  EXPECT_TRUE(HistoryGraph().update(session.history()).fans.empty());
  session.samples = {sample(0, 50, {1000}), sample(2, 52, {1100, 2100, 3100})};
  const auto state = HistoryGraph().update(session.history());
  EXPECT_THAT(state.zone, ElementsAre(HistoryPoint{at(0), 50}, HistoryPoint{at(2), 52}));
  ASSERT_EQ(state.fans.size(), 3u);
  EXPECT_EQ(state.fans[2].label, "Fan 3");
  EXPECT_THAT(state.fans[0].points, ElementsAre(HistoryPoint{at(0), 1000}, HistoryPoint{at(2), 1100}));
  EXPECT_THAT(state.fans[1].points, ElementsAre(HistoryPoint{at(2), 2100}));
}

TEST(SparklineState, scalesTheNewestSamplesToTheirRange) {
  EXPECT_TRUE(sparklinePoints({sample(0, 50)}, 72, 18).empty());
  EXPECT_TRUE(sparklinePoints({sample(0, 50), sample(2, 50), sample(4, 50)}, 72, 18).empty()) << "flat";
  EXPECT_THAT(sparklinePoints({sample(0, 50), sample(2, 60), sample(4, 52.5)}, 72, 18),
              ElementsAre(SparklinePoint{0, 18}, SparklinePoint{36, 0}, SparklinePoint{72, 13.5}));
  std::vector<HistorySample> many{sample(0, 10)};
  for (int i = 1; i <= 300; ++i) many.push_back(sample(2.0 * i, 50 + i));
  const auto points = sparklinePoints(many, 72, 18);
  ASSERT_EQ(points.size(), 300u);
  EXPECT_EQ(points.front(), (SparklinePoint{0, 18})) << "the oldest sample, and the lowest, is left out";
}

}  // namespace halcyra::test
