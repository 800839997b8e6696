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
  struct IncludeCase {
    const char* file;
    const char* directive;
    bool isAllowed;
  };
  const IncludeCase cases[] = {
      {"SMC/FanController.cpp", "#include \"Helpers/FanCurve.h\"", true},
      {"SMC/FanController.cpp", "#include \"Helpers/FanPreset.h\"", false},
      {"SMC/SMCKey.cpp", "#include \"fmt/format.h\"", true},
      {"SMC/SMCKey.cpp", "#include \"CLI/CLI.hpp\"", false},
      {"Helpers/FanPreset.h", "#include \"XPC/HelperReplyKey.h\"", false},
      {"Helpers/FanPreset.h", "#include \"FanInfo.h\"", false},
      {"Helpers/FanPreset.h", "#include \"Platform/../App/AppModel.h\"", false},
      {"XPC/HelperXPCError.cpp", "#include \"SMC/SMCError.h\"", false},
      {"Client/HelperClient.cpp", "#include \"App/AppModel.h\"", false},
      {"App/AppModel.cpp", "#include \"Client/HelperClient.h\"", true},
      {"App/AppModel.cpp", "  #  include <sys/stat.h>", false},
      {"App/AppModel.cpp", "#include <unistd.h>", false},
      {"App/AppModel.cpp", "#include <QTimer>", false},
      {"App/AppModel.cpp", "#include \"QTimer\"", false},
      {"UI/MainView.cpp", "#include \"App/AppModel.h\"", true},
      {"UI/MainView.cpp", "#include \"Daemon/FanLedger.h\"", false},
      {"Daemon/FanLedger.cpp", "#include \"Client/HelperClient.h\"", false},
      {"VirtualMac/VirtualFan.cpp", "#include \"SMC/FanController.h\"", false},
      {"Platform/Clock.h", "#include \"Platform/Linux/SystemClock.h\"", false},
      {"Platform/Linux/SystemClock.cpp", "#include \"sdbus-c++/sdbus-c++.h\"", true},
      {"Platform/Linux/SystemClock.cpp", "#include \"Platform/Qt/QtQueue.h\"", false},
      {"Platform/Qt/QtQueue.cpp", "#include \"Platform/Qt/QtQueue.h\"", true},
      {"Platform/Apple/AppleFiles.cpp", "#include \"Platform/POSIX/POSIXFiles.h\"", true},
      {"Platform/Qt/QtQueue.cpp", "#include \"Platform/POSIX/POSIXFiles.h\"", false},
      {"Programs/Aerovane/main.cpp", "#include \"Platform/Linux/SystemClock.h\"", true},
      {"Elsewhere/New.cpp", "#include \"Platform/Clock.h\"", false},
      {"App/AppModel.cpp", "#include MODEL_HEADER", false},
      {"App/AppModel.cpp", "// no directive: \"UI/MainView.h\"", true},
  };
  for (const IncludeCase& testCase : cases) {
    EXPECT_EQ(IncludeRules::objections(testCase.file, testCase.directive).empty(), testCase.isAllowed)
        << testCase.file << ": " << testCase.directive;
  }

  const auto objections =
      IncludeRules::objections("SMC/SMCKey.h", "#pragma once\n\n#include \"App/AppModel.h\"  // x\n");
  ASSERT_EQ(objections.size(), 1U);
  EXPECT_TRUE(objections.front().starts_with("SMC/SMCKey.h:3: ")) << objections.front();
}

}  // namespace halcyra::test
