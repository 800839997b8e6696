#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "SMC/SMCKey.h"

namespace halcyra {

/// One sensor that was read and found plausible.
struct ThermalChannel {
  SMCKey key;
  /// °C.
  double value = 0;
};

using ThermalChannels = std::vector<ThermalChannel>;

/// The channels whose keys are among `keys`.
ThermalChannels channelsAmong(const ThermalChannels& channels, std::span<const SMCKey> keys);
/// °C; nothing without channels.
std::optional<double> meanOf(const ThermalChannels& channels);
std::optional<double> maximumOf(const ThermalChannels& channels);
/// The keys' names, ascending.
std::vector<std::string> sortedNames(const ThermalChannels& channels);

}  // namespace halcyra
