#include "Helpers/FanPreset.h"

#include <algorithm>
#include <cmath>

#include "fmt/format.h"

#include "Platform/Precondition.h"
#include "Platform/UnicodeText.h"

namespace halcyra {

namespace {

bool isValidCurve(double low, double high) {
  constexpr double lowest = 20.0;
  constexpr double highest = 100.0;
  // Written so that a bound that is no number fails.
  return low >= lowest && low < high && high <= highest;
}

bool isValidConstant(const std::optional<std::int64_t>& rpm) {
  return rpm && *rpm >= 1000 && *rpm <= 6000;
}

bool hasValidValues(const FanCurveSettings& settings, ControlStrategy strategy) {
  switch (strategy) {
    case ControlStrategy::cpuCoreAverage:
      return isValidCurve(settings.lowTemperature, settings.highTemperature);
    case ControlStrategy::constantRPM:
      return isValidConstant(settings.constantRPM);
  }
  return false;
}

FanCurveSettings sharedSettings(const FanPreset& preset) {
  return {preset.lowTemperature, preset.highTemperature, preset.constantRPM};
}

FanPreset builtIn(std::string_view id, std::string_view name, PresetKind kind, std::optional<ControlStrategy> strategy,
                  double low, double high, double hysteresis) {
  const std::optional<UUID> identity = UUID::parse(id);
  precondition(identity.has_value(), "The identity of a built-in preset is no UUID");
  return FanPreset{.id = *identity,
                   .name = std::string(name),
                   .kind = kind,
                   .strategy = strategy,
                   .lowTemperature = low,
                   .highTemperature = high,
                   .hysteresis = hysteresis};
}

}  // namespace

std::string_view rawValue(PresetKind kind) {
  switch (kind) {
    case PresetKind::system:
      return "system";
    case PresetKind::automatic:
      return "automatic";
    case PresetKind::fullBlast:
      return "fullBlast";
    case PresetKind::custom:
      return "custom";
  }
  return "";
}

std::optional<PresetKind> presetKindFromRaw(std::string_view raw) {
  for (const PresetKind kind : allPresetKinds) {
    if (raw == rawValue(kind)) return kind;
  }
  return std::nullopt;
}

std::optional<std::string_view> FanPreset::subtitle() const {
  switch (kind) {
    case PresetKind::system:
      return "Stock macOS control";
    case PresetKind::automatic:
      return "Performance-biased";
    case PresetKind::fullBlast:
      return "Maximum RPM";
    case PresetKind::custom:
      break;
  }
  return std::nullopt;
}

bool FanPreset::isLocked() const {
  return kind != PresetKind::custom || isBundled(id);
}

bool FanPreset::isValidCustomConfiguration() const {
  constexpr double narrowestHysteresis = 0.5;
  constexpr double widestHysteresis = 10.0;
  if (kind != PresetKind::custom || trimmed(name).empty() || !std::isfinite(hysteresis) ||
      hysteresis < narrowestHysteresis || hysteresis > widestHysteresis || !strategy) {
    return false;
  }
  if (linkedFans) {
    return hasValidValues(sharedSettings(*this), *strategy);
  }
  return fan0Settings && fan1Settings && hasValidValues(*fan0Settings, *strategy) &&
         hasValidValues(*fan1Settings, *strategy);
}

FanCurveSettings FanPreset::settings(int index) const {
  if (!linkedFans && index == 0 && fan0Settings) return *fan0Settings;
  if (!linkedFans && index == 1 && fan1Settings) return *fan1Settings;
  return sharedSettings(*this);
}

std::optional<std::int64_t> FanPreset::fixedTarget(const FanInfo& fan) const {
  if (kind == PresetKind::fullBlast) {
    return fan.maxRPM;
  }
  if (kind != PresetKind::custom || strategy != ControlStrategy::constantRPM) {
    return std::nullopt;
  }
  const std::int64_t wanted = settings(fan.index).constantRPM.value_or(fan.minRPM);
  return std::min(fan.maxRPM, std::max(fan.minRPM, wanted));
}

void FanPreset::ensureFanSettings() {
  if (!fan0Settings) fan0Settings = sharedSettings(*this);
  if (!fan1Settings) fan1Settings = sharedSettings(*this);
}

const FanPreset& FanPreset::systemDefault() {
  static const FanPreset preset = builtIn("00000000-0000-0000-0000-000000000004", "Apple Default", PresetKind::system,
                                          std::nullopt, 30.0, 50.0, 1.5);
  return preset;
}

const FanPreset& FanPreset::automatic() {
  static const FanPreset preset = builtIn("00000000-0000-0000-0000-000000000001", "Smart Auto", PresetKind::automatic,
                                          std::nullopt, 30.0, 50.0, 1.5);
  return preset;
}

const FanPreset& FanPreset::fullBlast() {
  static const FanPreset preset = builtIn("00000000-0000-0000-0000-000000000002", "Full Blast", PresetKind::fullBlast,
                                          std::nullopt, 30.0, 50.0, 1.5);
  return preset;
}

const FanPreset& FanPreset::cpuCoreDefault() {
  static const FanPreset preset = builtIn("00000000-0000-0000-0000-000000000003", "30–50 °C Cooling",
                                          PresetKind::custom, ControlStrategy::cpuCoreAverage, 30.0, 50.0, 1.5);
  return preset;
}

const FanPreset& FanPreset::batterySaver() {
  static const FanPreset preset = builtIn("00000000-0000-0000-0000-000000000005", "Battery Saver", PresetKind::custom,
                                          ControlStrategy::cpuCoreAverage, 90.0, 100.0, 10.0);
  return preset;
}

const std::vector<FanPreset>& FanPreset::bundledPresets() {
  static const std::vector<FanPreset> presets{batterySaver(), cpuCoreDefault()};
  return presets;
}

bool FanPreset::isBundled(const UUID& id) {
  return std::any_of(bundledPresets().begin(), bundledPresets().end(),
                     [&](const FanPreset& bundled) { return bundled.id == id; });
}

std::vector<FanPreset> FanPreset::menuOrder(const std::vector<FanPreset>& customs) {
  std::vector<FanPreset> result{systemDefault()};
  for (const FanPreset& bundled : bundledPresets()) {
    const auto stored =
        std::find_if(customs.begin(), customs.end(), [&](const FanPreset& preset) { return preset.id == bundled.id; });
    if (stored != customs.end()) result.push_back(*stored);
  }
  result.push_back(automatic());
  result.push_back(fullBlast());
  std::copy_if(customs.begin(), customs.end(), std::back_inserter(result),
               [](const FanPreset& preset) { return !preset.isLocked(); });
  return result;
}

namespace {

std::string customDescription(const FanPreset& preset) {
  // Adding zero takes the sign of a zero away.
  const std::string low = fmt::format("{:.0f}", std::trunc(preset.lowTemperature) + 0.0);
  const std::string high = fmt::format("{:.0f}", std::trunc(preset.highTemperature) + 0.0);
  if (preset.id == FanPreset::batterySaver().id) {
    return fmt::format(
        "Uses each fan's CPU/GPU zone input: minimum RPM through {} °C and full speed at {} °C. This noise-first curve "
        "runs hotter; the 105 °C raw-die safety override still forces maximum cooling.",
        low, high);
  }
  if (preset.strategy == ControlStrategy::constantRPM && preset.constantRPM) {
    return fmt::format(
        "Holds a constant {} RPM, clamped to each fan's hardware limits — steady airflow regardless of temperature.",
        *preset.constantRPM);
  }
  return fmt::format(
      "Temperature curve tracking each fan's CPU/GPU zone input: minimum RPM below {} °C, full speed at {} °C{}", low,
      high,
      preset.id == FanPreset::cpuCoreDefault().id
          ? " — an aggressive cooling curve that will often run near maximum on a warm Mac."
          : ".");
}

}  // namespace

std::string longDescription(const FanPreset& preset) {
  switch (preset.kind) {
    case PresetKind::system:
      return "Hands fan control back to macOS, exactly as it ships from Apple. Aerovane sends no commands — use this "
             "when you don't need active cooling management.";
    case PresetKind::automatic:
      return "Performance-biased curve: each fan follows its stable local CPU/GPU airflow zone, while sustained die "
             "heat can raise the minimum target. It reaches full speed by 90 °C, then eases down after a 30-second "
             "cooldown.";
    case PresetKind::fullBlast:
      return "All fans at their hardware maximum. Use for short bursts of heavy load or quick cool-downs.";
    case PresetKind::custom:
      break;
  }
  return customDescription(preset);
}

}  // namespace halcyra
