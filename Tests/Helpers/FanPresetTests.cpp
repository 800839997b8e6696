#include "gtest/gtest.h"

#include "Helpers/FanPreset.h"
#include "Support/Values.h"

namespace halcyra {

using test::Table;

namespace {

FanPreset customCurve(double low = 40.0, double high = 80.0, double hysteresis = 1.5) {
  return {.id = UUID::random(),
          .name = " é ",
          .kind = PresetKind::custom,
          .strategy = ControlStrategy::cpuCoreAverage,
          .lowTemperature = low,
          .highTemperature = high,
          .hysteresis = hysteresis};
}

FanPreset customConstant(std::optional<std::int64_t> rpm) {
  FanPreset preset = customCurve();
  preset.strategy = ControlStrategy::constantRPM;
  preset.constantRPM = rpm;
  return preset;
}

FanPreset unlinked(std::optional<FanCurveSettings> fan0, std::optional<FanCurveSettings> fan1) {
  FanPreset preset = customCurve(60, 40);  // what is shared does not count
  preset.linkedFans = false;
  preset.fan0Settings = fan0;
  preset.fan1Settings = fan1;
  return preset;
}

FanInfo fan(int index) {
  return {.index = index, .actualRPM = 2000, .minRPM = 1200, .maxRPM = 5000, .targetRPM = 2000};
}

}  // namespace

TEST(FanPreset, HasTheBuiltInCatalogue) {
  // What settings of earlier runs name, and what nobody but the catalogue may hold.
  std::string expected = "00000000-0000-0000-0000-000000000000";
  for (FanPreset preset : {FanPreset::automatic(), FanPreset::fullBlast(), FanPreset::cpuCoreDefault(),
                           FanPreset::systemDefault(), FanPreset::batterySaver()}) {
    ++expected.back();
    EXPECT_EQ(preset.id.string(), expected);
    EXPECT_EQ(preset.isValidCustomConfiguration(), preset.kind == PresetKind::custom) << preset.name;
    preset.name = "Mine";
    EXPECT_TRUE(preset.isLocked()) << expected;
  }
  EXPECT_FALSE(customCurve().isLocked());
  EXPECT_EQ(FanPreset::batterySaver().hysteresis, 10) << "it must not hunt around its high ramp";
}

TEST(FanPreset, JudgesCustomConfigurations) {
  FanPreset unnamed = customCurve();
  unnamed.name = "\u3000\u00A0";  // wide and hard spaces
  FanPreset aimless = customCurve();
  aimless.strategy.reset();
  FanPreset automatic = customCurve();
  automatic.kind = PresetKind::automatic;
  const FanCurveSettings good{30, 60, std::nullopt};
  const FanCurveSettings bad{60, 30, std::nullopt};
  const FanPreset valid[] = {customCurve(40, 80, 0.5), customCurve(20, 100), customConstant(1000), customConstant(6000),
                             unlinked(good, good)};
  for (const FanPreset& preset : valid) EXPECT_TRUE(preset.isValidCustomConfiguration()) << longDescription(preset);
  const FanPreset invalid[] = {unnamed,
                               aimless,
                               automatic,
                               customCurve(40, 80, 0.49),
                               customCurve(40, 80, 10.01),
                               customCurve(40, 80, test::nan),
                               customCurve(20, 20),
                               customCurve(19.9, 50),
                               customCurve(50, 100.1),
                               customCurve(test::nan, 50),
                               customConstant(999),
                               customConstant(6001),
                               customConstant(std::nullopt),
                               unlinked(good, std::nullopt),
                               unlinked(bad, good),
                               unlinked(good, bad)};
  for (std::size_t row = 0; row < std::size(invalid); ++row) {
    EXPECT_FALSE(invalid[row].isValidCustomConfiguration()) << row;
  }
}

TEST(FanPreset, ResolvesSettingsAndFixedTargetsPerFanWithinItsLimits) {
  FanPreset preset = customConstant(3000);
  preset.fan1Settings = FanCurveSettings{50, 70, 4000};
  const FanCurveSettings shared{40, 80, 3000};
  EXPECT_EQ(preset.settings(1), shared) << "linked fans share";
  preset.linkedFans = false;
  EXPECT_EQ(preset.settings(0), shared) << "none of its own";
  EXPECT_EQ(preset.settings(1), *preset.fan1Settings);
  EXPECT_EQ(preset.settings(2), shared);
  EXPECT_EQ(preset.fixedTarget(fan(1)), 4000);
  preset.ensureFanSettings();
  EXPECT_EQ(preset.fan0Settings, shared);
  EXPECT_EQ(preset.fan1Settings, (FanCurveSettings{50, 70, 4000})) << "present settings stay";
  for (const auto& [chosen, target] :
       Table<FanPreset, std::optional<std::int64_t>>{{preset, 3000},
                                                     {FanPreset::automatic(), std::nullopt},
                                                     {customCurve(), std::nullopt},
                                                     {FanPreset::fullBlast(), 5000},
                                                     {customConstant(800), 1200},
                                                     {customConstant(7000), 5000},
                                                     {customConstant(std::nullopt), 1200}}) {
    EXPECT_EQ(chosen.fixedTarget(fan(0)), target);
  }
}

TEST(FanPreset, ListsPresetsInMenuOrder) {
  FanPreset foreign = customCurve();
  foreign.kind = PresetKind::system;
  FanPreset tuned = FanPreset::batterySaver();
  tuned.lowTemperature = 85;
  std::string names;
  for (const FanPreset& preset :
       FanPreset::menuOrder({customCurve(), FanPreset::cpuCoreDefault(), foreign, tuned, FanPreset::batterySaver()})) {
    names += preset.name + (preset.lowTemperature == 85 ? " (tuned), " : ", ");
  }
  EXPECT_EQ(names, "Apple Default, Battery Saver (tuned), 30–50 °C Cooling, Smart Auto, Full Blast,  é , ");
}

TEST(FanPreset, IsExplainedAtLengthWithItsOwnFigures) {
  const std::string curve = "Temperature curve tracking each fan's CPU/GPU zone input: minimum RPM below ";
  for (const auto& [preset, beginning] : Table<FanPreset, std::string>{
           {FanPreset::systemDefault(), "Hands fan control back to macOS"},
           {FanPreset::batterySaver(),
            "Uses each fan's CPU/GPU zone input: minimum RPM through 90 °C and full speed at"},
           {customConstant(2500), "Holds a constant 2500 RPM, clamped to each fan's hardware limits"},
           {customCurve(39.9), curve + "39 °C, full speed at 80 °C."},
           {customCurve(-0.4), curve + "0 °C, full speed at 80 °C."},
           {FanPreset::cpuCoreDefault(), curve + "30 °C, full speed at 50 °C — an aggressive cooling curve"}}) {
    EXPECT_TRUE(longDescription(preset).starts_with(beginning)) << longDescription(preset);
  }
}

}  // namespace halcyra
