#include "UI/HistoryGraphState.h"

#include <optional>

#include "fmt/format.h"

namespace halcyra {

std::string HistoryGraph::label(int index) {
  if (index == 0) return "Left";
  if (index == 1) return "Right";
  return fmt::format("Fan {}", index + 1);
}

HistoryGraphState HistoryGraph::update(const std::vector<HistorySample>& samples) {
  if (!growth_.onlyAppended(samples)) {
    zone_.reset();
    fans_.clear();
    samplesSeen_ = 0;
  }
  for (; samplesSeen_ < samples.size(); ++samplesSeen_) {
    while (fans_.size() < samples[samplesSeen_].rpms.size()) fans_.emplace_back(maximumPointCount);
  }
  zone_.update(samples.size(), [&](std::size_t index) {
    return HistoryPoint{samples[index].date, samples[index].controlTemp};
  });
  HistoryGraphState state;
  state.zone = zone_.downsampled();
  for (std::size_t fan = 0; fan < fans_.size(); ++fan) {
    fans_[fan].update(samples.size(), [&](std::size_t index) {
      const HistorySample& sample = samples[index];
      return fan < sample.rpms.size() ? std::optional(HistoryPoint{sample.date, static_cast<double>(sample.rpms[fan])})
                                      : std::nullopt;
    });
    const int index = static_cast<int>(fan);
    state.fans.push_back({index, label(index), fans_[fan].downsampled()});
  }
  return state;
}

HistoryGraphState makeHistoryGraphState(const std::vector<HistorySample>& samples) {
  return HistoryGraph().update(samples);
}

}  // namespace halcyra
