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

/// A document with one preset, in which one text is replaced.
std::string presetDocument(const std::string& from = "", const std::string& to = "") {
  std::string text =
      R"([{"id":"abcdef00-0000-4000-8000-000000000009","name":"A","kind":"custom","strategy":"constantRPM",)"
      R"("lowTemperature":30,"highTemperature":50.5,"constantRPM":3000,"hysteresis":1.5,"linkedFans":true,)"
      R"("fan0Settings":{"lowTemperature":1,"highTemperature":2}}])";
  return text.replace(text.find(from), from.size(), to);
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
  const FanPreset expected = PresetCoding::decodePresets(presetDocument()).at(0);
  EXPECT_EQ(expected.constantRPM, 3000);
  EXPECT_EQ(expected.fan0Settings, (FanCurveSettings{1, 2, std::nullopt}));
  for (const auto& [from, to] :
       test::Table<const char*, const char*>{{"abcdef00", "ABCDEF00"},
                                             {"3000", "3e3"},
                                             {R"(":30,)", R"(":3.0e1,"unknown":{"lowTemperature":[null]},)"},
                                             {R"("highTemperature":2)", R"("highTemperature":2,"constantRPM":null)"}}) {
    EXPECT_EQ(PresetCoding::decodePresets(presetDocument(from, to)).at(0), expected) << to;
  }
  for (const auto& [name, value] :
       test::Table<std::string, std::string>{{R"("strategy":)", R"("constantRPM",)"}, {R"("constantRPM":)", "3000,"}}) {
    const auto null = PresetCoding::decodePresets(presetDocument(name + value, name + "null,"));
    EXPECT_EQ(null, PresetCoding::decodePresets(presetDocument(name + value, ""))) << "null is absence: " << name;
    EXPECT_NE(null.at(0), expected) << name;
  }
}

TEST(PresetCoding, RefusesWhatIsNoPreset) {
  constexpr auto missing = ErrorCase::missingKey;
  constexpr auto wrong = ErrorCase::wrongType;
  constexpr auto unknown = ErrorCase::unknownValue;
  for (const auto& [from, to, kind, text] : test::Table<const char*, const char*, ErrorCase, std::string>{
           {R"("id")", R"("ID")", missing, R"(id" is missing.)"},
           {"abcdef00", "abc", wrong, R"(id" is not a UUID.)"},
           {R"("A")", "null", wrong, R"(name" is not a string.)"},
           {"custom", "Custom", unknown, R"(kind" has the unknown value "Custom".)"},
           {R"(gy":"constantRPM)", R"(gy":")", unknown, R"(strategy" has the unknown value "".)"},
           {"30,", R"("30",)", wrong, R"(lowTemperature" is not a number.)"},
           {"3000", "3000.5", wrong, R"(constantRPM" is not an integer of 64 bits.)"},
           {"3000", "9223372036854775808", wrong, R"(constantRPM" is not an integer of 64 bits.)"},
           {"3000", "-9223372036854775809", wrong, R"(constantRPM" is not an integer of 64 bits.)"},
           {"3000", "1e19", wrong, R"(constantRPM" is not an integer of 64 bits.)"},
           {"3000", "true", wrong, R"(constantRPM" is not an integer of 64 bits.)"},
           {"1.5", "null", wrong, R"(hysteresis" is not a number.)"},
           {"true", "1", wrong, R"(linkedFans" is not a boolean.)"},
           {R"({"lowTemperature":1,"highTemperature":2})", "[]", wrong, R"(fan0Settings" is not an object.)"},
           {R"(,"highTemperature":2)", "", missing, R"(fan0Settings.highTemperature" is missing.)"}}) {
    const std::string document = presetDocument(from, to);
    EXPECT_EQ(description([&] { PresetCoding::decodePresets(document); }, kind), "\"[0]." + text);
  }
}

TEST(PresetCoding, RefusesOtherDocuments) {
  constexpr auto malformed = ErrorCase::malformed;
  constexpr auto wrong = ErrorCase::wrongType;
  for (const auto& [text, kind, expected] : test::Table<std::string, ErrorCase, const char*>{
           {"", malformed, "The data is not valid JSON (at byte 1)."},
           {R"({"version":1,"presets":[]} x)", malformed, "The data is not valid JSON (at byte 28)."},
           {R"({"version":1e999,"presets":[]})", malformed, "The data is not valid JSON (a number is out of range)."},
           {"[]", wrong, "The document is not an object."},
           {R"({"version":"1","presets":[]})", wrong, R"("version" is not an integer of 64 bits.)"},
           {R"({"version":1})", ErrorCase::missingKey, R"("presets" is missing.)"},
           {R"({"version":1,"presets":{}})", wrong, R"("presets" is not an array.)"},
           {R"({"version":1,"presets":[[]]})", wrong, R"("presets[0]" is not an object.)"}}) {
    EXPECT_EQ(description([&document = text] { PresetExportFile::decode(document); }, kind), expected) << text;
  }
  description([] { PresetCoding::decodeFanCurve(R"({"minTemp":1,"maxTemp":2,"minRPM":3})"); }, ErrorCase::missingKey);
}

TEST(PresetCoding, WritesNothingThatCouldNotBeReadBack) {
  FanPreset preset = fullPreset();
  preset.fan1Settings->lowTemperature = test::nan;
  EXPECT_EQ(description([&] { PresetCoding::encode(std::vector{preset}); }, ErrorCase::notEncodable),
            "\"lowTemperature\" is not a finite number.");
  description([&] { PresetCoding::encode(PresetExportFile{.presets = {preset}}); }, ErrorCase::notEncodable);
  preset = fullPreset();
  preset.name = "\xFF";
  EXPECT_EQ(description([&] { PresetCoding::encode(std::vector{preset}); }, ErrorCase::notEncodable),
            "\"name\" is not valid Unicode text.");
}

}  // namespace halcyra
