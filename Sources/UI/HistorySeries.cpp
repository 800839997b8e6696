#include "UI/HistorySeries.h"

namespace halcyra {

bool HistoryGrowth::onlyAppended(const std::vector<HistorySample>& samples) {
  const bool appended = count_ == 0 || (samples.size() >= count_ && samples.front().date == firstDate_);
  count_ = samples.size();
  if (!samples.empty()) firstDate_ = samples.front().date;
  return appended;
}

void HistorySeries::update(std::size_t sampleCount, const PointAt& pointAt) {
  std::vector<HistoryPoint> added;
  for (; samplesSeen_ < sampleCount; ++samplesSeen_) {
    if (const auto point = pointAt(samplesSeen_)) added.push_back(*point);
  }
  const std::size_t bucketSize = downsamplingBucketSize(count_ + added.size(), maximumCount_);
  const bool needsRegrouping = bucketSize != bucketSize_ && count_ > 0;
  bucketSize_ = bucketSize;
  for (const HistoryPoint& point : added) {
    add(point);
    if (!needsRegrouping) addToBucket(point);
  }
  if (needsRegrouping) regroup(pointAt);
}

void HistorySeries::reset() {
  *this = HistorySeries(maximumCount_);
}

std::optional<double> HistorySeries::low() const {
  return extremes_ ? std::optional(extremes_->lowest.value) : std::nullopt;
}

std::optional<double> HistorySeries::average() const {
  return count_ > 0 ? std::optional(sum_ / static_cast<double>(count_)) : std::nullopt;
}

std::optional<double> HistorySeries::peak() const {
  return extremes_ ? std::optional(extremes_->highest.value) : std::nullopt;
}

std::vector<HistoryPoint> HistorySeries::downsampled() const {
  std::vector<HistoryPoint> points;
  points.reserve(buckets_.size() * 2);
  for (const HistoryExtremes& bucket : buckets_) bucket.appendTo(points);
  return points;
}

void HistorySeries::add(const HistoryPoint& point) {
  ++count_;
  sum_ += point.value;
  if (!first_) first_ = point;
  last_ = point;
  if (extremes_) {
    extremes_->add(point);
  } else {
    extremes_.emplace(point);
  }
}

void HistorySeries::regroup(const PointAt& pointAt) {
  buckets_.clear();
  lastBucketFill_ = 0;
  for (std::size_t index = 0; index < samplesSeen_; ++index) {
    if (const auto point = pointAt(index)) addToBucket(*point);
  }
}

void HistorySeries::addToBucket(const HistoryPoint& point) {
  if (buckets_.empty() || lastBucketFill_ == bucketSize_) {
    buckets_.emplace_back(point);
    lastBucketFill_ = 1;
  } else {
    buckets_.back().add(point);
    ++lastBucketFill_;
  }
}

const HistorySeries& RangedSeries::update(std::size_t first, std::size_t sampleCount,
                                          const HistorySeries::PointAt& pointAt) {
  if (first == 0) {
    whole_.update(sampleCount, pointAt);
    return whole_;
  }
  part_.emplace(maximumCount_);
  part_->update(sampleCount - first, [&](std::size_t index) { return pointAt(first + index); });
  return *part_;
}

std::size_t firstSampleOf(HistoryRange range, const std::vector<HistorySample>& samples) {
  constexpr Seconds fiveMinutes{300};
  constexpr Seconds hour{3600};
  if (range == HistoryRange::all || samples.empty()) return 0;
  const Date start = samples.back().date - (range == HistoryRange::hour ? hour : fiveMinutes);
  std::size_t first = samples.size() - 1;
  while (first > 0 && samples[first - 1].date >= start) --first;
  return first;
}

}  // namespace halcyra
