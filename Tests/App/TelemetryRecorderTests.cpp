// What is recorded can be replayed by the simulated machine.

#include "gtest/gtest.h"

#include "App/TelemetryRecorder.h"
#include "VirtualMac/TraceWorkload.h"

namespace halcyra::test {
namespace {

SensorReading reading(const std::string& key, double value) {
  return {.keyName = key, .displayName = key, .value = value};
}

Instant at(double seconds) {
  return Instant{Seconds{seconds}};
}

constexpr Date date{Seconds{1.7e9}};

TEST(TelemetryRecorder, columnsStayAndWhatIsMissingIsEmpty) {
  TelemetryRecorder recorder;
  const std::vector<FanInfo> fans = {{.index = 1, .actualRPM = 1600, .minRPM = 1, .maxRPM = 2},
                                     {.index = 0, .actualRPM = 1500, .minRPM = 1, .maxRPM = 2}};
  EXPECT_EQ(recorder.add(at(100), date, {reading("TCMz", 60.25), reading("Te05", -1.5)}, fans, false),
            "# Recorded by Aerovane from 2023-11-14T22:13:20Z\n"
            "time,TCMz,Te05,F0Ac,F1Ac\n"
            "0.000,60.250,-1.500,1500,1600\n");
  EXPECT_EQ(recorder.add(at(102.0016), date, {reading("Te05", 50)}, {fans[0]}, false), "2.002,,50.000,,1600\n");
  EXPECT_EQ(recorder.add(at(104), date, {reading("TRDX", 50), reading("TCMz", 61)}, {}, false),
            "# TRDX appeared after the start and is not recorded\n4.000,61.000,,,\n");
  EXPECT_EQ(recorder.add(at(106), date, {reading("TRDX", 50)}, {}, false), "6.000,,,,\n") << "said once";
}

TEST(TelemetryRecorder, theValidatedModelsSensorsHaveColumnsFromTheStart) {
  TelemetryRecorder recorder;
  std::string text = recorder.add(at(0), date, {reading("TCMz", 60)}, {}, true);
  text += recorder.add(at(2), date, {reading("TCMz", 61), reading("Tf04", 71.5)}, {}, true);
  EXPECT_EQ(text.find("appeared"), std::string::npos);
  const auto trace = TraceWorkload::parse(text);
  EXPECT_EQ(trace->replayedTemperature(SMCKey::fromString("Tf04"), 2), 71.5);
  EXPECT_EQ(trace->replayedTemperature(SMCKey::fromString("Tf04"), 0), std::nullopt) << "not read yet: simulated";
}

TEST(TelemetryRecorder, aRecordingIsReplayedAsItWasRecorded) {
  TelemetryRecorder recorder;
  std::string text;
  for (int poll = 0; poll < 500; ++poll) {
    std::vector<SensorReading> readings = {reading("TCMz", 40 + poll * 0.1)};
    // Every fifth time this one could not be read.
    if (poll % 5 != 0) readings.push_back(reading("Te05", 124.999 - poll * 0.25));
    text += recorder.add(at(7 + poll * 2.0), date, readings, {{.index = 0, .actualRPM = 1000 + poll}}, true);
  }
  const auto trace = TraceWorkload::parse(text);
  EXPECT_DOUBLE_EQ(trace->duration(), 998);
  for (int poll = 1; poll < 500; ++poll) {
    const int lastRead = poll % 5 == 0 ? poll - 1 : poll;
    EXPECT_NEAR(trace->replayedTemperature(SMCKey::fromString("TCMz"), poll * 2.0).value(), 40 + poll * 0.1, 0.001);
    EXPECT_NEAR(trace->replayedTemperature(SMCKey::fromString("Te05"), poll * 2.0).value(), 124.999 - lastRead * 0.25,
                0.001);
  }
}

}  // namespace
}  // namespace halcyra::test
