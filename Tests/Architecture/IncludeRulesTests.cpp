#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "gtest/gtest.h"

#include "Architecture/IncludeRules.h"

namespace halcyra::test {

namespace {

namespace fs = std::filesystem;

bool isSource(const fs::path& path) {
  return path.extension() == ".h" || path.extension() == ".cpp";
}

std::string contentOf(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

}  // namespace

TEST(IncludeRules, SourcesKeepThem) {
  const fs::path root = AEROVANE_SOURCES;
  std::set<std::string> rooms;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
    if (!entry.is_regular_file() || !isSource(entry.path())) continue;
    const std::string file = fs::relative(entry.path(), root).generic_string();
    const std::string content = contentOf(entry.path());
    if (content.find("#include") != std::string::npos) rooms.insert(file.substr(0, file.find('/')));
    for (const std::string& objection : IncludeRules::objections(file, content)) {
      ADD_FAILURE() << objection;
    }
  }
  // A wrong path, or files that could not be read, must not pass for sources without fault.
  for (const char* room : {"Platform", "SMC", "Helpers", "XPC", "Client", "App"}) {
    EXPECT_TRUE(rooms.contains(room)) << room;
  }
}

TEST(IncludeRules, TellAllowedFromForbiddenAndNameTheLine) {
  const std::pair<const char*, const char*> allowed[] = {
      {"SMC/SMCKey.cpp", "#include \"fmt/format.h\""},
      {"App/AppModel.cpp", "#include \"Client/HelperClient.h\""},
      {"App/AppModel.cpp", "// no directive: \"UI/MainView.h\""},
      {"Platform/Qt/QtQueue.cpp", "#include \"Platform/Qt/QtQueue.h\""},
      {"Programs/Aerovane/main.cpp", "#include \"Platform/Linux/SystemClock.h\""},
  };
  for (const auto& [file, line] : allowed) EXPECT_TRUE(IncludeRules::objections(file, line).empty()) << line;
  const std::pair<const char*, const char*> forbidden[] = {
      {"SMC/FanController.cpp", "#include \"Helpers/FanPreset.h\""},
      {"SMC/SMCKey.cpp", "#include \"CLI/CLI.hpp\""},
      {"Helpers/FanPreset.h", "#include \"FanInfo.h\""},
      {"Helpers/FanPreset.h", "#include \"Platform/../App/AppModel.h\""},
      {"App/AppModel.cpp", "  #  include <sys/stat.h>"},
      {"App/AppModel.cpp", "#include <unistd.h>"},
      {"App/AppModel.cpp", "#include <QTimer>"},
      {"App/AppModel.cpp", "#include MODEL_HEADER"},
      {"VirtualMac/VirtualFan.cpp", "#include \"SMC/FanController.h\""},
      {"Platform/Clock.h", "#include \"Platform/Linux/SystemClock.h\""},
      {"Platform/Linux/SystemClock.cpp", "#include \"Platform/Qt/QtQueue.h\""},
      {"Elsewhere/New.cpp", "#include \"Platform/Clock.h\""},
  };
  for (const auto& [file, line] : forbidden) EXPECT_FALSE(IncludeRules::objections(file, line).empty()) << line;
  const auto objections =
      IncludeRules::objections("SMC/SMCKey.h", "#pragma once\n\n#include \"App/AppModel.h\"  // x\n");
  ASSERT_EQ(objections.size(), 1U);
  EXPECT_TRUE(objections.front().starts_with("SMC/SMCKey.h:3: ")) << objections.front();
}

}  // namespace halcyra::test
