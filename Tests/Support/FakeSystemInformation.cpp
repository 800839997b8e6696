#include "Support/FakeSystemInformation.h"

#include <utility>

namespace halcyra::test {

std::optional<std::string> FakeSystemInformation::sysctlString(const std::string& name) const {
  const std::lock_guard lock(mutex_);
  return name == "hw.model" ? model_ : std::nullopt;
}

std::vector<std::int32_t> FakeSystemInformation::listAllProcessIDs() const {
  const std::lock_guard lock(mutex_);
  ++listings_;
  std::vector<std::int32_t> result;
  for (const auto& [processID, path] : processes_) result.push_back(processID);
  return result;
}

std::optional<std::string> FakeSystemInformation::processPath(std::int32_t processID) const {
  const std::lock_guard lock(mutex_);
  const auto found = processes_.find(processID);
  return found == processes_.end() ? std::nullopt : found->second;
}

void FakeSystemInformation::setModel(std::optional<std::string> model) {
  const std::lock_guard lock(mutex_);
  model_ = std::move(model);
}

void FakeSystemInformation::setProcess(std::int32_t processID, std::optional<std::string> path) {
  const std::lock_guard lock(mutex_);
  processes_[processID] = std::move(path);
}

void FakeSystemInformation::endProcess(std::int32_t processID) {
  const std::lock_guard lock(mutex_);
  processes_.erase(processID);
}

int FakeSystemInformation::listings() const {
  const std::lock_guard lock(mutex_);
  return listings_;
}

}  // namespace halcyra::test
