#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Clock.h"
#include "Platform/Error.h"

namespace halcyra {

/// Made by the named constructors; `what()` is the text that the user sees.
class FanControlProcessLockError : public LocalizedError {
 public:
  enum class Case { alreadyOwned, systemError, unsafeLockFile };

  static constexpr std::string_view errorDomain = "HalcyraCore.FanControlProcessLockError";

  /// `owner` is the record of the process that holds the lock, when it could be read.
  static FanControlProcessLockError alreadyOwned(const std::optional<std::string>& owner);
  /// `value` is an `errno`.
  static FanControlProcessLockError systemError(std::int32_t value);
  static FanControlProcessLockError unsafeLockFile();

  Case kind() const { return case_; }
  /// Only of `alreadyOwned`.
  const std::optional<std::string>& owner() const { return owner_; }
  /// Only of `systemError`, else 0.
  std::int32_t errnoValue() const { return errnoValue_; }

  std::string_view domain() const override { return errorDomain; }
  std::int64_t code() const override { return static_cast<std::int64_t>(case_); }

  bool operator==(const FanControlProcessLockError& other) const {
    return case_ == other.case_ && owner_ == other.owner_ && errnoValue_ == other.errnoValue_;
  }

 private:
  FanControlProcessLockError(Case kind, const std::string& description, std::optional<std::string> owner,
                             std::int32_t errnoValue);

  Case case_;
  std::optional<std::string> owner_;
  std::int32_t errnoValue_;
};

/// The machine-wide advisory lock that whoever writes to the fans holds. Exclusive between processes and between
/// instances; the system drops it when the holding process ends. Safe from any thread. The file itself is never
/// deleted; between owners it keeps the last owner's record.
class FanControlProcessLock {
 public:
  static constexpr std::string_view defaultURL = "/var/run/com.norwick.Halcyra.fan-control.lock";

  /// `url` is the path of the lock file. With `requiredOwnerUID` the file must belong to that user. `clock` dates the
  /// owner record.
  FanControlProcessLock(std::string url, std::optional<std::uint32_t> requiredOwnerUID, const Clock& clock);
  /// Releases the lock.
  ~FanControlProcessLock();
  FanControlProcessLock(const FanControlProcessLock&) = delete;
  FanControlProcessLock& operator=(const FanControlProcessLock&) = delete;

  /// Takes the lock without waiting and writes the owner record; does nothing when this instance holds it already.
  /// Throws `FanControlProcessLockError`, and is then not held.
  void acquire(const std::string& ownerDescription);
  /// Does nothing when the lock is not held.
  void release();
  bool isHeld() const;

  const std::string& url() const { return url_; }

 private:
  std::string url_;
  std::optional<std::uint32_t> requiredOwnerUID_;
  const Clock& clock_;
  mutable std::mutex stateLock_;
  /// -1 when not held.
  std::int32_t descriptor_ = -1;
};

}  // namespace halcyra
