#include "gmock/gmock.h"
#include "gtest/gtest.h"

#include "UI/Charts/ChartAxis.h"
#include "UI/Charts/ChartReadout.h"

namespace halcyra::test {

using testing::ElementsAre;

TEST(ChartAxis, valuesAreRoundedOutwardToFullSteps) {
  const std::vector<double> tens{10, 20};
  EXPECT_THAT(valueTicks(45.7, 73.2, tens, 4), ElementsAre(40, 50, 60, 70, 80));
  EXPECT_THAT(valueTicks(50, 50, tens, 4), ElementsAre(50, 60)) << "a flat line still has an axis";
  EXPECT_THAT(valueTicks(38, 101, tens, 4), ElementsAre(20, 40, 60, 80, 100, 120)) << "no coarser than the coarsest";
  EXPECT_THAT(valueTicks(-12, 5, tens, 4), ElementsAre(-20, -10, 0, 10));
}

TEST(ChartAxis, timesAreFullStepsOfLocalTime) {
  const auto ticks = [](double first, double last, double offset, int count) {
    std::vector<double> result;
    for (const Date date : timeTicks(Date(Seconds(first)), Date(Seconds(last)), Seconds(offset), count)) {
      result.push_back(date.time_since_epoch().count());
    }
    return result;
  };
  EXPECT_THAT(ticks(100, 2648, 0, 5), ElementsAre(600, 1200, 1800, 2400));
  EXPECT_THAT(ticks(0, 86400, 1800, 4), ElementsAre(19800, 41400, 63000, 84600)) << "half an hour east";
  EXPECT_THAT(ticks(3.5, 7.5, 0, 5), ElementsAre(4, 5, 6, 7));
  EXPECT_TRUE(ticks(7, 7, 0, 5).empty());
  EXPECT_TRUE(ticks(9, 7, 0, 5).empty());
  EXPECT_LE(ticks(0, 86400.0 * 30, 0, 5).size(), 5u);
  EXPECT_TRUE(timeTicksNeedSeconds(Seconds(90), 5));
  EXPECT_FALSE(timeTicksNeedSeconds(Seconds(3600), 5));
}

TEST(ChartReadout, findsThePointsOfAllLines) {
  const auto at = [](double seconds) { return Date(Seconds(seconds)); };
  const std::vector<HistoryPoint> twos{{at(0), 1}, {at(2), 2}, {at(4), 3}};
  const std::vector<HistoryPoint> odd{{at(3), 9}};
  const std::vector<HistoryPoint> none;
  const PointLists lists{&none, &twos, &odd};
  EXPECT_EQ(nearestPoint(twos, at(1)), twos[0]) << "the earlier one of two";
  EXPECT_EQ(nearestPoint(twos, at(99)), twos[2]);
  EXPECT_EQ(nearestPoint(none, at(0)), std::nullopt);
  EXPECT_EQ(nearestDate(lists, at(3.4)), at(3));
  EXPECT_EQ(nearestDate({&none}, at(0)), std::nullopt);
  EXPECT_EQ(neighbourDate(lists, at(2), 1), at(3));
  EXPECT_EQ(neighbourDate(lists, at(4), -1), at(3));
  EXPECT_EQ(neighbourDate(lists, at(4), 1), at(4)) << "the last one";
}

}  // namespace halcyra::test
