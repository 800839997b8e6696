#include <functional>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "Helpers/FanPreset.h"
#include "Support/Values.h"

namespace halcyra {

namespace {

FanPreset customCurve(double low = 40.0, double high = 80.0) {
  return {.id = UUID::random(),
          .name = "Mine",
          .kind = PresetKind::custom,
          .strategy = ControlStrategy::cpuCoreAverage,
          .lowTemperature = low,
          .highTemperature = high,
          .hysteresis = 1.5};
}

FanPreset customConstant(std::optional<std::int64_t> rpm) {
  FanPreset preset = customCurve();
  preset.strategy = ControlStrategy::constantRPM;
  preset.constantRPM = rpm;
  return preset;
}

FanInfo fan(int index) {
  return {.index = index, .actualRPM = 2000, .minRPM = 1200, .maxRPM = 5000, .targetRPM = 2000};
}

std::vector<std::string> names(const std::vector<FanPreset>& presets) {
  std::vector<std::string> result;
  for (const FanPreset& preset : presets) result.push_back(preset.name);
  return result;
}

}  // namespace

TEST(FanPreset, HasTheBuiltInCatalogue) {
  // What settings of earlier runs name, and what nobody but the catalogue may hold.
  const std::pair<const FanPreset&, const char*> cases[] = {
      {FanPreset::automatic(), "1"},     {FanPreset::fullBlast(), "2"},    {FanPreset::cpuCoreDefault(), "3"},
      {FanPreset::systemDefault(), "4"}, {FanPreset::batterySaver(), "5"},
  };
  for (const auto& [preset, lastDigit] : cases) {
    EXPECT_EQ(preset.id.string(), std::string("00000000-0000-0000-0000-00000000000") + lastDigit);
    FanPreset renamed = preset;
    renamed.name = "Mine";
    EXPECT_TRUE(renamed.isLocked()) << preset.name;
    EXPECT_EQ(preset.isValidCustomConfiguration(), preset.kind == PresetKind::custom) << preset.name;
  }
  EXPECT_FALSE(customCurve().isLocked());
  EXPECT_EQ(FanPreset::batterySaver().hysteresis, 10) << "it must not hunt around its high ramp";
}

TEST(FanPreset, JudgesCustomConfigurations) {
  struct Case {
    const char* what;
    FanPreset preset;
    bool isValid;
  };
  const auto changed = [](const std::function<void(FanPreset&)>& change) {
    FanPreset preset = customCurve();
    change(preset);
    return preset;
  };
  const auto unlinked = [](std::optional<FanCurveSettings> fan0, std::optional<FanCurveSettings> fan1) {
    FanPreset preset = customCurve(60, 40);  // what is shared does not count
    preset.linkedFans = false;
    preset.fan0Settings = fan0;
    preset.fan1Settings = fan1;
    return preset;
  };
  const FanCurveSettings good{30, 60, std::nullopt};
  const FanCurveSettings bad{60, 30, std::nullopt};
  const Case cases[] = {
      {"name of wide and hard spaces", changed([](FanPreset& p) { p.name = "\u3000\u00A0"; }), false},
      {"name with spaces around", changed([](FanPreset& p) { p.name = " é "; }), true},
      {"hysteresis 0.5", changed([](FanPreset& p) { p.hysteresis = 0.5; }), true},
      {"hysteresis 0.49", changed([](FanPreset& p) { p.hysteresis = 0.49; }), false},
      {"hysteresis 10.01", changed([](FanPreset& p) { p.hysteresis = 10.01; }), false},
      {"hysteresis no number", changed([](FanPreset& p) { p.hysteresis = test::nan; }), false},
      {"no strategy", changed([](FanPreset& p) { p.strategy.reset(); }), false},
      {"other kind", changed([](FanPreset& p) { p.kind = PresetKind::automatic; }), false},
      {"curve 20…100", customCurve(20, 100), true},
      {"curve 20…20", customCurve(20, 20), false},
      {"curve 19.9…50", customCurve(19.9, 50), false},
      {"curve 50…100.1", customCurve(50, 100.1), false},
      {"curve no number", customCurve(test::nan, 50), false},
      {"constant 1000", customConstant(1000), true},
      {"constant 6000", customConstant(6000), true},
      {"constant 999", customConstant(999), false},
      {"constant 6001", customConstant(6001), false},
      {"constant absent", customConstant(std::nullopt), false},
      {"unlinked, both good", unlinked(good, good), true},
      {"unlinked, one absent", unlinked(good, std::nullopt), false},
      {"unlinked, first bad", unlinked(bad, good), false},
      {"unlinked, second bad", unlinked(good, bad), false},
  };
  for (const Case& testCase : cases) {
    EXPECT_EQ(testCase.preset.isValidCustomConfiguration(), testCase.isValid) << testCase.what;
  }
}

TEST(FanPreset, ResolvesSettingsPerFan) {
  FanPreset preset = customConstant(3000);
  preset.fan1Settings = FanCurveSettings{50, 70, 4000};
  const FanCurveSettings shared{40, 80, 3000};
  EXPECT_EQ(preset.settings(1), shared) << "linked fans share";
  preset.linkedFans = false;
  EXPECT_EQ(preset.settings(0), shared) << "none of its own";
  EXPECT_EQ(preset.settings(1), *preset.fan1Settings);
  EXPECT_EQ(preset.settings(2), shared);
  EXPECT_EQ(preset.fixedTarget(fan(0)), 3000);
  EXPECT_EQ(preset.fixedTarget(fan(1)), 4000);
  preset.ensureFanSettings();
  EXPECT_EQ(preset.fan0Settings, shared);
  EXPECT_EQ(preset.fan1Settings, (FanCurveSettings{50, 70, 4000})) << "present settings stay";
}

TEST(FanPreset, GivesFixedTargetsWithinTheFansLimits) {
  EXPECT_EQ(FanPreset::automatic().fixedTarget(fan(0)), std::nullopt);
  EXPECT_EQ(customCurve().fixedTarget(fan(0)), std::nullopt);
  EXPECT_EQ(FanPreset::fullBlast().fixedTarget(fan(0)), 5000);
  EXPECT_EQ(customConstant(800).fixedTarget(fan(0)), 1200);
  EXPECT_EQ(customConstant(7000).fixedTarget(fan(0)), 5000);
  EXPECT_EQ(customConstant(std::nullopt).fixedTarget(fan(0)), 1200);
}

TEST(FanPreset, ListsPresetsInMenuOrder) {
  FanPreset mine = customCurve();
  FanPreset foreign = customCurve();
  foreign.kind = PresetKind::system;
  foreign.name = "Foreign";
  FanPreset tuned = FanPreset::batterySaver();
  tuned.lowTemperature = 85;
  const auto order =
      FanPreset::menuOrder({mine, FanPreset::cpuCoreDefault(), foreign, tuned, FanPreset::batterySaver()});
  EXPECT_EQ(names(order), (std::vector<std::string>{"Apple Default", "Battery Saver", "30–50 °C Cooling", "Smart Auto",
                                                    "Full Blast", "Mine"}));
  EXPECT_EQ(order[1].lowTemperature, 85) << "the stored one, not the catalogue's";
}

TEST(FanPreset, IsExplainedAtLength) {
  FanPreset tuned = FanPreset::batterySaver();
  tuned.lowTemperature = 85.7;
  const std::pair<FanPreset, std::string> cases[] = {
      {FanPreset::systemDefault(),
       "Hands fan control back to macOS, exactly as it ships from Apple. Aerovane sends no commands — use this when "
       "you "
       "don't need active cooling management."},
      {FanPreset::automatic(),
       "Performance-biased curve: each fan follows its stable local CPU/GPU airflow zone, while sustained die heat can "
       "raise the minimum target. It reaches full speed by 90 °C, then eases down after a 30-second cooldown."},
      {FanPreset::fullBlast(),
       "All fans at their hardware maximum. Use for short bursts of heavy load or quick cool-downs."},
      {tuned,
       "Uses each fan's CPU/GPU zone input: minimum RPM through 85 °C and full speed at 100 °C. This noise-first curve "
       "runs hotter; the 105 °C raw-die safety override still forces maximum cooling."},
      {customConstant(2500),
       "Holds a constant 2500 RPM, clamped to each fan's hardware limits — steady airflow regardless of temperature."},
      {customCurve(39.9),
       "Temperature curve tracking each fan's CPU/GPU zone input: minimum RPM below 39 °C, full speed at 80 °C."},
      {customCurve(-0.4),
       "Temperature curve tracking each fan's CPU/GPU zone input: minimum RPM below 0 °C, full speed at 80 °C."},
      {FanPreset::cpuCoreDefault(),
       "Temperature curve tracking each fan's CPU/GPU zone input: minimum RPM below 30 °C, full speed at 50 °C — an "
       "aggressive cooling curve that will often run near maximum on a warm Mac."},
  };
  for (const auto& [preset, text] : cases) {
    EXPECT_EQ(longDescription(preset), text);
  }
}

}  // namespace halcyra
