#pragma once

#include <optional>
#include <string>
#include <vector>

#include "App/ModelView.h"

namespace halcyra {

/// What the menu bar panel shows apart from its charts.
struct MenuBarState {
  struct ZoneRow {
    std::string name;
    /// °C.
    double temperature = 0;
    /// "58.4 °C"
    std::string value;

    bool operator==(const ZoneRow&) const = default;
  };
  struct FanRow {
    std::string name;
    /// "2040 RPM"
    std::string speed;
    /// "Auto" or "Manual"
    std::string mode;
    /// Empty for a fan without a temperature.
    std::string curveInput;

    bool operator==(const FanRow&) const = default;
  };
  struct PresetRow {
    FanPreset preset;
    bool isActive = false;
    bool isEnabled = false;
    bool canDelete = false;
    /// Parted from the one above: the first of the user's own.
    bool startsGroup = false;
    std::string helpText;

    bool operator==(const PresetRow&) const = default;
  };
  struct Conflict {
    std::string title;
    std::string explanation;

    bool operator==(const Conflict&) const = default;
  };

  std::string rawThermalTooltip;
  std::vector<ZoneRow> zones;
  std::vector<std::string> rawHotspots;
  std::vector<std::string> rawMetrics;
  bool criticalOverride = false;
  std::vector<FanRow> fans;
  /// Absent where fan control is possible.
  std::optional<std::string> monitoringNote;
  bool anotherAppOwnsFans = false;
  std::vector<PresetRow> presets;
  /// °C.
  std::optional<double> hottest;
  /// "61.2 °C", or a dash.
  std::string hottestText;
  double samplingInterval = 0;
  bool showsHelperSetup = false;
  bool canSetUpHelper = false;
  bool showsSupervisedTest = false;
  bool canRunSupervisedTest = false;
  bool showsSupervisedTestCaption = false;
  std::optional<Conflict> conflict;
  std::optional<std::string> error;

  bool operator==(const MenuBarState&) const = default;
};

MenuBarState makeMenuBarState(const ModelView& view);

namespace MenuBarText {

inline constexpr const char* title = "Fan Curve Temperatures";
inline constexpr const char* subtitle = "Exact smoothed inputs used by each fan curve";
inline constexpr const char* expandChart = "Expand session chart";
inline constexpr const char* collapseChart = "Collapse session chart";
inline constexpr const char* rawDetails = "Raw die and hotspot details";
inline constexpr const char* criticalOverride = "Critical die override — both fans at maximum";
inline constexpr const char* anotherApp = "Monitoring only — another app owns fan control";
inline constexpr const char* anotherAppNote =
    "Temperatures and RPM remain live. Change the fan-control owner in Settings to let Aerovane apply presets.";
inline constexpr const char* presets = "Preset";
inline constexpr const char* sparklineNote = "Display only · fan curves use the zone temperatures above";
inline constexpr const char* hottest = "Hottest live CPU/GPU sensor";
inline constexpr const char* viewHistory = "View full session history";
inline constexpr const char* viewHistoryHelp = "Expand fan-curve and raw sensor history";
inline constexpr const char* setUpHelper = "Set Up Privileged Helper…";
inline constexpr const char* approveNote = "One-time setup: approve Aerovane under System Settings → Login Items.";
inline constexpr const char* otherAppsNote =
    "Other fan-control apps may conflict with Aerovane. Please close them before use.";
inline constexpr const char* supervisedTest = "Run Supervised Fan Test…";
inline constexpr const char* supervisedTestNote = "Required once before manual presets are enabled.";
inline constexpr const char* openDashboard = "Open Dashboard";
inline constexpr const char* sensors = "Sensors…";
inline constexpr const char* quit = "Quit";
inline constexpr const char* settings = "Settings & Helper…";
inline constexpr const char* checkForUpdates = "Check for Updates…";
inline constexpr const char* presetHelp = "What does this preset do?";
inline constexpr const char* duplicatePreset = "Duplicate";
inline constexpr const char* deletePreset = "Delete";

}  // namespace MenuBarText

}  // namespace halcyra
