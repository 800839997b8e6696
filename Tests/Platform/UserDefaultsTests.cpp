#include <fcntl.h>
#include <limits>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "gtest/gtest.h"

#include "Platform/Linux/JSONUserDefaults.h"
#include "Platform/PlatformTestSupport.h"

namespace halcyra::test {
namespace {

class UserDefaultsTests : public testing::Test {
 protected:
  TemporaryFolder folder_;
  CapturedLog log_;
  std::filesystem::path file_ = folder_ / "aerovane/defaults.json";
};

TEST_F(UserDefaultsTests, ValuesOfEveryKindSurviveANewStart) {
  const std::string text = "{\"presets\": [“30–50 °C”]}";
  const std::string binary("\x00\xFF\x80 z", 5);
  {
    JSONUserDefaults defaults(file_, log_);
    defaults.setInteger("integer", std::numeric_limits<std::int64_t>::min());
    defaults.setNumber("number", 0.1);
    defaults.setNumber("whole", 85.0);
    defaults.setBoolean("boolean", true);
    defaults.setString("string", "Größe");
    defaults.setData("text", text);
    defaults.setData("binary", binary);
  }
  const JSONUserDefaults defaults(file_, log_);
  EXPECT_EQ(defaults.integer("integer"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(defaults.number("number"), 0.1);
  EXPECT_EQ(defaults.number("whole"), 85.0);
  EXPECT_EQ(defaults.integer("whole"), 85);
  EXPECT_EQ(defaults.boolean("boolean"), true);
  EXPECT_EQ(defaults.string("string"), "Größe");
  EXPECT_EQ(defaults.data("text"), text);
  EXPECT_EQ(defaults.data("binary"), binary);
  EXPECT_TRUE(log_.records().empty());
  EXPECT_EQ(namesIn(file_.parent_path()), (std::vector<std::string>{".defaults.json.lock", "defaults.json"}))
      << "a temporary file was left";
}

TEST_F(UserDefaultsTests, StoresThatShareTheFileFollowEachOtherAndLoseNothing) {
  JSONUserDefaults first(file_, log_);
  JSONUserDefaults second(file_, log_);
  first.setInteger("a", 1);
  second.setInteger("b", 2);
  EXPECT_TRUE(first.refresh());
  EXPECT_EQ(first.integer("b"), 2);
  EXPECT_FALSE(first.refresh()) << "nothing is new";

  // One that holds the lock and stands still keeps nobody for long, and nothing is lost by it.
  const auto lock = file_.parent_path() / ".defaults.json.lock";
  const int held = open(lock.c_str(), O_RDWR);
  ASSERT_EQ(flock(held, LOCK_EX), 0);
  first.setInteger("a", 3);
  EXPECT_EQ(first.integer("a"), 3);
  EXPECT_NE(first.saveFailure().value_or("").find("locked"), std::string::npos);
  close(held);
  first.refresh();
  EXPECT_EQ(first.saveFailure(), std::nullopt);
  EXPECT_EQ(JSONUserDefaults(file_, log_).integer("a"), 3);
}

TEST_F(UserDefaultsTests, ChangesOfManyProcessesAreStepsOfTheirOwn) {
  constexpr int processes = 4;
  constexpr int changes = 25;
  std::vector<pid_t> children;
  for (int i = 0; i < processes; ++i) {
    children.push_back(fork());
    if (children.back() == 0) {
      JSONUserDefaults store(file_, log_);
      for (int change = 0; change < changes; ++change) {
        store.changeData("letters", [](const std::optional<std::string>& now) { return now.value_or("") + "x"; });
      }
      _exit(0);
    }
  }
  for (const pid_t child : children) waitpid(child, nullptr, 0);
  EXPECT_EQ(JSONUserDefaults(file_, log_).data("letters").value_or("").size(), std::size_t{processes * changes});
}

TEST_F(UserDefaultsTests, AnotherTypeReadsAsNothing) {
  writeContent(file_, R"({"flag": true, "number": 1.5, "text": "1", "huge": 1e300, "big": 18446744073709551615,
                          "nothing": null, "data": {"data": "x"}, "binary": {"bytes": [0, 255]},
                          "bytes": {"bytes": [1, 256]}, "odd": {"data": "x", "more": 1},
                          "negative": {"bytes": [-1]}})");
  const JSONUserDefaults defaults(file_, log_);
  EXPECT_FALSE(defaults.integer("flag"));
  EXPECT_FALSE(defaults.number("flag"));
  EXPECT_FALSE(defaults.integer("number")) << "a number with a fraction is no integer";
  EXPECT_EQ(defaults.number("number"), 1.5);
  EXPECT_FALSE(defaults.data("text"));
  EXPECT_FALSE(defaults.boolean("number"));
  EXPECT_FALSE(defaults.integer("big"));
  EXPECT_FALSE(defaults.integer("huge"));
  EXPECT_EQ(defaults.data("data"), "x");
  EXPECT_EQ(defaults.data("binary"), std::string("\0\xFF", 2));
  EXPECT_FALSE(defaults.string("nothing"));
  for (const char* key : {"bytes", "odd", "negative"}) EXPECT_FALSE(defaults.data(key)) << key;
}

TEST_F(UserDefaultsTests, ADamagedFileIsMovedAsideAndNeverOverwritten) {
  const std::vector<std::string> damage = {"{\"pollingInterval\": 2", "[1, 2]", "\xFF\xFE{}"};
  for (std::size_t i = 0; i < damage.size(); ++i) {
    SCOPED_TRACE(damage[i]);
    writeContent(file_, damage[i]);
    CapturedLog log;
    JSONUserDefaults defaults(file_, log);
    EXPECT_EQ(log.messages(LogLevel::error).size(), 1U);
    const std::string copy = file_.string() + ".damaged-" + std::to_string(i + 1);
    EXPECT_TRUE(log.contains(copy));
    EXPECT_EQ(contentOf(copy), damage[i]);
    defaults.setInteger("kept", 7);
    EXPECT_EQ(JSONUserDefaults(file_, log).integer("kept"), 7);
    EXPECT_EQ(log.messages(LogLevel::error).size(), 1U);
  }
}

TEST_F(UserDefaultsTests, WhatCannotBeWrittenIsKeptInMemoryAndSaidOnceForEachFailure) {
  JSONUserDefaults defaults(file_, log_);
  std::filesystem::create_directories(file_);  // nothing can be put in its place
  defaults.setInteger("a", 1);
  defaults.setInteger("a", 2);
  EXPECT_EQ(defaults.integer("a"), 2);
  EXPECT_TRUE(defaults.saveFailure());
  EXPECT_EQ(log_.messages(LogLevel::error).size(), 1U);
  std::filesystem::remove(file_);
  defaults.setInteger("a", 3);
  EXPECT_EQ(JSONUserDefaults(file_, log_).integer("a"), 3);
  std::filesystem::remove(file_);
  std::filesystem::create_directories(file_);
  defaults.setInteger("a", 4);
  EXPECT_EQ(log_.messages(LogLevel::error).size(), 2U);
  EXPECT_EQ(defaults.integer("a"), 4);
}

TEST_F(UserDefaultsTests, ValuesThatJSONCannotHoldAreRefusedAndTheOldOnesStay) {
  JSONUserDefaults defaults(file_, log_);
  defaults.setNumber("number", 3);
  defaults.setString("string", "old");
  defaults.setNumber("number", std::numeric_limits<double>::quiet_NaN());
  defaults.setNumber("number", std::numeric_limits<double>::infinity());
  defaults.setString("string", "\xC3(");
  EXPECT_EQ(defaults.number("number"), 3);
  EXPECT_EQ(defaults.string("string"), "old");
  EXPECT_EQ(log_.messages(LogLevel::error).size(), 3U);
  EXPECT_EQ(contentOf(file_).find("null"), std::string::npos);
}

}  // namespace
}  // namespace halcyra::test
