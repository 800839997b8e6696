#include <limits>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "App/HelperPreflight.h"

namespace halcyra {

namespace {

PropertyList parse(const std::string& text) {
  return PropertyList::parse(text);
}

}  // namespace

TEST(HelperPreflight, isCleanOnlyWhenEverythingReadsSafe) {
  struct Row {
    const char* status;
    bool clean;
  };
  const std::vector<Row> rows = {
      {R"({"protocolVersion":1,"fanCount":2,"fans":[{"mode":0},{"mode":0}]})", true},
      {R"({"protocolVersion":1,"fanCount":2,"fanTestMode":0,"fans":[]})", true},
      {R"({"protocolVersion":1,"fanCount":2,"fan0Mode":0,"fan1Mode":0})", true},
      // The array is preferred to the flat form.
      {R"({"protocolVersion":1,"fanCount":2,"fans":[{"mode":0}],"fan0Mode":1})", true},
      {R"({"fanCount":2,"fans":[]})", false},
      {R"({"protocolVersion":2,"fanCount":2,"fans":[]})", false},
      {R"({"protocolVersion":true,"fanCount":2,"fans":[]})", false},
      {R"({"protocolVersion":1,"fans":[]})", false},
      {R"({"protocolVersion":1,"fanCount":2,"fanTestMode":1,"fans":[]})", false},
      {R"({"protocolVersion":1,"fanCount":2,"fanTestMode":false,"fans":[]})", false},
      {R"({"protocolVersion":1,"fanCount":2,"fans":[{"mode":0},{"mode":1}]})", false},
      {R"({"protocolVersion":1,"fanCount":2,"fans":[{"mode":0},{}]})", false},
      {R"({"protocolVersion":1,"fanCount":2,"fans":[{"mode":3}]})", false},
      {R"({"protocolVersion":1,"fanCount":2,"fan0Mode":0,"fan1Mode":1})", false},
      {R"({"protocolVersion":1,"fanCount":2,"fan0Mode":"automatic"})", false},
      // An array with a stranger among its entries is no array: the flat form decides.
      {R"({"protocolVersion":1,"fanCount":2,"fans":[{"mode":1},7],"fan0Mode":0})", true},
      {R"({"protocolVersion":1,"fanCount":2,"fans":[{"mode":0},7],"fan0Mode":1})", false},
      {R"(null)", false},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(preflightIsClean(parse(row.status)), row.clean) << row.status;
  }
}

TEST(HelperPreflight, picksTheFanWithTheLowestIndexAndAllItsValues) {
  struct Row {
    const char* status;
    std::optional<SupervisedFan> fan;
  };
  const std::vector<Row> rows = {
      {R"({"fans":[{"index":1,"actual":9,"target":9,"minimum":9,"maximum":9},
                   {"index":0,"actual":1200,"target":1300,"minimum":1000,"maximum":5000}]})",
       SupervisedFan{0, 1200, 1300, 1000, 5000}},
      {R"({"fans":[{"actual":9,"target":9,"minimum":9,"maximum":9},
                   {"index":4,"actual":1,"target":2,"minimum":3,"maximum":4}]})",
       SupervisedFan{4, 1, 2, 3, 4}},
      {R"({"fan0Actual":1,"fan0Target":2,"fan0Minimum":3,"fan0Maximum":4})", SupervisedFan{0, 1, 2, 3, 4}},
      {R"({"fans":[{"index":0,"actual":1,"target":2,"minimum":3}]})", std::nullopt},
      {R"({"fans":[{"index":0,"actual":1,"target":2.5,"minimum":3,"maximum":4}]})", std::nullopt},
      {R"({"fans":[{"actual":1,"target":2,"minimum":3,"maximum":4}]})", std::nullopt},
      {R"({"fans":[{"index":99999999999,"actual":1,"target":2,"minimum":3,"maximum":4}]})", std::nullopt},
      {R"({"fan0Actual":1,"fan0Target":2,"fan0Minimum":3})", std::nullopt},
      {R"(null)", std::nullopt},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(supervisedFan(parse(row.status)), row.fan) << row.status;
  }
}

TEST(HelperPreflight, testTargetSpeedsTheFanUpWithinItsLimits) {
  constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
  struct Row {
    SupervisedFan fan;
    std::optional<std::int64_t> target;
  };
  const std::vector<Row> rows = {
      {{0, 1200, 1200, 1000, 1500}, 1500},   {{0, 1200, 1200, 1000, 1200}, std::nullopt},
      {{0, 1200, 1200, 1000, 5000}, 1700},   {{0, 900, 1000, 1300, 5000}, 1800},
      {{0, 1000, 2000, 900, 2200}, 2200},    {{0, 1000, 2000, 900, 1900}, std::nullopt},
      {{0, most, 0, 0, 5000}, std::nullopt}, {{0, 1000, most, 0, most}, most},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(supervisedTestTarget(row.fan), row.target) << row.fan.actual << " " << row.fan.maximum;
  }
}

TEST(HelperPreflight, onlyFansReportedAsControllableCount) {
  std::vector<FanInfo> published(2);
  published[1].index = 1;
  struct Row {
    const char* status;
    std::set<int> indices;
  };
  const std::vector<Row> rows = {
      {R"({"fans":[{"index":0,"controllable":true},{"index":1,"controllable":false}]})", {0}},
      {R"({"fans":[{"index":0,"controllable":1},{"index":1},{"index":2,"controllable":"true"}]})", {}},
      {R"({"fans":[{"controllable":true},{"index":"1","controllable":true},{"index":-1,"controllable":true}]})", {}},
      {R"({})", {0, 1}},
      {R"({"fans":[{"index":5,"controllable":true},null]})", {0, 1}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(helperControllableFans(parse(row.status), published), row.indices) << row.status;
  }
}

}  // namespace halcyra
