#include "Daemon/FanStatusReport.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "SMC/FanInfo.h"
#include "SMC/SMCError.h"
#include "XPC/FanControlXPC.h"
#include "XPC/HelperReplyKey.h"

namespace halcyra {
namespace {

struct FlatKeys {
  std::string_view mode, actual, minimum, maximum, target;
};

constexpr std::array<FlatKeys, 2> flatKeys = {{
    {HelperReplyKey::fan0Mode, HelperReplyKey::fan0Actual, HelperReplyKey::fan0Minimum, HelperReplyKey::fan0Maximum,
     HelperReplyKey::fan0Target},
    {HelperReplyKey::fan1Mode, HelperReplyKey::fan1Actual, HelperReplyKey::fan1Minimum, HelperReplyKey::fan1Maximum,
     HelperReplyKey::fan1Target},
}};

void set(PropertyList& dictionary, std::string_view key, PropertyList value) {
  dictionary[std::string(key)] = std::move(value);
}

void setRPM(PropertyList& dictionary, std::string_view name, SMCInterface& smc, int fan, std::string_view suffix) {
  try {
    set(dictionary, name, smc.readFanRPM(SMCKey::fan(fan, suffix)));
  } catch (const SMCError&) {
  }
}

void setMode(PropertyList& dictionary, SMCInterface& smc, int fan) {
  try {
    const SMCValue value = smc.readKey(SMCKey::fan(fan, "Md"));
    if (const std::uint8_t* raw = value.asUInt8()) {
      set(dictionary, HelperReplyKey::fanMode, static_cast<std::int64_t>(fanModeFromSafeRaw(*raw)));
    }
  } catch (const SMCError&) {
  }
}

void copy(const PropertyList& from, std::string_view key, PropertyList& to, std::string_view flatKey) {
  if (const PropertyList* value = entry(from, key)) {
    set(to, flatKey, *value);
  }
}

void setFlat(PropertyList& status, const PropertyList& fan, const FlatKeys& keys) {
  copy(fan, HelperReplyKey::fanMode, status, keys.mode);
  copy(fan, HelperReplyKey::fanActual, status, keys.actual);
  copy(fan, HelperReplyKey::fanMinimum, status, keys.minimum);
  copy(fan, HelperReplyKey::fanMaximum, status, keys.maximum);
  copy(fan, HelperReplyKey::fanTarget, status, keys.target);
}

std::optional<std::int64_t> readTestMode(SMCInterface& smc) {
  try {
    const SMCValue value = smc.readKey(SMCKey::fanTestMode);
    if (const std::uint8_t* raw = value.asUInt8()) {
      return *raw;
    }
    if (const std::uint32_t* raw = value.asUInt32()) {
      return *raw;
    }
    throw SMCError::readFailed("Ftst returned no integer");
  } catch (const SMCError& error) {
    if (error.kind() == SMCError::Case::keyNotFound) {
      return std::nullopt;
    }
    throw;
  }
}

}  // namespace

PropertyList fanDictionary(SMCInterface& smc, const FanCapability& fan) {
  PropertyList dictionary = PropertyList::object();
  set(dictionary, HelperReplyKey::fanIndex, static_cast<std::int64_t>(fan.index));
  setMode(dictionary, smc, fan.index);
  setRPM(dictionary, HelperReplyKey::fanActual, smc, fan.index, "Ac");
  setRPM(dictionary, HelperReplyKey::fanMinimum, smc, fan.index, "Mn");
  setRPM(dictionary, HelperReplyKey::fanMaximum, smc, fan.index, "Mx");
  setRPM(dictionary, HelperReplyKey::fanTarget, smc, fan.index, "Tg");
  set(dictionary, HelperReplyKey::fanControllable, fan.isControllable());
  return dictionary;
}

PropertyList statusDictionary(SMCInterface& smc, const HardwareCapabilities& capabilities) {
  PropertyList status = PropertyList::object();
  set(status, HelperReplyKey::protocolVersion, FanControlXPC::protocolVersion);
  set(status, HelperReplyKey::fanCount, static_cast<std::int64_t>(capabilities.fans.size()));
  if (const auto testMode = readTestMode(smc)) {
    set(status, HelperReplyKey::fanTestMode, *testMode);
  }
  PropertyList fans = PropertyList::array();
  for (const FanCapability& fan : capabilities.fans) {
    fans.push_back(fanDictionary(smc, fan));
    if (static_cast<std::size_t>(fan.index) < flatKeys.size()) {
      setFlat(status, fans.back(), flatKeys[static_cast<std::size_t>(fan.index)]);
    }
  }
  set(status, HelperReplyKey::fans, std::move(fans));
  return status;
}

}  // namespace halcyra
