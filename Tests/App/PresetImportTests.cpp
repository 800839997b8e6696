// What strangers' preset files may hold.

#include "gtest/gtest.h"

#include "App/ModelHarness.h"
#include "Helpers/PresetExportFile.h"

namespace halcyra::test {
namespace {

constexpr const char* importPath = "/home/user/Presets.json";

class PresetImportTests : public testing::Test {
 protected:
  PresetImportTests() {
    h.start();
    h.doubles.workspace.openAnswer = importPath;
    h.onMain([](AppModel& model) { model.savePreset(constantPreset(2000)); });
    before = h.model().customPresets();
    stored = h.doubles.userDefaults.data("customFanPresets.v1");
  }

  /// Imports `content`, which must change nothing: the message.
  std::string refuse(const std::string& content) {
    h.doubles.files.contents[importPath] = content;
    h.onMain([](AppModel& model) { model.importCustomPresets(); });
    EXPECT_EQ(h.model().customPresets(), before);
    EXPECT_EQ(h.doubles.userDefaults.data("customFanPresets.v1"), stored);
    return h.errorText();
  }

  ModelHarness h;
  std::vector<FanPreset> before;
  std::optional<std::string> stored;
};

const std::string& validFile() {
  static const std::string text = PresetExportFile{1, {curvePreset(), constantPreset(2500)}}.encode();
  return text;
}

TEST_F(PresetImportTests, AFileThatEndsEarlyIsRefusedWhereverItEnds) {
  for (std::size_t length = 0; length < validFile().size(); ++length) {
    ASSERT_TRUE(refuse(validFile().substr(0, length)).starts_with("Import failed: ")) << length;
  }
  h.doubles.files.contents[importPath] = validFile();
  h.onMain([](AppModel& model) { model.importCustomPresets(); });
  EXPECT_EQ(h.model().customPresets().size(), before.size() + 2) << "the whole file is good";
}

TEST_F(PresetImportTests, ContentThatIsNoPresetFile) {
  const auto nested = [](std::size_t levels, const char* open) {
    std::string text;
    for (std::size_t level = 0; level < levels; ++level) text += open;
    return text;
  };
  // With one member of an otherwise valid preset replaced.
  const auto with = [](const std::string& member, const std::string& value) {
    auto json = nlohmann::json::parse(validFile());
    json["presets"][0].erase(member);
    std::string text = json.dump();
    const auto place = text.find("[{") + 2;
    return text.insert(place, "\"" + member + "\":" + value + ",");
  };
  const std::vector<std::pair<const char*, std::string>> rows = {
      {"binary", std::string("\x00\xFF\x89PNG\r\n", 8)},
      {"text", "these are my presets"},
      {"two documents", validFile() + validFile()},
      {"array", "[]"},
      {"version beyond 64 bits", R"({"version":99999999999999999999,"presets":[]})"},
      {"version with a fraction", R"({"version":1.5,"presets":[]})"},
      {"no presets", R"({"version":1})"},
      {"preset no object", R"({"version":1,"presets":[7]})"},
      {"name no text", with("name", "7")},
      {"name no Unicode", with("name", "\"\xC3\x28\"")},
      {"unknown kind", with("kind", "\"turbo\"")},
      {"id no UUID", with("id", "\"1\"")},
      {"temperature beyond every double", with("lowTemperature", "1e999")},
      {"speed beyond 64 bits", with("constantRPM", "1e30")},
      {"speed with a fraction", with("constantRPM", "2000.5")},
      {"10,000 objects", nested(10'000, "{\"presets\":")},
      {"10,000 arrays in a member", R"({"version":1,"presets":)" + nested(10'000, "[") + nested(10'000, "]") + "}"},
      {"50 MB of arrays", nested(50'000'000, "[")},
      {"50 MB of text", "\"" + std::string(50'000'000, 'x') + "\""},
  };
  for (const auto& [name, content] : rows) {
    SCOPED_TRACE(name);
    const std::string message = refuse(content);
    EXPECT_TRUE(message.starts_with("Import failed: ")) << message;
    EXPECT_LT(message.size(), 400U) << "a message for people";
  }
}

TEST_F(PresetImportTests, UnreadableAndUnsupportedFiles) {
  EXPECT_EQ(refuse(R"({"version":2,"presets":[]})"), "That preset file uses an unsupported format version.");
  EXPECT_EQ(refuse(R"({"version":-9223372036854775808,"presets":[]})"),
            "That preset file uses an unsupported format version.");
  EXPECT_EQ(refuse(R"({"version":1,"presets":[]})"), "No valid custom presets found in that file.");
  FanPreset weak = curvePreset();
  weak.hysteresis = 0.2;
  EXPECT_EQ(refuse(PresetExportFile{1, {weak, FanPreset::fullBlast()}}.encode()),
            "No valid custom presets found in that file.");
  h.doubles.files.readError = "The file “Presets.json” couldn’t be opened: Permission denied.";
  EXPECT_EQ(refuse(validFile()), "Import failed: The file “Presets.json” couldn’t be opened: Permission denied.");
}

}  // namespace
}  // namespace halcyra::test
