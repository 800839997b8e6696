#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/SystemInformation.h"
#include "SMC/SMCInterface.h"

namespace halcyra {

/// What the SMC's own metadata says about one fan.
struct FanCapability {
  int index = 0;
  bool canReadRPM = false;
  bool canSwitchMode = false;
  bool canSetTarget = false;
  /// RPM, only when greater than 0.
  std::optional<std::int64_t> minimumRPM = std::nullopt;
  std::optional<std::int64_t> maximumRPM = std::nullopt;

  /// Mode and target can be written and the bounds are sane; reading the speed plays no part.
  bool isControllable() const;

  bool operator==(const FanCapability&) const = default;
};

struct HardwareCapabilities {
  /// Every fan found, by ascending index.
  std::vector<FanCapability> fans;
  /// The SMC has a writable fan test-mode flag.
  bool hasDiagnosticLock = false;
  /// False when the SMC did not answer for some key of a fan, which may then hide it.
  bool isComplete = true;

  std::vector<int> fanIndices() const;
  const FanCapability* fan(int index) const;
  /// The fan of the supervised first-write test: the first controllable one, else the first, else none.
  std::optional<int> supervisedFanIndex() const;

  bool operator==(const HardwareCapabilities&) const = default;
};

/// Finds out which fans exist. Never fails: what cannot be read at the second attempt either counts as absent.
class FanCapabilityProbe {
 public:
  static constexpr int maxFanIndex = 9;

  explicit FanCapabilityProbe(SMCInterface& smc) : smc_(smc) {}

  /// Up to three key-info calls and two reads for each of ten indices, and one key-info call.
  HardwareCapabilities probe();

  static bool isWritableUInt8(const SMCKeyInfo& info);
  static bool isWritableFloat(const SMCKeyInfo& info);

 private:
  std::optional<FanCapability> probeFan(int index);
  std::optional<SMCKeyInfo> keyInfo(SMCKey key);

  SMCInterface& smc_;
  bool isComplete_ = true;
};

/// A running fan utility of another vendor.
struct CompetingFanController {
  std::string name;
  std::string executablePath;
  std::int32_t processIdentifier = 0;

  bool operator==(const CompetingFanController&) const = default;
};

/// Looks for the privileged helpers of other fan utilities among the running processes. Never fails: what cannot be
/// listed does not match. Walks every process: not for the main thread.
namespace CompetingFanControllerDetector {

std::optional<std::string> controllerName(std::string_view executablePath);
std::optional<CompetingFanController> runningControllerDetails(const SystemInformation& system);
std::optional<std::string> runningController(const SystemInformation& system);

}  // namespace CompetingFanControllerDetector

}  // namespace halcyra
