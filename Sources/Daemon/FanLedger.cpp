#include "Daemon/FanLedger.h"

#include <algorithm>

#include "SMC/FanInfo.h"

namespace halcyra {

void FanLedger::found(int fan) {
  entries_.try_emplace(fan);
}

// Nothing is known to be manual, so nothing has to be written over as long as the mode reads automatic.
void FanLedger::foundUnattended(int fan, bool hasMode, Instant now) {
  entries_[fan] = {false, true, now, true, !hasMode};
}

void FanLedger::distrustUnattended() {
  for (auto& [fan, entry] : entries_) {
    if (entry.unseenManualWrite && !entry.mayBeManual && !entry.lacksMode) {
      entry = {true, true, std::nullopt, false, false};
    }
  }
}

void FanLedger::manualWritten(int fan, Instant now) {
  entries_[fan] = {true, false, now, false, false};
}

void FanLedger::modeRead(int fan, std::uint8_t raw) {
  if (const auto found = entries_.find(fan); found != entries_.end()) {
    found->second.lacksMode = false;
  }
  if (isSystemManagedFanMode(raw)) {
    return;
  }
  Entry& entry = entries_[fan];
  entry.mayBeManual = true;
  if (fanModeFromRaw(raw) == FanMode::manual) {
    entry.unseenManualWrite.reset();
  }
}

void FanLedger::owe(int fan) {
  entries_[fan].owed = true;
}

void FanLedger::confirmAutomatic(int fan, Instant now) {
  Entry& entry = entries_[fan];
  if (entry.unseenManualWrite && now - *entry.unseenManualWrite < settlingTime) {
    return;
  }
  entry = {};
}

void FanLedger::modeMissing(int fan, Instant now) {
  Entry& entry = entries_[fan];
  if (!entry.unseenManualWrite) {
    entry = {};
    return;
  }
  entry.unseenManualWrite = now;
  entry.lacksMode = true;
}

void FanLedger::countermanded(int fan) {
  entries_[fan].countermanded = true;
}

bool FanLedger::needsCountermand(int fan) const {
  const Entry* entry = find(fan);
  return entry != nullptr && entry->mayBeManual && !entry->countermanded;
}

bool FanLedger::mayBeManual(int fan) const {
  const Entry* entry = find(fan);
  return entry != nullptr && entry->mayBeManual;
}

std::vector<int> FanLedger::fans() const {
  std::vector<int> result;
  for (const auto& [fan, entry] : entries_) {
    result.push_back(fan);
  }
  return result;
}

std::vector<int> FanLedger::owed() const {
  std::vector<int> result;
  for (const auto& [fan, entry] : entries_) {
    if (entry.owed) {
      result.push_back(fan);
    }
  }
  return result;
}

bool FanLedger::anyMayBeManual() const {
  return std::ranges::any_of(entries_, [](const auto& each) { return each.second.mayBeManual; });
}

bool FanLedger::isWatched(int fan) const {
  const Entry* entry = find(fan);
  return entry != nullptr && entry->unseenManualWrite;
}

bool FanLedger::anyIsWatched() const {
  return std::ranges::any_of(entries_, [](const auto& each) { return each.second.unseenManualWrite.has_value(); });
}

const FanLedger::Entry* FanLedger::find(int fan) const {
  const auto found = entries_.find(fan);
  return found == entries_.end() ? nullptr : &found->second;
}

std::optional<int> fanOfModeKey(SMCKey key) {
  for (int fan = 0; fan <= FanCapabilityProbe::maxFanIndex; ++fan) {
    if (key == SMCKey::fan(fan, "Md")) {
      return fan;
    }
  }
  return std::nullopt;
}

}  // namespace halcyra
