#include "VirtualMac/Fault.h"

#include <algorithm>
#include <utility>

#include "fmt/format.h"

#include "Platform/UntrustedText.h"
#include "VirtualMac/FaultCommands.h"
#include "VirtualMac/KeyTable.h"

namespace halcyra {

bool isReadingFault(FaultKind kind) {
  switch (kind) {
    case FaultKind::garbage:
    case FaultKind::value:
    case FaultKind::nan:
    case FaultKind::inf:
    case FaultKind::freeze:
    case FaultKind::jump:
      return true;
    default:
      return false;
  }
}

void FaultSet::apply(std::string_view command) {
  const auto words = wordsOf(command);
  if (!words.empty() && words[0] == "clear") {
    clear(words);
    return;
  }
  Fault fault = parseFault(command);
  if (observer_) {
    observer_(fault);
  }
  if (fault.kind == FaultKind::setMode) {
    return;
  }
  std::erase_if(faults_, [&](const Fault& old) {
    const bool sameKind = old.kind == fault.kind || (isReadingFault(old.kind) && isReadingFault(fault.kind));
    return sameKind && old.key == fault.key;
  });
  faults_.push_back(std::move(fault));
}

void FaultSet::clear(const std::vector<std::string_view>& words) {
  std::size_t next = 1;
  const FaultCommand* const command = next < words.size() ? findFaultCommand(words[next]) : nullptr;
  next += command != nullptr ? 1 : 0;
  const bool mayBeKey = next < words.size() && words[next].size() == 4;
  const KeyEntry* const entry = mayBeKey ? KeyTable::shared().find(SMCKey::fromString(words[next])) : nullptr;
  next += entry != nullptr ? 1 : 0;
  if (next < words.size()) {
    throw FaultError(fmt::format("clear: {} is {}; usage: clear [FAULT] [KEY]", quotedText(words[next]),
                                 entry != nullptr ? "too much" : "neither a fault nor a key"));
  }
  if (command != nullptr && command->kind == FaultKind::setMode) {
    throw FaultError("clear: a mode that was set stays set; use set-mode to change it");
  }
  std::erase_if(faults_, [&](const Fault& fault) {
    return (command == nullptr || fault.kind == command->kind) && (entry == nullptr || fault.key == entry->key);
  });
}

std::vector<std::string> FaultSet::active() const {
  std::vector<std::string> texts;
  for (const Fault& fault : faults_) {
    texts.push_back(fault.text);
  }
  return texts;
}

const std::vector<std::string>& FaultSet::usage() {
  static const std::vector<std::string> lines = [] {
    std::vector<std::string> result;
    for (const FaultCommand& command : faultCommands()) {
      result.push_back(fmt::format("{:<32}{}", command.syntax, command.meaning));
    }
    result.push_back(fmt::format("{:<32}{}", "clear [FAULT] [KEY]", "undoes all faults, or those of a kind or a key"));
    return result;
  }();
  return lines;
}

const Fault* FaultSet::find(FaultKind kind, SMCKey key) const {
  const auto found = std::find_if(faults_.begin(), faults_.end(),
                                  [&](const Fault& fault) { return fault.kind == kind && fault.key == key; });
  return found == faults_.end() ? nullptr : &*found;
}

const Fault* FaultSet::readingFault(SMCKey key) const {
  const auto found = std::find_if(faults_.begin(), faults_.end(),
                                  [&](const Fault& fault) { return isReadingFault(fault.kind) && fault.key == key; });
  return found == faults_.end() ? nullptr : &*found;
}

std::optional<std::uint8_t> FaultSet::takeResult(FaultKind kind, SMCKey key) {
  const auto found = std::find_if(faults_.begin(), faults_.end(),
                                  [&](const Fault& fault) { return fault.kind == kind && fault.key == key; });
  if (found == faults_.end()) {
    return std::nullopt;
  }
  const std::uint8_t result = found->firmwareResult;
  if (found->remaining && --*found->remaining == 0) {
    faults_.erase(found);
  }
  return result;
}

void FaultSet::remove(FaultKind kind) {
  std::erase_if(faults_, [&](const Fault& fault) { return fault.kind == kind; });
}

}  // namespace halcyra
