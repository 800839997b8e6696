#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include "Platform/PropertyList.h"
#include "SMC/FanInfo.h"

/// How the application judges the helper's status dictionary. What cannot be read is never taken for good.
namespace halcyra {

/// The fan of the supervised first-write test, as the helper reports it. Speeds in RPM.
struct SupervisedFan {
  int index = 0;
  std::int64_t actual = 0;
  std::int64_t target = 0;
  std::int64_t minimum = 0;
  std::int64_t maximum = 0;

  bool operator==(const SupervisedFan&) const = default;
};

/// The protocol version matches, there is a fan count, no test mode is engaged and every fan is in automatic mode.
bool preflightIsClean(const PropertyList& reply);

/// The fan with the lowest index; nothing when one of its values is missing.
std::optional<SupervisedFan> supervisedFan(const PropertyList& reply);

/// The target of the supervised test in RPM: 500 above the fan's present speed, target and minimum, but at most its
/// maximum. Nothing when that would not speed the fan up.
std::optional<std::int64_t> supervisedTestTarget(const SupervisedFan& fan);

/// The indices of the fans that the helper can control; when it does not list its fans, those of `published`.
std::set<int> helperControllableFans(const PropertyList& reply, const std::vector<FanInfo>& published);

}  // namespace halcyra
