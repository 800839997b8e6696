#pragma once

#include <cstdint>
#include <map>
#include <optional>

namespace halcyra {

/// Keeps at most one target write per fan in flight and, meanwhile, only the newest request. Main thread only.
class FanTargetWriteCoalescer {
 public:
  /// The target to send now, or nothing when it has been parked behind the write in flight.
  std::optional<std::int64_t> request(int fan, std::int64_t target);
  /// To be called with the outcome of a write; the next target to send for the fan, or nothing. A failed write drops
  /// the parked target as well.
  std::optional<std::int64_t> complete(int fan, bool succeeded);
  /// The newest target known for the fan: the parked one, else the one in flight.
  std::optional<std::int64_t> latestTarget(int fan) const;
  /// Forgets everything; answers of writes still out must not be completed afterwards.
  void reset();

  const std::map<int, std::int64_t>& inFlight() const { return inFlight_; }
  const std::map<int, std::int64_t>& pending() const { return pending_; }

 private:
  std::map<int, std::int64_t> inFlight_;
  std::map<int, std::int64_t> pending_;
};

}  // namespace halcyra
