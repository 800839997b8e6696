#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Helpers/FanPreset.h"

namespace halcyra {

/// A file of presets that the user writes and reads.
struct PresetExportFile {
  static constexpr std::int64_t supportedVersion = 1;
  static constexpr std::string_view defaultFileName = "Aerovane-Presets.json";
  static constexpr std::string_view unsupportedVersionMessage = "That preset file uses an unsupported format version.";
  static constexpr std::string_view noValidPresetsMessage = "No valid custom presets found in that file.";

  /// Whoever reads a file accepts `supportedVersion` only.
  std::int64_t version = supportedVersion;
  std::vector<FanPreset> presets;

  bool operator==(const PresetExportFile&) const = default;

  /// The file's content: UTF-8 JSON, pretty-printed, keys sorted. Throws `PresetCodingError`.
  std::string encode() const;
  /// Reads a file's content; throws `PresetCodingError` when it is no such file. The version is not judged, and the
  /// presets need not be valid.
  static PresetExportFile decode(std::string_view content);
};

}  // namespace halcyra
