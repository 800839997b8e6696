#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace halcyra {

/// What the system says about itself and its processes. Safe to use from any thread.
class SystemInformation {
 public:
  virtual ~SystemInformation() = default;

  /// `sysctlbyname` for a string value ("hw.model"); nothing when the system does not know the name.
  virtual std::optional<std::string> sysctlString(const std::string& name) const = 0;

  /// The identifiers of all running processes (`proc_listallpids`); empty when they cannot be listed.
  virtual std::vector<std::int32_t> listAllProcessIDs() const = 0;
  /// The full path of a process's executable (`proc_pidpath`); nothing when it cannot be read.
  virtual std::optional<std::string> processPath(std::int32_t processID) const = 0;
  /// This process.
  virtual std::int32_t processID() const = 0;
};

/// Held while the system must not throttle the process; released by destruction.
class ActivityAssertion {
 public:
  virtual ~ActivityAssertion() = default;
};

enum class ActivityOptions : std::uint64_t { userInitiatedAllowingIdleSystemSleep = 0x00EFFFFF };

class ActivityAssertions {
 public:
  virtual ~ActivityAssertions() = default;
  /// Never fails: where the system has no such thing the assertion has no effect.
  virtual std::unique_ptr<ActivityAssertion> beginActivity(ActivityOptions options, const std::string& reason) = 0;
};

}  // namespace halcyra
