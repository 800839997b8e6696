#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Support/ClosedLoop.h"

namespace halcyra::test {

/// So many seconds after a message of an activation has been sent.
struct ActivationMoment {
  std::string_view selector;
  double delay = 0;

  std::string name() const;
};

/// On the way of each message, and while what it asks for is being done.
extern const std::vector<ActivationMoment> activationMoments;

/// A closed loop whose machine is watched while faults happen to it. Every 100 ms of virtual time the machine's own
/// truth is looked at, and every write that the firmware accepts is judged as it comes:
/// - a fan is in manual mode only while the helper has a session, or for at most `allowance` after it had one;
/// - a fan that was handed back is not driven until a new session has begun;
/// - no target lies outside the fan's limits.
/// What breaks one of these fails the test.
class FaultBench {
 public:
  /// What had happened by some moment.
  struct Mark {
    double time = 0;
    std::size_t writes = 0;
    std::size_t sessions = 0;
  };

  explicit FaultBench(const std::string& workload = "idle", std::uint64_t seed = 7);
  ~FaultBench() { loop.machine.setWriteObserver({}); }
  FaultBench(const FaultBench&) = delete;
  FaultBench& operator=(const FaultBench&) = delete;

  /// Starts the application and waits for its first reading.
  void start();
  /// Selects the preset and waits until it drives both fans. A custom preset is saved first.
  void drive(const FanPreset& preset);
  /// The same, from a start.
  void startDriving(const FanPreset& preset);
  /// Selects the preset, and stops at this moment of its activation.
  void activateUpTo(const ActivationMoment& moment, const FanPreset& preset = FanPreset::fullBlast());
  /// Hands a command to the model on its main queue, for when time goes on.
  void post(const std::function<void(AppModel&)>& work);
  /// The same, and lets it take effect at once.
  void command(const std::function<void(AppModel&)>& work);

  void run(double seconds);
  /// Looks every 100 ms; false when `limit` seconds passed first.
  bool until(const std::function<bool()>& done, double limit);
  /// To the piece of work after which the message has been sent once more. False after `limit` seconds.
  bool untilSent(std::string_view selector, double limit = 30);
  /// To the piece of work after which the firmware has taken one more write.
  bool untilWritten(double limit = 30);

  Mark mark() const { return {loop.now(), loop.writes.size(), sessionsBegun()}; }
  std::size_t sessionsBegun() const { return loop.helperLog.count(" begins"); }
  /// Commands to a fan since then: everything but handing back.
  std::size_t driveWritesSince(const Mark& mark) const;
  /// Targets written since then, of one fan.
  std::vector<double> targetsSince(const Mark& mark, int fan) const;
  double targetOf(int fan) { return loop.truth().fans.at(static_cast<std::size_t>(fan)).target; }
  /// The model says so, and the machine: both fans are manual, at the preset's speeds where it has fixed ones.
  bool isUnderControl(const FanPreset& preset);

  /// Both fans come to be automatic within so many seconds.
  void expectHandedBackWithin(double seconds);
  /// Both fans are automatic all the time, and nothing drives them.
  void expectStaysHandedBack(double seconds);
  /// The preset drives both fans again within so many seconds, in exactly `sessions` new sessions since the mark.
  void expectRestored(const FanPreset& preset, const Mark& since, std::size_t sessions = 1, double seconds = 60);
  /// The same session has driven the fans all the time.
  void expectUntouched(const FanPreset& preset, const Mark& since);

  /// Seconds for which a fan may be manual without a session. By default as long as a hand-back takes.
  double allowance = 2.0;
  ClosedLoop loop;

 private:
  void judge(const std::string& key, double value);
  void look();
  bool helperHasSession() const { return loop.helper && loop.helper->daemon->hasSession(); }

  double lastLive_ = 0;
  /// Once is enough.
  bool complained_ = false;
  /// The sessions begun when each fan was last handed back.
  std::map<char, std::size_t> handedBackAt_;
};

}  // namespace halcyra::test
