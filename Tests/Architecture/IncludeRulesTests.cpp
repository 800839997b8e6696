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
  return path.extension() == ".h" || path.extension() == ".cpp" || path.extension() == ".mm";
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
  EXPECT_TRUE(IncludeRules::objections("App/AppModel.cpp", "// no directive: \"UI/MainView.h\"").empty());
  for (const auto& [file, target] :
       {std::pair("SMC/SMCKey.cpp", "\"CLI/CLI.hpp\""), std::pair("Helpers/FanPreset.h", "\"FanInfo.h\""),
        std::pair("Helpers/FanPreset.h", "\"Platform/../App/AppModel.h\""),
        std::pair("App/AppModel.cpp", "<sys/stat.h>"), std::pair("App/AppModel.cpp", "<QTimer>"),
        std::pair("App/AppModel.cpp", "MODEL_HEADER"),
        std::pair("Platform/Clock.h", "\"Platform/Linux/SystemClock.h\""),
        std::pair("Platform/Qt/QtQueue.cpp", "\"Platform/POSIX/POSIXFiles.h\""),
        std::pair("Elsewhere/New.cpp", "\"Platform/Clock.h\"")}) {
    const auto objections =
        IncludeRules::objections(file, std::string("#pragma once\n  #  include ") + target + "  // x\n");
    ASSERT_EQ(objections.size(), 1U) << target;
    EXPECT_TRUE(objections.front().starts_with(std::string(file) + ":2: ")) << objections.front();
  }
}

}  // namespace halcyra::test
