#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Helpers/CPUCoreAverage.h"
#include "Helpers/ThermalChannel.h"
#include "SMC/SMCInterface.h"

namespace halcyra {

/// One listed sensor.
struct SensorReading {
  std::string keyName = {};
  /// Equal to the key name for discovered sensors.
  std::string displayName = {};
  /// °C.
  double value = 0;
  std::string unit = "°C";

  bool operator==(const SensorReading&) const = default;
};

/// Discovers the SMC's temperature keys, reads them, and condenses the die sensors into aggregates and fan zones.
/// Discovery happens once, at the first read that finds any; the die channels are frozen at the first read in which
/// enough of them were valid. To be used from one serial context at a time. Failures are thrown as `SMCError`.
class SensorReader {
 public:
  /// Die channels of the one verified model. Bank A and the left chassis keys feed fan 0 (left), bank B and the right
  /// chassis keys fan 1 (right).
  static constexpr std::array<SMCKey, 4> m3EfficiencyCoreKeys{SMCKey::fromString("Te05"), SMCKey::fromString("Te0L"),
                                                              SMCKey::fromString("Te0P"), SMCKey::fromString("Te0S")};
  static constexpr std::array<SMCKey, 6> m3PerformanceBankAKeys{SMCKey::fromString("Tf04"), SMCKey::fromString("Tf09"),
                                                                SMCKey::fromString("Tf0A"), SMCKey::fromString("Tf0B"),
                                                                SMCKey::fromString("Tf0D"), SMCKey::fromString("Tf0E")};
  static constexpr std::array<SMCKey, 6> m3PerformanceBankBKeys{SMCKey::fromString("Tf44"), SMCKey::fromString("Tf49"),
                                                                SMCKey::fromString("Tf4A"), SMCKey::fromString("Tf4B"),
                                                                SMCKey::fromString("Tf4D"), SMCKey::fromString("Tf4E")};
  static constexpr std::array<SMCKey, 4> m3GPUClusterBankAKeys{SMCKey::fromString("Tf14"), SMCKey::fromString("Tf18"),
                                                               SMCKey::fromString("Tf19"), SMCKey::fromString("Tf1A")};
  static constexpr std::array<SMCKey, 4> m3GPUClusterBankBKeys{SMCKey::fromString("Tf24"), SMCKey::fromString("Tf28"),
                                                               SMCKey::fromString("Tf29"), SMCKey::fromString("Tf2A")};
  /// Efficiency keys, then bank A, then bank B.
  static const std::array<SMCKey, 16> m3CPUCoreKeys;
  /// Bank A, then bank B.
  static const std::array<SMCKey, 8> m3GPUClusterKeys;
  static constexpr std::array<SMCKey, 5> m3LeftChassisKeys{SMCKey::fromString("TaLP"), SMCKey::fromString("TaLT"),
                                                           SMCKey::fromString("TaLW"), SMCKey::fromString("TDeL"),
                                                           SMCKey::fromString("Ts0P")};
  static constexpr std::array<SMCKey, 5> m3RightChassisKeys{SMCKey::fromString("TaRF"), SMCKey::fromString("TaRT"),
                                                            SMCKey::fromString("TaRW"), SMCKey::fromString("TDeR"),
                                                            SMCKey::fromString("Ts1P")};
  static constexpr SMCKey cpuHotspotKey = SMCKey::fromString("TCMz");
  static constexpr SMCKey gpuHotspotKey = SMCKey::fromString("TRDX");

  explicit SensorReader(SMCInterface& smc) : smc_(smc) {}

  /// More keys than any SMC has; a greater count is a misreading, and walking it would block the caller for hours.
  static constexpr std::uint32_t maximumKeyCount = 65'536;

  /// Walks the SMC's key table: two calls per key. Fails only when the number of keys cannot be read.
  std::vector<SMCKeyInfo> discoverTemperatureSensors();
  /// Every sensor that reads between −40 and 125 °C, in the order of the key table; the others are left out.
  std::vector<SensorReading> readAllTemperatures();
  /// One sensor; throws when it cannot be read or lies outside −40…125 °C.
  SensorReading readTemperature(SMCKey key, const std::string& name);
  /// Throws when too few CPU or GPU channels are valid.
  CPUCoreAverage readCPUCoreAverage();

 private:
  void discoverIfNeeded();
  bool isKnown(SMCKey key) const;
  std::vector<SMCKeyInfo> knownAmong(std::span<const SMCKey> keys) const;
  bool hasValidatedTopology() const;
  /// The sensors to read for the CPU as long as no channels are frozen.
  std::vector<SMCKeyInfo> cpuCandidates(bool hasTopology) const;
  std::optional<double> readPlausible(SMCKey key, double lower, double upper);
  ThermalChannels readDieChannels(const std::vector<SMCKeyInfo>& candidates);
  ThermalChannels readCPUChannels(bool hasTopology);
  ThermalChannels readGPUChannels();
  std::optional<double> readValidatedOptionalHotspot(SMCKey key);
  ThermalChannels readChassis(std::span<const SMCKey> keys);
  std::vector<FanZoneReading> buildFanZoneReadings(const ThermalChannels& cpu, const ThermalChannels& gpu,
                                                   double cpuAverage, std::optional<double> gpuAverage);

  SMCInterface& smc_;
  /// In the order of the key table; empty until discovery.
  std::vector<SMCKeyInfo> knownSensors_;
  /// False while some key had no answer, which the next read asks for again; nothing is frozen before.
  bool isDiscoveryOver_ = false;
  std::optional<std::vector<SMCKeyInfo>> cpuContributors_;
  std::optional<std::vector<SMCKeyInfo>> gpuContributors_;
};

inline constexpr std::array<SMCKey, 16> SensorReader::m3CPUCoreKeys = [] {
  std::array<SMCKey, 16> keys;
  auto next = std::ranges::copy(m3EfficiencyCoreKeys, keys.begin()).out;
  next = std::ranges::copy(m3PerformanceBankAKeys, next).out;
  std::ranges::copy(m3PerformanceBankBKeys, next);
  return keys;
}();

inline constexpr std::array<SMCKey, 8> SensorReader::m3GPUClusterKeys = [] {
  std::array<SMCKey, 8> keys;
  std::ranges::copy(m3GPUClusterBankBKeys, std::ranges::copy(m3GPUClusterBankAKeys, keys.begin()).out);
  return keys;
}();

}  // namespace halcyra
