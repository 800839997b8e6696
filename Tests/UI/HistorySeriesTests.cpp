#include <cmath>
#include <random>

#include "gmock/gmock.h"
#include "gtest/gtest.h"

#include "UI/Downsampling.h"
#include "UI/HistorySeries.h"

namespace halcyra::test {

namespace {

using Points = std::vector<HistoryPoint>;

Date secondsIn(double seconds) {
  return Date(Seconds(seconds));
}

Points noise(std::size_t count, unsigned seed = 1) {
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> value(30, 90);
  Points points;
  for (std::size_t i = 0; i < count; ++i) {
    points.push_back({secondsIn(2.0 * static_cast<double>(i)), static_cast<double>(value(random))});
  }
  return points;
}

}  // namespace

TEST(Downsampling, keepsTheExtremesOfEveryBucketInTimeOrder) {
  Points input;
  for (const double value : {5, 9, 2, 7, 1, 3, 3, 8, 4, 6}) {
    input.push_back({secondsIn(static_cast<double>(input.size())), value});
  }
  ASSERT_EQ(downsamplingBucketSize(10, 6), 4u);
  EXPECT_EQ(peakPreservingDownsample(input, 6), (Points{input[1], input[2], input[4], input[7], input[8], input[9]}));
  EXPECT_LE(peakPreservingDownsample(noise(1000), 499).size(), 499u);
}

TEST(Downsampling, atItsLimits) {
  const Points thousand = noise(1000);
  for (const std::int64_t limit : {-1, 3, 1000}) EXPECT_EQ(peakPreservingDownsample(thousand, limit), thousand);
  EXPECT_EQ(peakPreservingDownsample(thousand, 4).size(), 4u);
  const Points flat{{secondsIn(0), 5}, {secondsIn(1), 5}, {secondsIn(2), 5}, {secondsIn(3), 5}, {secondsIn(4), 7}};
  EXPECT_EQ(peakPreservingDownsample(flat, 4), (Points{{secondsIn(0), 5}, {secondsIn(3), 5}, {secondsIn(4), 7}}))
      << "the earliest of equal points stands for its bucket";
  const Points sameDate{{secondsIn(1), 9}, {secondsIn(1), 2}, {secondsIn(1), 4}, {secondsIn(2), 1}, {secondsIn(3), 8}};
  EXPECT_EQ(peakPreservingDownsample(sameDate, 4), (Points{{secondsIn(1), 2}, {secondsIn(2), 1}, {secondsIn(3), 8}}))
      << "different points of one date: the minimum";
}

TEST(HistorySeries, growsToTheSamePointsAsThinningEverythingAnew) {
  // Every fifth sample has no point; the steps between updates are uneven.
  const Points all = noise(2200, 7);
  const auto pointAt = [&](std::size_t index) { return index % 5 == 4 ? std::nullopt : std::optional(all[index]); };
  HistorySeries series(100);
  Points points;
  std::size_t seen = 0;
  for (std::size_t step = 1; seen < all.size(); step = step % 7 + 1) {
    const std::size_t next = std::min(all.size(), seen + step);
    for (; seen < next; ++seen) {
      if (const auto point = pointAt(seen)) points.push_back(*point);
    }
    series.update(seen, pointAt);
    ASSERT_EQ(series.downsampled(), peakPreservingDownsample(points, 100)) << "after " << seen;
    ASSERT_EQ(series.low(), std::ranges::min(points, {}, &HistoryPoint::value).value);
    ASSERT_EQ(series.peak(), std::ranges::max(points, {}, &HistoryPoint::value).value);
  }
  double sum = 0;
  for (const HistoryPoint& point : points) sum += point.value;
  EXPECT_NEAR(*series.average(), sum / static_cast<double>(points.size()), 1e-9);

  series.reset();
  EXPECT_EQ(series.average(), std::nullopt);
  EXPECT_TRUE(series.downsampled().empty());
}

}  // namespace halcyra::test
