#include <functional>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "Helpers/PresetCoding.h"
#include "Support/Values.h"

namespace halcyra {

namespace {

using ErrorCase = PresetCodingError::Case;

FanPreset fullPreset() {
  return {.id = *UUID::parse("ABCDEF00-0000-4000-8000-000000000009"),
          .name = "Größe \"1\"",
          .kind = PresetKind::custom,
          .strategy = ControlStrategy::constantRPM,
          .lowTemperature = 30.5,
          .highTemperature = 50,
          .constantRPM = 3000,
          .hysteresis = 1.5,
          .linkedFans = false,
          .fan0Settings = FanCurveSettings{31, 51, 2000},
          .fan1Settings = FanCurveSettings{32, 52, std::nullopt}};
}

/// A preset document with one member replaced by `member`, or left out when that is empty.
std::string presetDocument(const std::string& key, const std::string& member) {
  const std::pair<std::string, std::string> members[] = {
      {"id", R"("id":"abcdef00-0000-4000-8000-000000000009")"},
      {"name", R"("name":"A")"},
      {"kind", R"("kind":"custom")"},
      {"strategy", R"("strategy":"constantRPM")"},
      {"lowTemperature", R"("lowTemperature":30)"},
      {"highTemperature", R"("highTemperature":50.5)"},
      {"constantRPM", R"("constantRPM":3000)"},
      {"hysteresis", R"("hysteresis":1.5)"},
      {"linkedFans", R"("linkedFans":true)"},
      {"fan0Settings", R"("fan0Settings":{"lowTemperature":1,"highTemperature":2})"},
  };
  std::string text;
  for (const auto& [name, original] : members) {
    const std::string& part = name == key ? member : original;
    if (!part.empty()) text += (text.empty() ? "" : ",") + part;
  }
  return "[{" + text + "}]";
}

std::string description(const std::function<void()>& work, ErrorCase expected) {
  try {
    work();
  } catch (const PresetCodingError& error) {
    EXPECT_EQ(error.kind(), expected) << error.what();
    return error.what();
  }
  ADD_FAILURE() << "nothing was thrown";
  return "";
}

}  // namespace

TEST(PresetCoding, WritesWhatOlderAndNewerVersionsRead) {
  EXPECT_EQ(PresetCoding::encode(std::vector{fullPreset(), FanPreset::automatic()}),
            R"([{"id":"ABCDEF00-0000-4000-8000-000000000009","name":"Größe \"1\"","kind":"custom",)"
            R"("strategy":"constantRPM","lowTemperature":30.5,"highTemperature":50.0,"constantRPM":3000,)"
            R"("hysteresis":1.5,"linkedFans":false,)"
            R"("fan0Settings":{"lowTemperature":31.0,"highTemperature":51.0,"constantRPM":2000},)"
            R"("fan1Settings":{"lowTemperature":32.0,"highTemperature":52.0}},)"
            R"({"id":"00000000-0000-0000-0000-000000000001","name":"Smart Auto","kind":"automatic",)"
            R"("lowTemperature":30.0,"highTemperature":50.0,"hysteresis":1.5,"linkedFans":true}])");
  EXPECT_EQ((PresetExportFile{.version = 1, .presets = {}}.encode()), "{\n  \"presets\": [],\n  \"version\": 1\n}");
}

TEST(PresetCoding, ReadsBackWhatItWrites) {
  const std::vector<FanPreset> presets{fullPreset(), FanPreset::automatic(), FanPreset::cpuCoreDefault()};
  EXPECT_EQ(PresetCoding::decodePresets(PresetCoding::encode(presets)), presets);
  const PresetExportFile file{.version = 7, .presets = presets};
  EXPECT_EQ(PresetExportFile::decode(file.encode()), file) << "the version is for the reader to judge";
  const FanCurve curve{30.25, 50, 1200, 5000};
  EXPECT_EQ(PresetCoding::encode(curve), R"({"minTemp":30.25,"maxTemp":50.0,"minRPM":1200,"maxRPM":5000})");
  EXPECT_EQ(PresetCoding::decodeFanCurve(PresetCoding::encode(curve)), curve);
  const FanCurveSettings settings{0.1, 99.9, -1};
  EXPECT_EQ(PresetCoding::decodeFanCurveSettings(PresetCoding::encode(settings)), settings);
}

TEST(PresetCoding, ReadsEveryFormOfAPreset) {
  const std::pair<const char*, const char*> harmless[] = {
      {"id", R"("id":"ABCDEF00-0000-4000-8000-000000000009")"},
      {"constantRPM", R"("constantRPM":3e3)"},
      {"lowTemperature", R"("lowTemperature":3.0e1,"unknown":{"lowTemperature":[null]})"},
      {"fan0Settings", R"("fan0Settings":{"lowTemperature":1,"highTemperature":2,"constantRPM":null})"},
  };
  const FanPreset expected = PresetCoding::decodePresets(presetDocument("", "")).at(0);
  EXPECT_EQ(expected.constantRPM, 3000);
  EXPECT_EQ(expected.fan0Settings, (FanCurveSettings{1, 2, std::nullopt}));
  for (const auto& [key, member] : harmless) {
    EXPECT_EQ(PresetCoding::decodePresets(presetDocument(key, member)).at(0), expected) << member;
  }
  for (const char* key : {"strategy", "constantRPM", "fan0Settings"}) {
    const auto null = PresetCoding::decodePresets(presetDocument(key, "\"" + std::string(key) + "\":null"));
    EXPECT_EQ(null, PresetCoding::decodePresets(presetDocument(key, ""))) << "null is absence: " << key;
    EXPECT_NE(null.at(0), expected) << key;
  }
}

TEST(PresetCoding, RefusesWhatIsNoPreset) {
  constexpr auto missing = ErrorCase::missingKey;
  constexpr auto wrong = ErrorCase::wrongType;
  constexpr auto unknown = ErrorCase::unknownValue;
  for (const auto& [key, member, kind, text] : test::Table<const char*, const char*, ErrorCase, std::string>{
           {"id", "", missing, "id\" is missing."},
           {"id", R"("id":"abc")", wrong, "id\" is not a UUID."},
           {"name", R"("name":null)", wrong, "name\" is not a string."},
           {"kind", R"("kind":"Custom")", unknown, "kind\" has the unknown value \"Custom\"."},
           {"strategy", R"("strategy":"")", unknown, "strategy\" has the unknown value \"\"."},
           {"lowTemperature", R"("lowTemperature":"30")", wrong, "lowTemperature\" is not a number."},
           {"constantRPM", R"("constantRPM":3000.5)", wrong, "constantRPM\" is not an integer of 64 bits."},
           {"constantRPM", R"("constantRPM":9223372036854775808)", wrong,
            "constantRPM\" is not an integer of 64 bits."},
           {"constantRPM", R"("constantRPM":-9223372036854775809)", wrong,
            "constantRPM\" is not an integer of 64 bits."},
           {"constantRPM", R"("constantRPM":1e19)", wrong, "constantRPM\" is not an integer of 64 bits."},
           {"constantRPM", R"("constantRPM":true)", wrong, "constantRPM\" is not an integer of 64 bits."},
           {"hysteresis", R"("hysteresis":null)", wrong, "hysteresis\" is not a number."},
           {"linkedFans", R"("linkedFans":1)", wrong, "linkedFans\" is not a boolean."},
           {"fan0Settings", R"("fan0Settings":[])", wrong, "fan0Settings\" is not an object."},
           {"fan0Settings", R"("fan0Settings":{"lowTemperature":1})", missing,
            "fan0Settings.highTemperature\" is missing."}}) {
    const std::string document = presetDocument(key, member);
    EXPECT_EQ(description([&] { PresetCoding::decodePresets(document); }, kind), "\"[0]." + text);
  }
}

TEST(PresetCoding, RefusesOtherDocuments) {
  for (const auto& [text, kind, expected] : test::Table<std::string, ErrorCase, const char*>{
           {"", ErrorCase::malformed, "The data is not valid JSON (at byte 1)."},
           {"{\"version\":1,\"presets\":[]} x", ErrorCase::malformed, "The data is not valid JSON (at byte 28)."},
           {"{\"version\":1e999,\"presets\":[]}", ErrorCase::malformed,
            "The data is not valid JSON (a number is out of range)."},
           {"[]", ErrorCase::wrongType, "The document is not an object."},
           {"{\"version\":\"1\",\"presets\":[]}", ErrorCase::wrongType, "\"version\" is not an integer of 64 bits."},
           {"{\"version\":1}", ErrorCase::missingKey, "\"presets\" is missing."},
           {"{\"version\":1,\"presets\":{}}", ErrorCase::wrongType, "\"presets\" is not an array."},
           {"{\"version\":1,\"presets\":[[]]}", ErrorCase::wrongType, "\"presets[0]\" is not an object."}}) {
    EXPECT_EQ(description([&, &document = text] { PresetExportFile::decode(document); }, kind), expected) << text;
  }
  description([] { PresetCoding::decodeFanCurve(R"({"minTemp":1,"maxTemp":2,"minRPM":3})"); }, ErrorCase::missingKey);
}

TEST(PresetCoding, WritesNothingThatCouldNotBeReadBack) {
  FanPreset preset = fullPreset();
  preset.fan1Settings->lowTemperature = test::nan;
  EXPECT_EQ(description([&] { PresetCoding::encode(std::vector{preset}); }, ErrorCase::notEncodable),
            "\"lowTemperature\" is not a finite number.");
  description([&] { PresetCoding::encode(PresetExportFile{.presets = {preset}}); }, ErrorCase::notEncodable);
  FanPreset misnamed = fullPreset();
  misnamed.name = "\xFF";
  EXPECT_EQ(description([&] { PresetCoding::encode(std::vector{misnamed}); }, ErrorCase::notEncodable),
            "\"name\" is not valid Unicode text.");
}

}  // namespace halcyra
