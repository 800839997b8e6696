#include "SMC/FanCapability.h"

#include <algorithm>
#include <array>

namespace halcyra {

namespace {

/// Absent stands for every failure of the SMC. Anything else goes through: it must not pass for a missing fan.
template <typename Read>
auto optionally(Read read) -> std::optional<decltype(read())> {
  try {
    return read();
  } catch (const SMCError&) {
    return std::nullopt;
  }
}

bool isWritable(const SMCKeyInfo& info, std::uint32_t size, std::string_view type) {
  return (info.dataAttributes & SMCKeyInfo::writableAttribute) != 0 && info.dataSize == size &&
         trimmedTypeName(info.dataType) == type;
}

std::optional<std::int64_t> readBound(SMCInterface& smc, SMCKey key) {
  const std::optional<std::int64_t> rpm = optionally([&] { return smc.readFanRPM(key); });
  return rpm && *rpm > 0 ? rpm : std::nullopt;
}

}  // namespace

bool FanCapability::isControllable() const {
  return canSwitchMode && canSetTarget && minimumRPM && maximumRPM && *minimumRPM >= 1 && *maximumRPM >= *minimumRPM;
}

std::vector<int> HardwareCapabilities::fanIndices() const {
  std::vector<int> indices;
  indices.reserve(fans.size());
  for (const FanCapability& capability : fans) {
    indices.push_back(capability.index);
  }
  return indices;
}

const FanCapability* HardwareCapabilities::fan(int index) const {
  const auto found = std::ranges::find(fans, index, &FanCapability::index);
  return found == fans.end() ? nullptr : &*found;
}

std::optional<int> HardwareCapabilities::supervisedFanIndex() const {
  if (fans.empty()) {
    return std::nullopt;
  }
  const auto controllable = std::ranges::find_if(fans, &FanCapability::isControllable);
  return controllable == fans.end() ? fans.front().index : controllable->index;
}

bool FanCapabilityProbe::isWritableUInt8(const SMCKeyInfo& info) {
  return isWritable(info, 1, "ui8");
}

bool FanCapabilityProbe::isWritableFloat(const SMCKeyInfo& info) {
  return isWritable(info, 4, "flt");
}

HardwareCapabilities FanCapabilityProbe::probe() {
  HardwareCapabilities capabilities;
  for (int index = 0; index <= maxFanIndex; ++index) {
    if (const std::optional<FanCapability> capability = probeFan(index)) {
      capabilities.fans.push_back(*capability);
    }
  }
  const auto testMode = optionally([&] { return smc_.getKeyInfo(SMCKey::fanTestMode); });
  capabilities.hasDiagnosticLock = testMode && isWritableUInt8(*testMode);
  return capabilities;
}

std::optional<FanCapability> FanCapabilityProbe::probeFan(int index) {
  const auto actual = optionally([&] { return smc_.getKeyInfo(SMCKey::fan(index, "Ac")); });
  const auto mode = optionally([&] { return smc_.getKeyInfo(SMCKey::fan(index, "Md")); });
  const auto target = optionally([&] { return smc_.getKeyInfo(SMCKey::fan(index, "Tg")); });
  if (!actual && !mode && !target) {
    return std::nullopt;
  }
  return FanCapability{.index = index,
                       .canReadRPM = actual.has_value(),
                       .canSwitchMode = mode && isWritableUInt8(*mode),
                       .canSetTarget = target && isWritableFloat(*target),
                       .minimumRPM = readBound(smc_, SMCKey::fan(index, "Mn")),
                       .maximumRPM = readBound(smc_, SMCKey::fan(index, "Mx"))};
}

}  // namespace halcyra
