#include "Helpers/FanTargetWriteCoalescer.h"

namespace halcyra {

namespace {

std::optional<std::int64_t> value(const std::map<int, std::int64_t>& targets, int fan) {
  const auto found = targets.find(fan);
  return found == targets.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace

std::optional<std::int64_t> FanTargetWriteCoalescer::request(int fan, std::int64_t target) {
  if (inFlight_.contains(fan)) {
    pending_[fan] = target;
    return std::nullopt;
  }
  inFlight_[fan] = target;
  return target;
}

std::optional<std::int64_t> FanTargetWriteCoalescer::complete(int fan, bool succeeded) {
  const std::optional<std::int64_t> written = value(inFlight_, fan);
  const std::optional<std::int64_t> next = value(pending_, fan);
  inFlight_.erase(fan);
  pending_.erase(fan);
  if (!succeeded || !next || next == written) {
    return std::nullopt;
  }
  inFlight_[fan] = *next;
  return next;
}

std::optional<std::int64_t> FanTargetWriteCoalescer::latestTarget(int fan) const {
  const std::optional<std::int64_t> parked = value(pending_, fan);
  return parked ? parked : value(inFlight_, fan);
}

void FanTargetWriteCoalescer::reset() {
  inFlight_.clear();
  pending_.clear();
}

}  // namespace halcyra
