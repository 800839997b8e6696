#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/FanControlHelper.h"
#include "Platform/IOKit.h"
#include "SMC/SMCKey.h"
#include "Support/VirtualScheduler.h"

namespace halcyra::test {

/// One control session as the messages on the bus have it. Times in seconds since the start.
struct ObservedSession {
  std::string id;
  std::string connection;
  /// Of the application.
  std::int32_t processID = 0;
  std::shared_ptr<VirtualProcess> helper;
  double begun = 0;
  double lastHeartbeat = 0;
  /// When the message came that ends it or asks for the fans back, or its client's or its own process was gone.
  std::optional<double> ended;
  /// Commands received and not yet answered.
  int commandsOut = 0;
};

/// The sessions, told from what the helper's listener receives and answers.
class SessionRecord {
 public:
  explicit SessionRecord(std::function<double()> now) : now_(std::move(now)) {}

  std::unique_ptr<FanControlHelperListener> tap(std::unique_ptr<FanControlHelperListener> inner,
                                                std::shared_ptr<VirtualProcess> process);

  /// Newest last; those of the last minute at least.
  const std::vector<ObservedSession>& sessions() const { return sessions_; }
  /// The one that has not ended; null for none.
  const ObservedSession* live() const;
  /// The one that an application began last; null for none.
  const ObservedSession* lastOf(std::int32_t processID) const;
  /// Notes helpers that have been killed, and forgets what is long past.
  void update();

 private:
  class Tap;
  void received(const FanControlHelperCaller& caller, const std::string& selector, const PropertyList& arguments);
  void answered(const std::shared_ptr<VirtualProcess>& helper, const FanControlHelperCaller& caller,
                const std::string& selector, const PropertyList& arguments, double receivedAt, bool succeeded);
  ObservedSession* find(const std::string& id);
  template <typename Condition>
  void endWhere(Condition condition);

  std::function<double()> now_;
  std::vector<ObservedSession> sessions_;
};

/// What one application has made of its machine, told from the answers of its driver.
///
/// A round is what it reads for one poll: the fans, the dies in question, then the list of all sensors. A round counts
/// as *confident* when fans and nearly all dies gave plausible values, as *blind* when too few did for any reader that
/// refuses garbage; what lies between is for nobody outside to judge.
class TelemetryRecord {
 public:
  /// Die readings outside this are garbage, °C.
  static constexpr double leastPlausible = 20;
  static constexpr double mostPlausible = 115;
  static constexpr double criticalTemperature = 105;

  explicit TelemetryRecord(std::function<double()> now) : now_(std::move(now)) {}

  std::unique_ptr<IOKit> tap(IOKit& inner);

  /// When a confident round last had a die reading of `criticalTemperature` or more; nothing before the first.
  std::optional<double> lastCritical() const { return lastCritical_; }
  /// Blind rounds in a row, the round under way not counted.
  int blindRounds() const { return blindRounds_; }

 private:
  class Tap;
  struct Round {
    bool judged = false;
    bool listing = false;
    bool fanFailed = false;
    bool fanDoubtful = false;
    int fanReads = 0;
    int processorReads = 0;
    int processorPlausible = 0;
    int graphicsReads = 0;
    int graphicsPlausible = 0;
    double hottest = 0;
    std::vector<SMCKey> touched;
  };

  void called(SMCKey key, bool isInfo, bool succeeded, std::optional<double> value);
  void noteFan(SMCKey key, bool isInfo, bool succeeded, std::optional<double> value);
  void noteDie(SMCKey key, bool isInfo, bool succeeded, std::optional<double> value);
  void judge();

  std::function<double()> now_;
  Round round_;
  SMCKey lastKey_;
  int blindRounds_ = 0;
  std::optional<double> lastCritical_;
};

}  // namespace halcyra::test
