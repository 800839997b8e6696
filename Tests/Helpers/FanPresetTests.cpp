#include <functional>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "Helpers/FanPreset.h"
#include "Support/Values.h"

namespace halcyra {

namespace {

FanPreset customCurve() {
  return {.id = UUID::random(),
          .name = "Mine",
          .kind = PresetKind::custom,
          .strategy = ControlStrategy::cpuCoreAverage,
          .lowTemperature = 40.0,
          .highTemperature = 80.0,
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
  struct Case {
    const FanPreset& preset;
    const char* lastDigit;
    const char* name;
    PresetKind kind;
    std::optional<ControlStrategy> strategy;
    double low, high, hysteresis;
    std::optional<std::string_view> subtitle;
  };
  const auto curve = ControlStrategy::cpuCoreAverage;
  const Case cases[] = {
      {FanPreset::automatic(), "1", "Smart Auto", PresetKind::automatic, {}, 30, 50, 1.5, "Performance-biased"},
      {FanPreset::fullBlast(), "2", "Full Blast", PresetKind::fullBlast, {}, 30, 50, 1.5, "Maximum RPM"},
      {FanPreset::cpuCoreDefault(), "3", "30–50 °C Cooling", PresetKind::custom, curve, 30, 50, 1.5, {}},
      {FanPreset::systemDefault(), "4", "Apple Default", PresetKind::system, {}, 30, 50, 1.5, "Stock macOS control"},
      {FanPreset::batterySaver(), "5", "Battery Saver", PresetKind::custom, curve, 90, 100, 10, {}},
  };
  for (const Case& expected : cases) {
    const FanPreset& preset = expected.preset;
    EXPECT_EQ(preset.id.string(), std::string("00000000-0000-0000-0000-00000000000") + expected.lastDigit);
    EXPECT_EQ(preset, (FanPreset{.id = preset.id,
                                 .name = expected.name,
                                 .kind = expected.kind,
                                 .strategy = expected.strategy,
                                 .lowTemperature = expected.low,
                                 .highTemperature = expected.high,
                                 .hysteresis = expected.hysteresis}))
        << expected.name;
    EXPECT_EQ(preset.subtitle(), expected.subtitle) << expected.name;
    EXPECT_TRUE(preset.isLocked()) << expected.name;
    EXPECT_EQ(preset.isValidCustomConfiguration(), expected.kind == PresetKind::custom) << expected.name;
  }
  EXPECT_EQ(names(FanPreset::bundledPresets()), (std::vector<std::string>{"Battery Saver", "30–50 °C Cooling"}));
  EXPECT_FALSE(customCurve().isLocked());
  FanPreset renamedBuiltIn = FanPreset::batterySaver();
  renamedBuiltIn.name = "Mine";
  EXPECT_TRUE(renamedBuiltIn.isLocked());
}

TEST(FanPreset, JudgesCustomConfigurations) {
  struct Case {
    const char* what;
    std::function<void(FanPreset&)> change;
    bool isValid;
  };
  const auto curve = [](double low, double high) {
    return [=](FanPreset& p) {
      p.lowTemperature = low;
      p.highTemperature = high;
    };
  };
  const auto constant = [](std::optional<std::int64_t> rpm) {
    return [=](FanPreset& p) {
      p.strategy = ControlStrategy::constantRPM;
      p.constantRPM = rpm;
    };
  };
  const auto unlinked = [](std::optional<FanCurveSettings> fan0, std::optional<FanCurveSettings> fan1) {
    return [=](FanPreset& p) {
      p.linkedFans = false;
      p.fan0Settings = fan0;
      p.fan1Settings = fan1;
    };
  };
  const FanCurveSettings good{30, 60, std::nullopt};
  const FanCurveSettings bad{60, 30, std::nullopt};
  const Case cases[] = {
      {"as it is", [](FanPreset&) {}, true},
      {"name of spaces", [](FanPreset& p) { p.name = " \t\n "; }, false},
      {"name of wide and hard spaces", [](FanPreset& p) { p.name = "\u3000\u00A0"; }, false},
      {"name with spaces around", [](FanPreset& p) { p.name = " é "; }, true},
      {"hysteresis 0.5", [](FanPreset& p) { p.hysteresis = 0.5; }, true},
      {"hysteresis 10", [](FanPreset& p) { p.hysteresis = 10.0; }, true},
      {"hysteresis 0.49", [](FanPreset& p) { p.hysteresis = 0.49; }, false},
      {"hysteresis 10.01", [](FanPreset& p) { p.hysteresis = 10.01; }, false},
      {"hysteresis no number", [](FanPreset& p) { p.hysteresis = test::nan; }, false},
      {"no strategy", [](FanPreset& p) { p.strategy.reset(); }, false},
      {"other kind", [](FanPreset& p) { p.kind = PresetKind::automatic; }, false},
      {"curve 20…100", curve(20, 100), true},
      {"curve 20…20", curve(20, 20), false},
      {"curve 19.9…50", curve(19.9, 50), false},
      {"curve 50…100.1", curve(50, 100.1), false},
      {"curve 60…40", curve(60, 40), false},
      {"curve no number", curve(test::nan, 50), false},
      {"constant 1000", constant(1000), true},
      {"constant 6000", constant(6000), true},
      {"constant 999", constant(999), false},
      {"constant 6001", constant(6001), false},
      {"constant absent", constant(std::nullopt), false},
      {"unlinked, both good, shared bad",
       [&](FanPreset& p) {
         curve(60, 40)(p);
         unlinked(good, good)(p);
       },
       true},
      {"unlinked, one absent", unlinked(good, std::nullopt), false},
      {"unlinked, first bad", unlinked(bad, good), false},
      {"unlinked, second bad", unlinked(good, bad), false},
  };
  for (const Case& testCase : cases) {
    FanPreset preset = customCurve();
    testCase.change(preset);
    EXPECT_EQ(preset.isValidCustomConfiguration(), testCase.isValid) << testCase.what;
  }
}

TEST(FanPreset, ResolvesSettingsPerFan) {
  FanPreset preset = customCurve();
  preset.fan1Settings = FanCurveSettings{50, 70, 3000};
  const FanCurveSettings shared{40, 80, std::nullopt};
  EXPECT_EQ(preset.settings(1), shared) << "linked fans share";
  preset.linkedFans = false;
  EXPECT_EQ(preset.settings(0), shared) << "none of its own";
  EXPECT_EQ(preset.settings(1), *preset.fan1Settings);
  EXPECT_EQ(preset.settings(2), shared);
  EXPECT_EQ(preset.settings(-1), shared);

  preset.constantRPM = 2500;
  preset.ensureFanSettings();
  EXPECT_EQ(preset.fan0Settings, (FanCurveSettings{40, 80, 2500}));
  EXPECT_EQ(preset.fan1Settings, (FanCurveSettings{50, 70, 3000})) << "present settings stay";
}

TEST(FanPreset, GivesFixedTargetsWithinTheFansLimits) {
  EXPECT_EQ(FanPreset::systemDefault().fixedTarget(fan(0)), std::nullopt);
  EXPECT_EQ(FanPreset::automatic().fixedTarget(fan(0)), std::nullopt);
  EXPECT_EQ(FanPreset::fullBlast().fixedTarget(fan(0)), 5000);
  EXPECT_EQ(customCurve().fixedTarget(fan(0)), std::nullopt);
  FanPreset strategyless = customConstant(3000);
  strategyless.strategy.reset();
  EXPECT_EQ(strategyless.fixedTarget(fan(0)), std::nullopt);
  EXPECT_EQ(customConstant(3000).fixedTarget(fan(0)), 3000);
  EXPECT_EQ(customConstant(800).fixedTarget(fan(0)), 1200);
  EXPECT_EQ(customConstant(7000).fixedTarget(fan(0)), 5000);
  EXPECT_EQ(customConstant(std::nullopt).fixedTarget(fan(0)), 1200);

  FanPreset unlinked = customConstant(3000);
  unlinked.linkedFans = false;
  unlinked.fan0Settings = FanCurveSettings{40, 80, 4000};
  EXPECT_EQ(unlinked.fixedTarget(fan(0)), 4000);
  EXPECT_EQ(unlinked.fixedTarget(fan(1)), 3000);
  EXPECT_EQ(unlinked.fixedTarget(fan(2)), 3000);
}

TEST(FanPreset, ListsPresetsInMenuOrder) {
  EXPECT_EQ(names(FanPreset::menuOrder({})), (std::vector<std::string>{"Apple Default", "Smart Auto", "Full Blast"}));
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
  FanPreset curve = customCurve();
  curve.lowTemperature = 39.9;
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
      {curve,
       "Temperature curve tracking each fan's CPU/GPU zone input: minimum RPM below 39 °C, full speed at 80 °C."},
      {customConstant(std::nullopt),
       "Temperature curve tracking each fan's CPU/GPU zone input: minimum RPM below 40 °C, full speed at 80 °C."},
      {FanPreset::cpuCoreDefault(),
       "Temperature curve tracking each fan's CPU/GPU zone input: minimum RPM below 30 °C, full speed at 50 °C — an "
       "aggressive cooling curve that will often run near maximum on a warm Mac."},
  };
  for (const auto& [preset, text] : cases) {
    EXPECT_EQ(longDescription(preset), text);
  }
}

}  // namespace halcyra
