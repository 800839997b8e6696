#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "App/Control/ConflictMonitor.h"
#include "App/Control/HandBack.h"
#include "App/Control/PresetActivation.h"
#include "App/Control/SupervisedTest.h"

namespace halcyra {

/// Fan control as a whole: owns its parts, carries out every hand-back, and turns what happens elsewhere (a poll,
/// sleep, another utility, the end) into orders to them. Main queue only.
class FanControl : private ControlOrders {
 public:
  static constexpr Seconds ownershipRestoreDelay{1.0};

  FanControl(const ControlSurroundings& with, const std::shared_ptr<HelperClient>& helper);

  // What is published.

  const FanPreset& activePreset() const { return activation_.active(); }
  FanControlOwnership ownership() const { return *ownership_; }
  const std::optional<std::string>& competitor() const { return conflict_.competitor(); }
  /// The text of the conflict that stands, for its banner.
  const std::optional<std::string>& conflictMessage() const { return conflictMessage_; }
  bool isBusy() const { return session_.isBusy(); }
  ControlStatus status() const { return activation_.status(); }
  const SupervisedTest& supervisedTest() const { return test_; }
  const ControlSession& session() const { return session_; }
  /// Which fans may still be manual, and why; none when they are known to be automatic.
  std::optional<std::string> handBackFailure() const { return handBack_.failure(); }

  // Commands.

  void remember(const FanPreset& preset) { activation_.remember(preset); }
  void activate(const FanPreset& preset, bool quietTransientRetry) {
    using Manner = PresetActivation::Manner;
    activation_.activate(preset, quietTransientRetry ? Manner::restored : Manner::chosen);
  }
  void handBack(const HandBackRequest& request, std::function<void()> completion) override;
  void setOwnership(FanControlOwnership ownership);
  void runSupervisedTest();
  void presetEdited(const FanPreset& preset) { activation_.update(preset); }
  /// Before the preset is deleted.
  void presetDeleted(const UUID& id);

  // What happens.

  void polling() { conflict_.request(); }
  /// A poll has been applied to the machine and the temperatures.
  /// `fansWithBadLimits` it has left out.
  void received(const std::vector<int>& fansWithBadLimits);
  void telemetryFailed(bool isStale);
  void sessionLost(const Error& error);
  /// Hands back, and lets the machine sleep once that is confirmed or waited for long enough.
  void willSleep(std::function<void()> allowSleep);
  void didWake();
  /// The same for the end of the program; `notice` (may be empty) is called when it takes long.
  void terminate(std::function<void()> notice, std::function<void()> completion);

 private:
  void failSafe(const Error& error) override;
  void finishHandBack(std::uint64_t generation, const HandBackRequest& request, const HandBackResult& result);
  void competitorChanged();
  void noteCompetitor(const std::string& name);
  void noteCompetitorGone();
  void clearConflictMessage();
  void watchCompetitor();
  bool isOurs() const { return *ownership_ == FanControlOwnership::aerovane; }

  ControlSurroundings with_;
  FanControlOwnershipStore ownershipStore_;
  Published<FanControlOwnership> ownership_;
  ControlSession session_;
  HandBack handBack_;
  PresetControl presets_;
  SupervisedTest test_;
  ConflictMonitor conflict_;
  PresetActivation activation_;
  /// The competitor that was acted upon.
  std::optional<std::string> knownCompetitor_;
  std::optional<std::string> conflictMessage_;
};

}  // namespace halcyra
