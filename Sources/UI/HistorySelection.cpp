#include "UI/HistorySelection.h"

#include <algorithm>

namespace halcyra {

void HistorySelection::setRange(HistoryRange range) {
  if (range == choice_.range) return;
  choice_.range = range;
  emit changed();
}

void HistorySelection::add(const std::string& sensorID) {
  std::vector<std::string>& overlays = choice_.overlays;
  if (std::ranges::find(overlays, sensorID) != overlays.end()) return;
  if (isFull()) overlays.erase(overlays.begin());
  overlays.push_back(sensorID);
  emit changed();
}

void HistorySelection::remove(const std::string& sensorID) {
  if (std::erase(choice_.overlays, sensorID) > 0) emit changed();
}

void HistorySelection::show(const std::string& sensorID) {
  add(sensorID);
  emit sightWanted();
}

}  // namespace halcyra
