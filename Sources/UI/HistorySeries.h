#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "App/HistorySample.h"
#include "UI/Downsampling.h"
#include "UI/HistorySelection.h"

namespace halcyra {

/// Tells whether a history has only grown since it was looked at last.
class HistoryGrowth {
 public:
  /// False when samples that were there have gone; true at the first call.
  bool onlyAppended(const std::vector<HistorySample>& samples);

 private:
  std::size_t count_ = 0;
  Date firstDate_;
};

/// Follows one line of a growing history and keeps its figures and its thinned points up to date, so that a poll costs
/// the new samples and not the whole history. The thinned points equal `peakPreservingDownsample` of all of them.
class HistorySeries {
 public:
  /// The point of the history's sample `index`, if that sample has one.
  using PointAt = std::function<std::optional<HistoryPoint>(std::size_t index)>;

  explicit HistorySeries(std::int64_t maximumCount) : maximumCount_(maximumCount) {}

  /// Takes over samples up to `sampleCount` that were appended since the last update. Samples that were taken over
  /// before are unchanged; after anything else than appending, `reset` comes first.
  void update(std::size_t sampleCount, const PointAt& pointAt);
  void reset();

  std::size_t count() const { return count_; }
  const std::optional<HistoryPoint>& first() const { return first_; }
  const std::optional<HistoryPoint>& last() const { return last_; }
  /// The least, mean and greatest value; absent while there is no point.
  std::optional<double> low() const;
  std::optional<double> average() const;
  std::optional<double> peak() const;
  std::vector<HistoryPoint> downsampled() const;

 private:
  void add(const HistoryPoint& point);
  void regroup(const PointAt& pointAt);
  void addToBucket(const HistoryPoint& point);

  std::int64_t maximumCount_;
  std::size_t samplesSeen_ = 0;
  std::size_t count_ = 0;
  double sum_ = 0;
  std::optional<HistoryPoint> first_;
  std::optional<HistoryPoint> last_;
  std::optional<HistoryExtremes> extremes_;
  std::size_t bucketSize_ = 1;
  std::size_t lastBucketFill_ = 0;
  std::vector<HistoryExtremes> buckets_;
};

/// One line of a chart over the whole history or its newest part. The whole is followed at the cost of what was added;
/// a part is read anew, which its length bounds.
class RangedSeries {
 public:
  explicit RangedSeries(std::int64_t maximumCount) : maximumCount_(maximumCount), whole_(maximumCount) {}

  /// The series of the samples from `first` on; valid until the next call.
  const HistorySeries& update(std::size_t first, std::size_t sampleCount, const HistorySeries::PointAt& pointAt);
  void reset() { whole_.reset(); }

 private:
  std::int64_t maximumCount_;
  HistorySeries whole_;
  std::optional<HistorySeries> part_;
};

/// The first sample of a range that ends with the newest one.
std::size_t firstSampleOf(HistoryRange range, const std::vector<HistorySample>& samples);

}  // namespace halcyra
