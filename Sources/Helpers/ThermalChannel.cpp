#include "Helpers/ThermalChannel.h"

#include <algorithm>
#include <iterator>

namespace halcyra {

ThermalChannels channelsAmong(const ThermalChannels& channels, std::span<const SMCKey> keys) {
  ThermalChannels found;
  found.reserve(keys.size());
  std::ranges::copy_if(channels, std::back_inserter(found), [keys](const ThermalChannel& channel) {
    return std::ranges::find(keys, channel.key) != keys.end();
  });
  return found;
}

std::optional<double> meanOf(const ThermalChannels& channels) {
  if (channels.empty()) {
    return std::nullopt;
  }
  double sum = 0;
  for (const ThermalChannel& channel : channels) {
    sum += channel.value;
  }
  return sum / static_cast<double>(channels.size());
}

std::optional<double> maximumOf(const ThermalChannels& channels) {
  if (channels.empty()) {
    return std::nullopt;
  }
  return std::ranges::max_element(channels, {}, &ThermalChannel::value)->value;
}

std::vector<std::string> sortedNames(const ThermalChannels& channels) {
  std::vector<std::string> names;
  names.reserve(channels.size());
  for (const ThermalChannel& channel : channels) {
    names.push_back(stringFromKey(channel.key));
  }
  std::ranges::sort(names);
  return names;
}

}  // namespace halcyra
