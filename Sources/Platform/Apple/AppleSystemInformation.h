#pragma once

#include "Platform/SystemInformation.h"

namespace halcyra {

class AppleSystemInformation : public SystemInformation {
 public:
  std::optional<std::string> sysctlString(const std::string& name) const override;
  std::vector<std::int32_t> listAllProcessIDs() const override;
  /// Where the system keeps a process's path from this user: the name of its program.
  std::optional<std::string> processPath(std::int32_t processID) const override;
  std::int32_t processID() const override;
};

}  // namespace halcyra
