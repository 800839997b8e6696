#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "App/Control/Confidence.h"
#include "App/Replies.h"
#include "Client/TelemetryPoller.h"
#include "Helpers/PowerLifecycleState.h"
#include "Platform/Platform.h"

namespace halcyra {

/// Reads the machine again and again, and knows how far the readings can be trusted. At most one read is out and one
/// more asked for. Main queue only.
class Telemetry {
 public:
  struct Handlers {
    /// A poll is due, whether or not a read is still out.
    std::function<void()> polling;
    std::function<void(TelemetrySnapshot)> received;
    /// `isStale`: everything derived from earlier readings is worthless now.
    std::function<void(const Error&, bool isStale)> failed;
  };

  /// So many failed reads in a row make everything derived from telemetry worthless.
  static constexpr int staleAfterFailures = 2;

  /// What is handed in outlives it.
  Telemetry(Platform& platform, const Replies& replies, Handlers handlers);
  ~Telemetry();

  /// Opens the machine and waits for it; throws `SMCError`. When it fails, each read tries again.
  void open() { poller_.open(); }
  /// Polls now and then every `interval`; does nothing while the machine sleeps or after `close`.
  void start(Seconds interval);
  /// Asks for one read now; requests made while one is out fold into one more.
  void poll();
  void willSleep();
  void didWake();
  /// No read is applied any more. One-way.
  void terminate();
  /// Ends the reading for good and waits for a call that is out.
  void close() { poller_.close(); }

  /// Neither asleep nor terminating.
  bool isActive() const { return !power_.isSleeping() && !terminating_; }
  bool isTerminating() const { return terminating_; }
  bool hasFailed() const { return failures_ > 0; }
  /// A read of this power generation has succeeded, whatever its age.
  bool hasRead() const { return reading_.has_value(); }
  /// None without a fresh reading.
  std::optional<Confidence> confidence() const;

 private:
  void receive(TelemetryResult result, std::uint64_t generation, Instant began);
  void fail(const Error& error, bool isStale);
  void watchAge();

  Platform& platform_;
  const Replies& replies_;
  Handlers handlers_;
  TelemetryPoller poller_;
  PowerLifecycleState power_;
  std::unique_ptr<Timer> timer_;
  /// Fires when the last reading is too old.
  std::unique_ptr<Timer> age_;
  /// When the last good read of this power generation began; none once it has been found too old.
  std::optional<Instant> reading_;
  int failures_ = 0;
  bool inFlight_ = false;
  bool requested_ = false;
  bool terminating_ = false;
};

}  // namespace halcyra
