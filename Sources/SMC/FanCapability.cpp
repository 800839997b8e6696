#include "SMC/FanCapability.h"

#include <algorithm>
#include <array>

#include "SMC/AskTwice.h"

namespace halcyra {

namespace {

bool isWritable(const SMCKeyInfo& info, std::uint32_t size, std::string_view type) {
  return (info.dataAttributes & SMCKeyInfo::writableAttribute) != 0 && info.dataSize == size &&
         trimmedTypeName(info.dataType) == type;
}

std::optional<std::int64_t> readBound(SMCInterface& smc, SMCKey key) {
  bool isAnswered = true;
  const std::optional<std::int64_t> rpm = askTwice(isAnswered, [&] { return smc.readFanRPM(key); });
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
  isComplete_ = true;
  for (int index = 0; index <= maxFanIndex; ++index) {
    if (const std::optional<FanCapability> capability = probeFan(index)) {
      capabilities.fans.push_back(*capability);
    }
  }
  capabilities.isComplete = isComplete_;
  const auto testMode = keyInfo(SMCKey::fanTestMode);
  capabilities.hasDiagnosticLock = testMode && isWritableUInt8(*testMode);
  return capabilities;
}

std::optional<SMCKeyInfo> FanCapabilityProbe::keyInfo(SMCKey key) {
  return askTwice(isComplete_, [&] { return smc_.getKeyInfo(key); });
}

std::optional<FanCapability> FanCapabilityProbe::probeFan(int index) {
  const auto actual = keyInfo(SMCKey::fan(index, "Ac"));
  const auto mode = keyInfo(SMCKey::fan(index, "Md"));
  const auto target = keyInfo(SMCKey::fan(index, "Tg"));
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
