#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Helpers/FanCurve.h"
#include "Helpers/FanCurveSettings.h"
#include "Helpers/FanPreset.h"
#include "Helpers/PresetExportFile.h"
#include "Platform/Error.h"

namespace halcyra {

/// Why presets could not be written as JSON or read from it; the text says where in the document.
class PresetCodingError : public LocalizedError {
 public:
  enum class Case { malformed, missingKey, wrongType, unknownValue, notEncodable };

  static constexpr std::string_view errorDomain = "HalcyraCore.PresetCodingError";

  PresetCodingError(Case kind, const std::string& description) : LocalizedError(description), case_(kind) {}

  Case kind() const { return case_; }

  std::string_view domain() const override { return errorDomain; }
  std::int64_t code() const override { return static_cast<std::int64_t>(case_); }

 private:
  Case case_;
};

/// The JSON form of curves and presets. Encoding is compact UTF-8 with the keys in declaration order and absent values
/// left out. Decoding is strict: one missing key, wrong type or unknown name fails the whole document; keys that are
/// not known are ignored, and null for an optional key is absence. Everything throws `PresetCodingError`.
namespace PresetCoding {

std::string encode(const FanCurve& curve);
std::string encode(const FanCurveSettings& settings);
std::string encode(const std::vector<FanPreset>& presets);
/// Pretty-printed, keys sorted at every level.
std::string encode(const PresetExportFile& file);

FanCurve decodeFanCurve(std::string_view text);
FanCurveSettings decodeFanCurveSettings(std::string_view text);
std::vector<FanPreset> decodePresets(std::string_view text);
PresetExportFile decodePresetExportFile(std::string_view text);

}  // namespace PresetCoding

}  // namespace halcyra
