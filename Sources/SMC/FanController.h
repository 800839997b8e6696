#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Platform/Log.h"
#include "SMC/FanCapability.h"
#include "SMC/FanInfo.h"
#include "SMC/SMCInterface.h"

namespace halcyra {

/// Reads and writes fans through the SMC. Every write waits until the firmware has taken the value, at most
/// `verificationTimeout`, blocking the calling thread; every failure is a thrown `SMCError`. Nothing is rolled back.
/// To be used from one serial context at a time. The connection is opened and closed by its owner.
class FanController {
 public:
  static constexpr Seconds verificationTimeout{10.0};
  static constexpr Seconds retryPeriod{0.1};
  static constexpr float targetTolerance = 2.0F;

  FanController(SMCInterface& smc, LogSink& log);

  /// The result of the first call is kept for the controller's lifetime.
  const HardwareCapabilities& probeCapabilities();
  /// The number of fans.
  std::int64_t discoverFans();
  FanInfo getFanInfo(int index);
  /// The same; nothing when no range of speeds can be formed of the fan's limits.
  std::optional<FanInfo> readFan(int index);
  void setFanMode(int index, FanMode mode);
  /// The fan must be in manual mode and `rpm` within its live limits (inclusive).
  void setFanRPM(int index, std::int64_t rpm);
  /// Hands the fan back to the firmware; writes nothing when the firmware has it already. Allowed for every index.
  void resetToAuto(int index);
  /// Sets the speed in RPM that `curve.rpm` gives at `currentTemp` °C.
  template <typename Curve>
  void applyCurve(const Curve& curve, int index, double currentTemp) {
    setFanRPM(index, curve.rpm(currentTemp));
  }

 private:
  void validate(int index) const;
  /// The index is checked before the SMC is touched.
  const FanCapability& requireKnown(int index);
  void requireControllable(int index);
  FanMode readMode(int index);
  bool readsBack(SMCKey key, std::uint8_t expected);
  void writeModeWithTransientRetry(SMCKey key, std::uint8_t expected, const std::string& failureMessage);

  SMCInterface& smc_;
  Logger logger_;
  std::optional<HardwareCapabilities> cachedCapabilities_;
};

}  // namespace halcyra
