#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Helpers/ControlStrategy.h"
#include "Helpers/FanCurveSettings.h"
#include "Platform/UUID.h"
#include "SMC/FanInfo.h"

namespace halcyra {

enum class PresetKind {
  /// The operating system controls the fans; no fan command is sent.
  system,
  /// Smart Auto.
  automatic,
  /// Every controllable fan at its hardware maximum.
  fullBlast,
  /// A curve or a constant speed.
  custom,
};

inline constexpr std::array allPresetKinds{PresetKind::system, PresetKind::automatic, PresetKind::fullBlast,
                                           PresetKind::custom};

/// The stored form.
std::string_view rawValue(PresetKind kind);
/// From the stored form; nothing for any other text.
std::optional<PresetKind> presetKindFromRaw(std::string_view raw);

/// What the user picks to decide how the fans run. Two presets with one `id` are the same preset.
struct FanPreset {
  UUID id;
  std::string name;
  PresetKind kind = PresetKind::custom;
  /// Present for custom presets only.
  std::optional<ControlStrategy> strategy;
  /// °C.
  double lowTemperature = 0.0;
  double highTemperature = 0.0;
  /// RPM.
  std::optional<std::int64_t> constantRPM = std::nullopt;
  /// °C.
  double hysteresis = 0.0;
  /// True: every fan uses the shared values above; false: fans 0 and 1 use their own.
  bool linkedFans = true;
  std::optional<FanCurveSettings> fan0Settings = std::nullopt;
  std::optional<FanCurveSettings> fan1Settings = std::nullopt;

  bool operator==(const FanPreset&) const = default;

  /// A short text beside the name; none for custom presets.
  std::optional<std::string_view> subtitle() const;
  /// A built-in: cannot be renamed, edited or deleted.
  bool isLocked() const;
  /// Whether this is a custom preset that may be stored and used.
  bool isValidCustomConfiguration() const;

  /// The values of the fan `index`: its own when the fans are unlinked and it has some, else the shared ones.
  FanCurveSettings settings(int index) const;
  /// The speed that a fixed-speed preset asks of `fan`, within its limits; none when the preset holds no fixed speed.
  std::optional<std::int64_t> fixedTarget(const FanInfo& fan) const;
  /// Gives each of the two fans that has no values of its own a copy of the shared ones.
  void ensureFanSettings();

  /// The built-in catalogue: "Apple Default", "Smart Auto", "Full Blast", "30–50 °C Cooling", "Battery Saver".
  static const FanPreset& systemDefault();
  static const FanPreset& automatic();
  static const FanPreset& fullBlast();
  static const FanPreset& cpuCoreDefault();
  static const FanPreset& batterySaver();
  /// The built-ins of the custom kind, which live in the custom-preset store: `batterySaver`, `cpuCoreDefault`.
  static const std::vector<FanPreset>& bundledPresets();
  /// Whether `id` is that of a member of `bundledPresets`.
  static bool isBundled(const UUID& id);

  /// The presets in the order in which they are listed. `customs` is the stored custom list; of the bundled presets
  /// only those that it holds are listed.
  static std::vector<FanPreset> menuOrder(const std::vector<FanPreset>& customs);
};

/// The explanation of a preset shown to the user.
std::string longDescription(const FanPreset& preset);

}  // namespace halcyra
