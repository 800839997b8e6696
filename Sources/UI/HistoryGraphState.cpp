#include "UI/HistoryGraphState.h"

#include <optional>

#include "fmt/format.h"

namespace halcyra {

std::string HistoryGraph::label(int index) {
  if (index == 0) return "Left";
  if (index == 1) return "Right";
  return fmt::format("Fan {}", index + 1);
}

HistoryGraphState HistoryGraph::update(const HistoryData& history, const HistoryChoice& choice) {
  const std::vector<HistorySample>& samples = history.samples;
  if (!growth_.onlyAppended(samples)) {
    zone_.reset();
    fans_.clear();
    samplesSeen_ = 0;
  }
  for (; samplesSeen_ < samples.size(); ++samplesSeen_) {
    while (fans_.size() < samples[samplesSeen_].rpms.size()) fans_.emplace_back(maximumPointCount);
  }
  const std::size_t first = firstSampleOf(choice.range, samples);
  const auto zonePoint = pointsOf(history, ExpandedSensorHistory::fanControlSignalID);
  HistoryGraphState state;
  state.options = overlays_.options(history);
  state.zone = zone_.update(first, samples.size(), zonePoint).downsampled();
  state.overlays = overlays_.update(history, choice, ExpandedSensorHistory::fanControlSignalID);
  for (std::size_t fan = 0; fan < fans_.size(); ++fan) {
    const auto speedPoint = [&samples, fan](std::size_t index) {
      const HistorySample& sample = samples[index];
      return fan < sample.rpms.size() ? std::optional(HistoryPoint{sample.date, static_cast<double>(sample.rpms[fan])})
                                      : std::nullopt;
    };
    const int index = static_cast<int>(fan);
    state.fans.push_back({index, label(index), fans_[fan].update(first, samples.size(), speedPoint).downsampled()});
  }
  return state;
}

}  // namespace halcyra
