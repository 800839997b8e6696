#include "Helpers/PresetCoding.h"

#include <cmath>
#include <cstddef>
#include <optional>
#include <utility>

#include "fmt/format.h"
#include "nlohmann/json.hpp"

#include "Platform/UnicodeText.h"
#include "Platform/UntrustedText.h"

namespace halcyra {

namespace {

using Case = PresetCodingError::Case;

/// Spelled once: reading and writing must agree.
namespace Key {
constexpr const char* id = "id";
constexpr const char* name = "name";
constexpr const char* kind = "kind";
constexpr const char* strategy = "strategy";
constexpr const char* lowTemperature = "lowTemperature";
constexpr const char* highTemperature = "highTemperature";
constexpr const char* constantRPM = "constantRPM";
constexpr const char* hysteresis = "hysteresis";
constexpr const char* linkedFans = "linkedFans";
constexpr const char* fan0Settings = "fan0Settings";
constexpr const char* fan1Settings = "fan1Settings";
constexpr const char* version = "version";
constexpr const char* presets = "presets";
constexpr const char* minTemp = "minTemp";
constexpr const char* maxTemp = "maxTemp";
constexpr const char* minRPM = "minRPM";
constexpr const char* maxRPM = "maxRPM";
}  // namespace Key

/// One value of a document, and where it stands.
class Node {
 public:
  Node(const nlohmann::json& value, std::string path) : value_(&value), path_(std::move(path)) {}

  Node operator[](const char* key) const {
    const auto found = object().find(key);
    if (found == object().end()) {
      throw PresetCodingError(Case::missingKey, fmt::format("{} is missing.", quoted(child(key))));
    }
    return {*found, child(key)};
  }

  std::optional<Node> optional(const char* key) const {
    const auto found = object().find(key);
    if (found == object().end() || found->is_null()) {
      return std::nullopt;
    }
    return Node(*found, child(key));
  }

  /// Calls `use` with one element after another, so that the first bad one ends it.
  template <typename Use>
  void forEachElement(Use use) const {
    if (!value_->is_array()) failType("an array");
    for (std::size_t i = 0; i < value_->size(); ++i) {
      use(Node((*value_)[i], fmt::format("{}[{}]", path_, i)));
    }
  }

  const std::string& string() const {
    if (!value_->is_string()) failType("a string");
    return value_->get_ref<const std::string&>();
  }

  bool boolean() const {
    if (!value_->is_boolean()) failType("a boolean");
    return value_->get<bool>();
  }

  double number() const {
    if (!value_->is_number()) failType("a number");
    return value_->get<double>();
  }

  std::int64_t integer() const {
    // A number without a fraction is an integer however it is written, as long as 64 bits hold it. What was written
    // below -2^63 may have been rounded to it, so that as a double even that bound is out.
    constexpr double limit = 9223372036854775808.0;
    if (value_->is_number_unsigned() && std::in_range<std::int64_t>(value_->get<std::uint64_t>())) {
      return value_->get<std::int64_t>();
    }
    if (value_->is_number_integer() && !value_->is_number_unsigned()) {
      return value_->get<std::int64_t>();
    }
    if (value_->is_number_float()) {
      const auto number = value_->get<double>();
      if (std::trunc(number) == number && number > -limit && number < limit) return static_cast<std::int64_t>(number);
    }
    failType("an integer of 64 bits");
  }

  UUID uuid() const {
    const std::optional<UUID> result = UUID::parse(string());
    if (!result) failType("a UUID");
    return *result;
  }

  /// The member of an enumeration that `fromRaw` knows the text as.
  template <typename FromRaw>
  auto enumerator(FromRaw fromRaw) const {
    const auto result = fromRaw(string());
    if (!result) {
      throw PresetCodingError(Case::unknownValue,
                              fmt::format("{} has the unknown value {}.", quoted(path_), quotedText(string())));
    }
    return *result;
  }

 private:
  const nlohmann::json& object() const {
    if (!value_->is_object()) failType("an object");
    return *value_;
  }

  std::string child(const char* key) const { return path_.empty() ? std::string(key) : path_ + "." + key; }

  static std::string quoted(const std::string& path) {
    return path.empty() ? std::string("The document") : fmt::format("\"{}\"", path);
  }

  [[noreturn]] void failType(std::string_view expected) const {
    throw PresetCodingError(Case::wrongType, fmt::format("{} is not {}.", quoted(path_), expected));
  }

  const nlohmann::json* value_;
  /// Empty for the document itself.
  std::string path_;
};

std::optional<std::int64_t> optionalInteger(const Node& node, const char* key) {
  const std::optional<Node> value = node.optional(key);
  return value ? std::optional(value->integer()) : std::nullopt;
}

FanCurveSettings readSettings(const Node& node) {
  return {node[Key::lowTemperature].number(), node[Key::highTemperature].number(),
          optionalInteger(node, Key::constantRPM)};
}

std::optional<FanCurveSettings> readOptionalSettings(const Node& node, const char* key) {
  const std::optional<Node> value = node.optional(key);
  return value ? std::optional(readSettings(*value)) : std::nullopt;
}

FanPreset readPreset(const Node& node) {
  const std::optional<Node> strategy = node.optional(Key::strategy);
  return FanPreset{
      .id = node[Key::id].uuid(),
      .name = node[Key::name].string(),
      .kind = node[Key::kind].enumerator(presetKindFromRaw),
      .strategy = strategy ? std::optional(strategy->enumerator(controlStrategyFromRaw)) : std::nullopt,
      .lowTemperature = node[Key::lowTemperature].number(),
      .highTemperature = node[Key::highTemperature].number(),
      .constantRPM = optionalInteger(node, Key::constantRPM),
      .hysteresis = node[Key::hysteresis].number(),
      .linkedFans = node[Key::linkedFans].boolean(),
      .fan0Settings = readOptionalSettings(node, Key::fan0Settings),
      .fan1Settings = readOptionalSettings(node, Key::fan1Settings),
  };
}

std::vector<FanPreset> readPresets(const Node& node) {
  std::vector<FanPreset> result;
  node.forEachElement([&](const Node& element) { result.push_back(readPreset(element)); });
  return result;
}

nlohmann::json parse(std::string_view text) {
  try {
    return parseUntrustedJSON(text);
  } catch (const JSONTooLarge& error) {
    throw PresetCodingError(Case::malformed, error.what());
  } catch (const nlohmann::json::parse_error& error) {
    throw PresetCodingError(Case::malformed, fmt::format("The data is not valid JSON (at byte {}).", error.byte));
  } catch (const nlohmann::json::exception&) {
    throw PresetCodingError(Case::malformed, "The data is not valid JSON (a number is out of range).");
  }
}

/// JSON has no form for other numbers; null in their place would make the document unreadable.
double finite(double value, const char* key) {
  if (!std::isfinite(value)) {
    throw PresetCodingError(Case::notEncodable, fmt::format("\"{}\" is not a finite number.", key));
  }
  return value;
}

const std::string& wellFormed(const std::string& text, const char* key) {
  if (!isValidUTF8(text)) {
    throw PresetCodingError(Case::notEncodable, fmt::format("\"{}\" is not valid Unicode text.", key));
  }
  return text;
}

template <typename Json>
Json written(const FanCurveSettings& settings) {
  Json result = Json::object();
  result[Key::lowTemperature] = finite(settings.lowTemperature, Key::lowTemperature);
  result[Key::highTemperature] = finite(settings.highTemperature, Key::highTemperature);
  if (settings.constantRPM) result[Key::constantRPM] = *settings.constantRPM;
  return result;
}

template <typename Json>
Json written(const FanPreset& preset) {
  Json result = Json::object();
  result[Key::id] = preset.id.string();
  result[Key::name] = wellFormed(preset.name, Key::name);
  result[Key::kind] = rawValue(preset.kind);
  if (preset.strategy) result[Key::strategy] = rawValue(*preset.strategy);
  result[Key::lowTemperature] = finite(preset.lowTemperature, Key::lowTemperature);
  result[Key::highTemperature] = finite(preset.highTemperature, Key::highTemperature);
  if (preset.constantRPM) result[Key::constantRPM] = *preset.constantRPM;
  result[Key::hysteresis] = finite(preset.hysteresis, Key::hysteresis);
  result[Key::linkedFans] = preset.linkedFans;
  if (preset.fan0Settings) result[Key::fan0Settings] = written<Json>(*preset.fan0Settings);
  if (preset.fan1Settings) result[Key::fan1Settings] = written<Json>(*preset.fan1Settings);
  return result;
}

template <typename Json>
Json written(const std::vector<FanPreset>& presets) {
  Json result = Json::array();
  for (const FanPreset& preset : presets) {
    result.push_back(written<Json>(preset));
  }
  return result;
}

}  // namespace

namespace PresetCoding {

/// Keeps the order in which keys are set.
using Ordered = nlohmann::ordered_json;

std::string encode(const FanCurve& curve) {
  Ordered result = Ordered::object();
  result[Key::minTemp] = finite(curve.minTemp, Key::minTemp);
  result[Key::maxTemp] = finite(curve.maxTemp, Key::maxTemp);
  result[Key::minRPM] = curve.minRPM;
  result[Key::maxRPM] = curve.maxRPM;
  return result.dump();
}

std::string encode(const FanCurveSettings& settings) {
  return written<Ordered>(settings).dump();
}

std::string encode(const std::vector<FanPreset>& presets) {
  return written<Ordered>(presets).dump();
}

std::string encode(const PresetExportFile& file) {
  constexpr int indentation = 2;
  // nlohmann::json keeps keys sorted.
  nlohmann::json result = nlohmann::json::object();
  result[Key::version] = file.version;
  result[Key::presets] = written<nlohmann::json>(file.presets);
  return result.dump(indentation);
}

FanCurve decodeFanCurve(std::string_view text) {
  const nlohmann::json document = parse(text);
  const Node node(document, "");
  return {node[Key::minTemp].number(), node[Key::maxTemp].number(), node[Key::minRPM].integer(),
          node[Key::maxRPM].integer()};
}

FanCurveSettings decodeFanCurveSettings(std::string_view text) {
  const nlohmann::json document = parse(text);
  return readSettings(Node(document, ""));
}

std::vector<FanPreset> decodePresets(std::string_view text) {
  const nlohmann::json document = parse(text);
  return readPresets(Node(document, ""));
}

PresetExportFile decodePresetExportFile(std::string_view text) {
  const nlohmann::json document = parse(text);
  const Node node(document, "");
  return {.version = node[Key::version].integer(), .presets = readPresets(node[Key::presets])};
}

}  // namespace PresetCoding

}  // namespace halcyra
