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

  HistoryData history() const { return {samples, sensors, readings, fans}; }
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

TEST(HistoryViewState, offersAndDescribesEverySensorThatWasEverSeen) {
  Session session;
  session.readings = {{"Tp0A", "Tp0A", 50}, {"TCMz", "TCMz", 60}};
  session.sensors = {{"TCMz", {}}, {"Te05", std::vector<float>(45, NAN)}};
  EXPECT_THAT(ids(session.state(zone)), ElementsAre(zone, cpu, "TCMz", "Te05", "Tp0A"));
  EXPECT_EQ(session.state(zone).description, "Warmest Fan Zone (curve input) · waiting for samples");
  for (int i = 0; i < 46; ++i) session.samples.push_back(sample(2.0 * i, 50 + i % 3));
  session.samples[3].gpuCoreAverage = 40;
  session.samples[9].gpuCoreAverage = 43.25;
  session.sensors["Te05"][44] = 38.5F;
  EXPECT_THAT(ids(session.state(zone)), ElementsAre(zone, cpu, gpu, "TCMz", "Te05", "Tp0A"));
  EXPECT_EQ(session.state("TCMz").options[3].name, "CPU Die Hotspot (TCMz)");
  EXPECT_EQ(session.state("TCMz").selectedOption, 3u);

  struct Case {
    std::string id;
    std::string description;
    bool hasChart;
    std::optional<std::string> average;
  };
  const std::vector<Case> cases{{zone, "Warmest Fan Zone (curve input) · 46 samples · 1m 30s", true, "51.0"},
                                {cpu, "CPU Core Average · 46 samples · 1m 30s", true, "46.0"},
                                {gpu, "GPU Cluster Average · 2 samples · 12s", true, "41.6"},
                                {"Te05", "Te05 · 1 samples · 0s", false, "38.5"},
                                {"Tzzz", "Warmest Fan Zone · waiting for samples", false, std::nullopt}};
  for (const Case& each : cases) {
    const auto state = session.state(each.id);
    EXPECT_EQ(state.description, each.description);
    EXPECT_EQ(state.hasChart, each.hasChart) << each.id;
    EXPECT_EQ(state.figures[1], each.average) << each.id;
  }
  EXPECT_EQ(session.state(gpu).peakText, "Peak 43.2°");
  EXPECT_EQ(session.state(zone).chartAccessibleName, "Warmest Fan Zone (curve input) full session chart");
  session.samples.back().date = at(-500);
  EXPECT_EQ(session.state(zone).description, "Warmest Fan Zone (curve input) · 46 samples · 0s")
      << "the clock was set back";
}

TEST(HistoryViewState, speedsGoByThePositionAmongTheFans) {
  Session session;
  EXPECT_TRUE(HistoryGraph().update(session.history()).fans.empty());
  session.samples = {sample(0, 50, {3862}), sample(2, 50, {2000, 3715, 3100})};
  session.fans.push_back({4, 1500, 1000, 4000});
  session.fans.push_back({5, 1400, 1000, 4000});
  using Row = ExpandedSensorHistoryState::FanRow;
  EXPECT_THAT(
      session.state(zone).fans,
      ElementsAre(Row{"Left Fan (F0)", "2040 RPM", " · peak 3862"}, Row{"Right Fan (F1)", "1980 RPM", " · peak 3715"},
                  Row{"Fan 5 (F4)", "1500 RPM", " · peak 3100"}, Row{"Fan 6 (F5)", "1400 RPM", " · peak 1400"}));
  const auto graph = HistoryGraph().update(session.history());
  ASSERT_EQ(graph.fans.size(), 3u);
  EXPECT_EQ(graph.fans[2].label, "Fan 3");
  EXPECT_THAT(graph.fans[1].points, ElementsAre(HistoryPoint{at(2), 3715}));
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
