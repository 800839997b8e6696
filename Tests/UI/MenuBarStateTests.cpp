#include "gtest/gtest.h"

#include "UI/FanNames.h"
#include "UI/MenuBarState.h"
#include "UI/UIHarness.h"

namespace halcyra::test {

namespace {

const MenuBarState::PresetRow* rowOf(const MenuBarState& state, const char* name) {
  for (const auto& row : state.presets) {
    if (row.preset.name == name) return &row;
  }
  return nullptr;
}

}  // namespace

TEST(MenuBarState, monitoringOnlyLeavesAppleDefaultAlone) {
  UIHarness ui;
  ui.model().setFanControlOwnership(FanControlOwnership::anotherApp);
  ui.run(2);
  const MenuBarState state = makeMenuBarState(ui.model().view());
  EXPECT_TRUE(state.anotherAppOwnsFans);
  EXPECT_FALSE(state.monitoringNote);
  for (const auto& row : state.presets) {
    EXPECT_EQ(row.isEnabled, row.preset.kind == PresetKind::system) << row.preset.name;
    EXPECT_FALSE(row.canDelete) << row.preset.name;
  }
}

TEST(MenuBarState, anUnknownModelIsMonitoredOnly) {
  UIHarness ui({.prepare = [](TestPlatform& platform) { platform.system.setModel("Mac14,2"); }});
  ui.run(2);
  const MenuBarState state = makeMenuBarState(ui.model().view());
  EXPECT_EQ(state.monitoringNote, "Monitoring only — fan control is currently hardware-verified on Mac15,11.");
  EXPECT_TRUE(rowOf(state, "Apple Default")->isEnabled);
  EXPECT_FALSE(rowOf(state, "Smart Auto")->isEnabled);
}

TEST(MenuBarState, whatTheMachineSaysIsSpelledOut) {
  UIHarness ui;
  ui.run(4);
  const AppModel& model = ui.model();
  const MenuBarState state = makeMenuBarState(model.view());
  ASSERT_EQ(state.zones.size(), 2U);
  EXPECT_TRUE(state.zones[0].value.ends_with(" °C"));
  EXPECT_EQ(state.zones[0].name, "Left zone");
  EXPECT_EQ(state.zones[1].name, "Right zone");
  EXPECT_EQ(zoneLabel(2), "Fan 3 zone");
  ASSERT_EQ(state.fans.size(), 2U);
  EXPECT_EQ(state.fans[0].curveInput, "Curve input " + state.zones[0].value + " · " + model.fanControlDrivers().at(0));
  ASSERT_EQ(state.rawHotspots.size(), 2U);
  EXPECT_TRUE(state.rawHotspots[0].starts_with("CPU die hotspot (TCMz) "));
  ASSERT_EQ(state.rawMetrics.size(), 4U);
  EXPECT_TRUE(state.rawMetrics[3].starts_with("GPU max ") && state.rawMetrics[3].ends_with("°"));
  EXPECT_EQ(rowOf(state, "Smart Auto")->helpText, "Hottest live sensor");
  EXPECT_EQ(rowOf(state, "Battery Saver")->helpText, "Battery Saver");
}

TEST(MenuBarState, withoutReadingsThereAreDashesAndNoFans) {
  UIHarness ui;
  const auto fresh = AppModel::make(ui.desktop().platform, {.refreshHelperRegistration = true});
  const MenuBarState state = makeMenuBarState(fresh->view());
  EXPECT_TRUE(state.rawHotspots.empty());
  EXPECT_EQ(state.rawMetrics, (std::vector<std::string>{"CPU avg —", "P-core max —", "E-core max —", "GPU max —"}));
  EXPECT_EQ(state.rawThermalTooltip,
            "Secondary raw values — CPU hotspot: unavailable, GPU hotspot: unavailable, P-core max: unavailable. Raw "
            "hotspots do not drive normal curves, but 105 °C triggers the critical safety override.");
  EXPECT_EQ(state.monitoringNote, "No controllable fans detected on this Mac — sensor monitoring only.");
  EXPECT_EQ(state.hottestText, "—");
  for (const auto& row : state.presets) EXPECT_FALSE(row.isEnabled) << row.preset.name;
}

}  // namespace halcyra::test
