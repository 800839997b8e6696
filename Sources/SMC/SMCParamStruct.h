#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace halcyra {

/// The record exchanged with the AppleSMC user client: 80 bytes, host byte order, the same layout both ways. An input
/// record starts all zero; only the fields of its operation are set.
struct SMCParamStruct {
  /// Operation codes (`command`).
  static constexpr std::uint8_t readBytes = 5;
  static constexpr std::uint8_t writeBytes = 6;
  static constexpr std::uint8_t readKeyIndex = 8;
  static constexpr std::uint8_t readKeyInfo = 9;
  /// The user client's only selector.
  static constexpr std::uint32_t selector = 2;
  static constexpr std::uint32_t maximumValueSize = 32;

  std::uint32_t key = 0;
  std::uint8_t versionMajor = 0;
  std::uint8_t versionMinor = 0;
  std::uint8_t versionBuild = 0;
  std::uint8_t versionReserved = 0;
  std::uint16_t versionRelease = 0;
  std::uint16_t alignment0 = 0;
  std::uint16_t powerLimitVersion = 0;
  std::uint16_t powerLimitLength = 0;
  std::uint32_t cpuPowerLimit = 0;
  std::uint32_t gpuPowerLimit = 0;
  std::uint32_t memoryPowerLimit = 0;
  std::uint32_t keyInfoDataSize = 0;
  std::uint32_t keyInfoDataType = 0;
  std::uint8_t keyInfoAttributes = 0;
  std::array<std::uint8_t, 3> alignment1{};
  std::uint8_t result = 0;
  std::uint8_t status = 0;
  std::uint8_t command = 0;
  std::uint8_t alignment2 = 0;
  std::uint32_t data32 = 0;
  std::array<std::uint8_t, maximumValueSize> bytes{};

  bool operator==(const SMCParamStruct&) const = default;
};

static_assert(std::is_trivially_copyable_v<SMCParamStruct> && std::is_standard_layout_v<SMCParamStruct>);
static_assert(sizeof(SMCParamStruct) == 80);
static_assert(offsetof(SMCParamStruct, powerLimitVersion) == 12);
static_assert(offsetof(SMCParamStruct, keyInfoDataSize) == 28);
static_assert(offsetof(SMCParamStruct, keyInfoAttributes) == 36);
static_assert(offsetof(SMCParamStruct, result) == 40);
static_assert(offsetof(SMCParamStruct, command) == 42);
static_assert(offsetof(SMCParamStruct, data32) == 44);
static_assert(offsetof(SMCParamStruct, bytes) == 48);

}  // namespace halcyra
