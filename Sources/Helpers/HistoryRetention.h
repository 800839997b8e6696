#pragma once

#include <algorithm>
#include <cstdint>

#include "Platform/Precondition.h"

namespace halcyra::HistoryRetention {

/// Once `samples` holds more than `limit` entries, drops its oldest in a batch of at least `batchSize`, and as many
/// from the start of every series, so that trimming shifts the buffers once per batch and indices stay aligned. A
/// series that is too short becomes empty; its key stays. `limit` and `batchSize` are at least 1.
///
/// `Samples` is a sequence such as `std::vector<HistorySample>`, `SensorSeries` a map from sensor key to a sequence,
/// such as `std::map<std::string, std::vector<float>>`.
template <typename Samples, typename SensorSeries>
void trim(Samples& samples, SensorSeries& sensorSeries, std::int64_t limit, std::int64_t batchSize) {
  precondition(limit >= 1, "HistoryRetention::trim needs a limit of at least 1");
  precondition(batchSize >= 1, "HistoryRetention::trim needs a batch size of at least 1");
  const auto count = static_cast<std::int64_t>(samples.size());
  if (count <= limit) {
    return;
  }
  const std::int64_t removeCount = std::min(std::max(count - limit, batchSize), count);
  samples.erase(samples.begin(), samples.begin() + removeCount);
  for (auto& [key, series] : sensorSeries) {
    const auto length = static_cast<std::int64_t>(series.size());
    series.erase(series.begin(), series.begin() + std::min(removeCount, length));
  }
}

}  // namespace halcyra::HistoryRetention
