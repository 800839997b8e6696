#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Helpers/FanControlOwnership.h"

namespace halcyra {

struct ModelView;

/// What the program's bundle says about itself; nothing where it says nothing.
struct BundleVersion {
  std::optional<std::string> shortVersion;
  std::optional<std::string> build;
};

/// Everything in the settings window that can change.
struct SettingsState {
  FanControlOwnership owner = FanControlOwnership::aerovane;
  std::string ownerDetail;
  /// The row is absent while no competing controller runs.
  std::optional<std::string> detectedWriter;
  std::string helperStatus;
  /// Green, and orange otherwise.
  bool helperApproved = false;
  std::string supervisedTest;
  /// Installing and removing the helper rest while fan control is being taken, tested or handed back.
  bool canChangeHelper = true;

  bool startAtLogin = false;
  /// Position of the interval slider; `settingsInterval` gives the seconds.
  int intervalStep = 0;
  /// "Apply 2.5 second interval"
  std::string applyInterval;
  /// "2.5 seconds", as the slider's value is read out.
  std::string spokenInterval;

  bool overheatAlerts = false;
  /// Position of the threshold slider, °C.
  int threshold = 0;
  /// "85 °C"
  std::string thresholdText;

  /// "1.2.0 (34)"; "—" for what is missing.
  std::string version;

  bool operator==(const SettingsState&) const = default;
};

SettingsState makeSettingsState(const ModelView& view, const BundleVersion& version);

/// The interval slider goes in steps of half a second from 1 to 5 seconds.
inline constexpr int firstIntervalStep = 2;
inline constexpr int lastIntervalStep = 10;
double settingsInterval(int step);
/// The step nearest to `seconds`, within the slider's range.
int settingsIntervalStep(double seconds);

/// Texts that never change, in the order in which they stand.
namespace SettingsText {

inline constexpr std::string_view helperHeader = "Privileged helper";
inline constexpr std::string_view owner = "Fan-control owner";
inline constexpr std::string_view detectedWriter = "Detected writer";
inline constexpr std::string_view status = "Status";
inline constexpr std::string_view conflictCaption =
    "Other fan-control apps may conflict with Aerovane. Please close them before use.";
inline constexpr std::string_view approvalCaption =
    "The helper can write only fan mode and target keys. macOS requires administrator approval in Login Items.";
inline constexpr std::string_view supervisedTest = "Supervised test";
inline constexpr std::string_view install = "Install and Request Approval";
inline constexpr std::string_view uninstall = "Uninstall";
inline constexpr std::string_view openLoginItems = "Open Login Items";

inline constexpr std::string_view monitoringHeader = "Monitoring";
inline constexpr std::string_view startAtLogin = "Start at login";
inline constexpr std::string_view pollingInterval = "Polling interval";
inline constexpr std::string_view shortestInterval = "1s";
inline constexpr std::string_view longestInterval = "5s";

inline constexpr std::string_view alertHeader = "Overheat alert";
inline constexpr std::string_view notify = "Notify when CPU exceeds threshold";
inline constexpr std::string_view threshold = "Threshold";
inline constexpr std::string_view alertCaption = "Delivered as a macOS notification, at most once every 5 minutes.";
inline constexpr std::string_view testNotification = "Send Test Notification";

inline constexpr std::string_view presetsHeader = "Presets";
inline constexpr std::string_view presetsCaption =
    "Exports all custom presets as JSON for backup or sharing. Imported presets are added with fresh identities.";
inline constexpr std::string_view exportPresets = "Export Presets…";
inline constexpr std::string_view importPresets = "Import Presets…";

inline constexpr std::string_view safetyHeader = "Safety";
inline constexpr std::string_view returnToAutomatic = "Return All Fans to Automatic";

inline constexpr std::string_view aboutHeader = "About";
inline constexpr std::string_view version = "Version";
inline constexpr std::string_view checkForUpdates = "Check for Updates…";

/// What the log says about hand-backs that the settings ask for.
inline constexpr std::string_view uninstallReason = "helper uninstall";
inline constexpr std::string_view emergencyReason = "settings emergency reset";

}  // namespace SettingsText

}  // namespace halcyra
