#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Platform/SystemInformation.h"

namespace halcyra::test {

/// A table of system values and running processes. Any thread. To begin with a Mac15,11 that runs only this process.
class FakeSystemInformation : public SystemInformation {
 public:
  std::optional<std::string> sysctlString(const std::string& name) const override;
  std::vector<std::int32_t> listAllProcessIDs() const override;
  std::optional<std::string> processPath(std::int32_t processID) const override;
  std::int32_t processID() const override { return ownProcessID; }

  static constexpr std::int32_t ownProcessID = 4711;

  /// "hw.model"; nothing: the system does not know it.
  void setModel(std::optional<std::string> model);
  /// Starts or replaces a process; without a path it is listed but cannot be looked into.
  void setProcess(std::int32_t processID, std::optional<std::string> path);
  void endProcess(std::int32_t processID);
  /// How often the processes have been listed.
  int listings() const;

 private:
  mutable std::mutex mutex_;
  std::optional<std::string> model_ = "Mac15,11";
  std::map<std::int32_t, std::optional<std::string>> processes_{
      {ownProcessID, "/Applications/Aerovane.app/Contents/MacOS/Aerovane"}};
  mutable int listings_ = 0;
};

}  // namespace halcyra::test
