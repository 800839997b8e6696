#include "App/HelperPreflight.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string_view>

#include "XPC/FanControlXPC.h"
#include "XPC/HelperReplyKey.h"

namespace halcyra {

namespace {

constexpr std::int64_t supervisedTestStep = 500;

std::optional<int> fanIndexEntry(const PropertyList& fan) {
  const auto index = integerEntry(fan, HelperReplyKey::fanIndex);
  if (!index || *index < 0 || *index > std::numeric_limits<int>::max()) {
    return std::nullopt;
  }
  return static_cast<int>(*index);
}

/// True for an absent entry too; false for one that is there and is no integer.
bool isAbsentOrZero(const PropertyList& reply, std::string_view key) {
  return entry(reply, key) == nullptr || integerEntry(reply, key) == 0;
}

struct FanKeys {
  std::string_view actual, target, minimum, maximum;
};

constexpr FanKeys listedFanKeys{HelperReplyKey::fanActual, HelperReplyKey::fanTarget, HelperReplyKey::fanMinimum,
                                HelperReplyKey::fanMaximum};
constexpr FanKeys flatFan0Keys{HelperReplyKey::fan0Actual, HelperReplyKey::fan0Target, HelperReplyKey::fan0Minimum,
                               HelperReplyKey::fan0Maximum};

std::optional<SupervisedFan> readFan(const PropertyList& dictionary, std::optional<int> index, const FanKeys& keys) {
  const auto actual = integerEntry(dictionary, keys.actual);
  const auto target = integerEntry(dictionary, keys.target);
  const auto minimum = integerEntry(dictionary, keys.minimum);
  const auto maximum = integerEntry(dictionary, keys.maximum);
  if (!index || !actual || !target || !minimum || !maximum) {
    return std::nullopt;
  }
  return SupervisedFan{*index, *actual, *target, *minimum, *maximum};
}

}  // namespace

bool preflightIsClean(const PropertyList& reply) {
  if (integerEntry(reply, HelperReplyKey::protocolVersion) != FanControlXPC::protocolVersion ||
      !integerEntry(reply, HelperReplyKey::fanCount) || !isAbsentOrZero(reply, HelperReplyKey::fanTestMode)) {
    return false;
  }
  if (const PropertyList* fans = dictionaryArrayEntry(reply, HelperReplyKey::fans)) {
    return std::all_of(fans->begin(), fans->end(),
                       [](const PropertyList& fan) { return integerEntry(fan, HelperReplyKey::fanMode) == 0; });
  }
  return isAbsentOrZero(reply, HelperReplyKey::fan0Mode) && isAbsentOrZero(reply, HelperReplyKey::fan1Mode);
}

std::optional<SupervisedFan> supervisedFan(const PropertyList& reply) {
  const PropertyList* fans = dictionaryArrayEntry(reply, HelperReplyKey::fans);
  if (fans == nullptr) {
    return readFan(reply, 0, flatFan0Keys);
  }
  const auto order = [](const PropertyList& fan) {
    return fanIndexEntry(fan).value_or(std::numeric_limits<int>::max());
  };
  const auto first = std::min_element(
      fans->begin(), fans->end(), [&](const PropertyList& a, const PropertyList& b) { return order(a) < order(b); });
  return first == fans->end() ? std::nullopt : readFan(*first, fanIndexEntry(*first), listedFanKeys);
}

std::optional<std::int64_t> supervisedTestTarget(const SupervisedFan& fan) {
  const std::int64_t present = std::max({fan.actual, fan.target, fan.minimum});
  constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max() - supervisedTestStep;
  const std::int64_t target = std::min(fan.maximum, std::min(present, highest) + supervisedTestStep);
  if (target < fan.target || target <= fan.actual) {
    return std::nullopt;
  }
  return target;
}

std::set<int> helperControllableFans(const PropertyList& reply, const std::vector<FanInfo>& published) {
  std::set<int> indices;
  if (const PropertyList* fans = dictionaryArrayEntry(reply, HelperReplyKey::fans)) {
    for (const PropertyList& fan : *fans) {
      const auto index = fanIndexEntry(fan);
      if (index && booleanEntry(fan, HelperReplyKey::fanControllable) == true) {
        indices.insert(*index);
      }
    }
    return indices;
  }
  for (const FanInfo& fan : published) {
    indices.insert(fan.index);
  }
  return indices;
}

}  // namespace halcyra
