#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "App/Control/ControlParts.h"
#include "App/Control/PresetTarget.h"

namespace halcyra {

/// Has the fans of a session follow a preset: the first target of each, and the target of each poll. Main queue only.
class PresetControl {
 public:
  PresetControl(const ControlSurroundings& with, ControlSession& session) : with_(with), session_(session) {}

  /// Forgets what was remembered for an earlier preset, and makes the curves of this one.
  void prepare(const FanPreset& preset);
  /// Forgets everything, as a hand-back does.
  void reset();
  /// The preset was edited while its fans were taken: its curves are made anew.
  void forgetCurves() { memory_.curves.clear(); }

  /// The first target of a fan whose limits are usable, RPM.
  std::int64_t firstTarget(const FanInfo& fan, const FanPreset& preset);
  /// Writes the targets that are due.
  void follow(const FanPreset& preset);

  /// Whether a range of speeds can be formed; where not, it is logged once.
  bool hasUsableLimits(const FanInfo& fan);
  /// A session has begun: which fans it will never offer.
  void noteMonitorOnlyFans();
  /// Hands back, alone, each controllable fan that the last poll did not report or whose limits are impossible.
  void releaseLostFans();
  /// A fan that a session had to leave alone, for want of its target or of usable limits, and that could be taken by a
  /// new one now.
  std::optional<int> returnedFan();
  void noteLost(int fan) { lost_.insert(fan); }

 private:
  TargetReadings readings(int fan) const;
  void noteBoost();
  void noteTier(int fan, double temperature);
  void logDecision(int fan, std::int64_t target, std::string_view reason);
  void apply(const FanInfo& fan, const FanPreset& preset, const Confidence& confidence);

  ControlSurroundings with_;
  ControlSession& session_;
  PresetMemory memory_;
  std::map<int, int> lastTier_;
  std::map<int, std::string> lastLoggedDriver_;
  bool wasBoosting_ = false;
  /// Fans whose impossible limits have been logged.
  std::set<int> badLimits_;
  /// Fans that could not be driven in some poll since they were last seen under control.
  std::set<int> lost_;
  /// Fans that the helper did not offer although their target could be read: no new session would change that.
  std::set<int> monitorOnly_;
};

}  // namespace halcyra
