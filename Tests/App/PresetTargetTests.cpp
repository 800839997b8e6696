#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "App/Control/PresetTarget.h"

namespace halcyra::test {

namespace {

struct TargetRow {
  const char* name;
  FanPreset preset;
  TargetOccasion occasion;
  std::optional<std::int64_t> commanded;
  std::optional<std::int64_t> reported;
  TargetReadings readings;
  std::int64_t rpm;
  bool isDue;
  const char* reason;
};

FanPreset curve() {
  return FanPreset::cpuCoreDefault();
}

FanPreset constant(std::int64_t rpm) {
  FanPreset preset = curve();
  preset.strategy = ControlStrategy::constantRPM;
  preset.constantRPM = rpm;
  return preset;
}

TargetReadings zoneAt(double zone, std::optional<double> die = std::nullopt) {
  return {.zone = zone, .sustainedDie = die, .isCritical = false, .isBoosting = false};
}

constexpr auto activating = TargetOccasion::activation;
constexpr auto polling = TargetOccasion::poll;

std::vector<TargetRow> targetRows() {
  TargetReadings critical = zoneAt(50);
  critical.isCritical = true;
  TargetReadings boosting = zoneAt(57, 70);
  boosting.isBoosting = true;
  const TargetReadings unknown;
  // 1000…5000 RPM. The curve runs from 30 to 50 °C; Smart Auto's tiers are 55, 60, 75, 85, 90 °C.
  return {
      {"full blast at activation", FanPreset::fullBlast(), activating, {}, {}, zoneAt(40), 5000, true, ""},
      {"full blast that is told and reported", FanPreset::fullBlast(), polling, 5000, 5000, zoneAt(40), 5000, false,
       ""},
      {"told 30 off, reported 49 off", constant(3000), polling, 2970, 3049, zoneAt(40), 3000, false, ""},
      {"reported 50 off", constant(3000), polling, 2970, 3050, zoneAt(40), 3000, true, ""},
      {"told 50 off", constant(3000), polling, 2950, 3000, zoneAt(40), 3000, true, ""},
      {"never told", constant(3000), polling, {}, 3000, zoneAt(40), 3000, true, ""},
      {"never reported", constant(3000), polling, 3000, {}, zoneAt(40), 3000, true, ""},
      {"a constant above the fan's maximum", constant(9000), activating, {}, {}, zoneAt(40), 5000, true, ""},
      {"the curve at activation", curve(), activating, {}, {}, zoneAt(40), 3000, true, "preset activation"},
      {"the curve at a poll", curve(), polling, 1000, 1000, zoneAt(40), 3000, true, "custom curve"},
      {"the curve without a temperature", curve(), polling, 3000, 3000, unknown, 1000, true, "custom curve"},
      {"a critical die under a curve", curve(), polling, 1000, 1000, critical, 5000, true, "custom curve"},
      {"a critical die at activation",
       FanPreset::automatic(),
       activating,
       {},
       {},
       critical,
       5000,
       true,
       "preset activation"},
      {"smart auto at activation",
       FanPreset::automatic(),
       activating,
       {},
       {},
       zoneAt(60),
       2400,
       true,
       "preset activation"},
      {"smart auto assumes 55 °C",
       FanPreset::automatic(),
       activating,
       {},
       {},
       unknown,
       1000,
       true,
       "preset activation"},
      {"smart auto, die floor at activation",
       FanPreset::automatic(),
       activating,
       {},
       {},
       zoneAt(50, 88),
       2600,
       true,
       "preset activation"},
      {"smart auto rises at once", FanPreset::automatic(), polling, 1000, 1000, zoneAt(60), 2400, true, "smart auto"},
      {"smart auto, die floor", FanPreset::automatic(), polling, 1000, 1000, zoneAt(50, 88), 2600, true,
       "smart auto (die-heat floor)"},
      {"smart auto looks a tier ahead", FanPreset::automatic(), polling, 1000, 1000, boosting, 2400, true,
       "smart auto"},
      {"smart auto holds before it falls", FanPreset::automatic(), polling, 4000, 4000, zoneAt(50), 4000, false, ""},
      {"smart auto, readback 49 off", FanPreset::automatic(), polling, 2400, 2449, zoneAt(60), 2400, false, ""},
      {"smart auto, readback 60 off", FanPreset::automatic(), polling, 2400, 2460, zoneAt(60), 2400, true,
       "target readback reassertion"},
  };
}

}  // namespace

TEST(PresetTargetTests, WhatEachPresetAsks) {
  for (const TargetRow& row : targetRows()) {
    SCOPED_TRACE(row.name);
    const FanInfo fan{.index = 0,
                      .actualRPM = 1500,
                      .minRPM = 1000,
                      .maxRPM = 5000,
                      .mode = FanMode::manual,
                      .targetRPM = row.reported};
    PresetMemory memory;
    const PresetTarget target =
        presetTarget(row.preset, fan, row.readings, row.commanded, row.occasion, memory, Instant{});
    EXPECT_EQ(target.rpm, row.rpm);
    EXPECT_EQ(target.isDue, row.isDue);
    EXPECT_EQ(target.reason, row.reason);
    EXPECT_EQ(target.isDieFloorDriven, target.reason == "smart auto (die-heat floor)");
  }
}

TEST(PresetTargetTests, SmartAutoStepsDownAndTheCurveKeepsItsBand) {
  const FanInfo fan{
      .index = 1, .actualRPM = 4000, .minRPM = 1000, .maxRPM = 5000, .mode = FanMode::manual, .targetRPM = 4000};
  PresetMemory memory;
  const auto smart = [&](double zone, std::int64_t told, double seconds) {
    return presetTarget(FanPreset::automatic(), fan, zoneAt(zone), told, polling, memory, Instant{Seconds{seconds}});
  };
  EXPECT_EQ(smart(50, 4000, 0).rpm, 4000);
  EXPECT_EQ(smart(50, 4000, 29.9).rpm, 4000);
  const PresetTarget step = smart(50, 4000, 30);
  EXPECT_EQ(step.rpm, 3500);
  EXPECT_TRUE(step.isStepDown);
  EXPECT_EQ(smart(90, 3500, 31).rpm, 5000);

  const auto follow = [&](double zone) {
    return presetTarget(curve(), fan, zoneAt(zone), 1000, polling, memory, Instant{}).rpm;
  };
  EXPECT_EQ(follow(40), 3000);
  EXPECT_EQ(follow(39), 3000);
  EXPECT_EQ(follow(36), 2200);
}

}  // namespace halcyra::test
