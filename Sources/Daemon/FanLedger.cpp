#include "Daemon/FanLedger.h"

#include <algorithm>

#include "SMC/FanInfo.h"

namespace halcyra {

void FanLedger::found(int fan) {
  entries_.try_emplace(fan);
}

bool FanLedger::mayBeManual(State state) {
  return state == State::manualWritten || state == State::manual || state == State::overwrittenUnseen ||
         state == State::overwritten;
}

bool FanLedger::isWatched(State state) {
  return state == State::unattended || state == State::unattendedWithoutMode || state == State::manualWritten ||
         state == State::overwrittenUnseen;
}

// Nothing is known to be manual, so nothing has to be written over as long as the mode reads automatic.
void FanLedger::foundUnattended(int fan, bool hasMode, Instant now) {
  entries_[fan] = {hasMode ? State::unattended : State::unattendedWithoutMode, true, now};
}

void FanLedger::distrustUnattended() {
  for (auto& [fan, entry] : entries_) {
    if (entry.state == State::unattended) {
      entry = {State::manual, true, {}};
    }
  }
}

void FanLedger::manualWritten(int fan, Instant now) {
  entries_[fan] = {State::manualWritten, false, now};
}

void FanLedger::modeRead(int fan, std::uint8_t raw) {
  const auto found = entries_.find(fan);
  if (found != entries_.end() && found->second.state == State::unattendedWithoutMode) {
    found->second.state = State::unattended;
  }
  if (isSystemManagedFanMode(raw)) {
    return;
  }
  const bool isSeen = fanModeFromRaw(raw) == FanMode::manual;
  State& state = entries_[fan].state;
  switch (state) {
    case State::automatic:
      state = State::manual;
      break;
    case State::unattended:
    case State::unattendedWithoutMode:
    case State::manualWritten:
      state = isSeen ? State::manual : State::manualWritten;
      break;
    case State::overwrittenUnseen:
      state = isSeen ? State::overwritten : State::overwrittenUnseen;
      break;
    case State::manual:
    case State::overwritten:
      break;
  }
}

void FanLedger::owe(int fan) {
  entries_[fan].isOwed = true;
}

void FanLedger::confirmAutomatic(int fan, Instant now) {
  Entry& entry = entries_[fan];
  if (!isWatched(entry.state) || now - entry.since >= settlingTime) {
    entry = {};
  }
}

void FanLedger::modeMissing(int fan, Instant now) {
  Entry& entry = entries_[fan];
  entry = isWatched(entry.state) ? Entry{State::unattendedWithoutMode, entry.isOwed, now} : Entry{};
}

void FanLedger::countermanded(int fan) {
  State& state = entries_[fan].state;
  if (state == State::manualWritten) {
    state = State::overwrittenUnseen;
  } else if (state == State::manual) {
    state = State::overwritten;
  }
}

bool FanLedger::needsCountermand(int fan) const {
  const Entry* entry = find(fan);
  return entry != nullptr && (entry->state == State::manualWritten || entry->state == State::manual);
}

bool FanLedger::mayBeManual(int fan) const {
  const Entry* entry = find(fan);
  return entry != nullptr && mayBeManual(entry->state);
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
    if (entry.isOwed) {
      result.push_back(fan);
    }
  }
  return result;
}

bool FanLedger::anyMayBeManual() const {
  return std::ranges::any_of(entries_, [](const auto& each) { return mayBeManual(each.second.state); });
}

bool FanLedger::isWatched(int fan) const {
  const Entry* entry = find(fan);
  return entry != nullptr && isWatched(entry->state);
}

bool FanLedger::anyIsWatched() const {
  return std::ranges::any_of(entries_, [](const auto& each) { return isWatched(each.second.state); });
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
