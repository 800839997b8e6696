#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "App/Control/ControlParts.h"
#include "App/Control/ControlStatus.h"
#include "App/Control/PresetControl.h"
#include "Helpers/FanControlOwnership.h"
#include "Helpers/PresetSelectionStore.h"

namespace halcyra {

/// The life of the selected preset, from the choice until it drives the fans: what it needs, when it is tried again,
/// and the taking of the fans one after another. Main queue only.
class PresetActivation {
 public:
  enum class Manner {
    chosen,
    /// A passing failure to start is not shown and tried again.
    restored,
  };

  /// What is true of the rest of control; asked whenever it counts.
  struct Conditions {
    FanControlOwnership ownership = FanControlOwnership::aerovane;
    std::optional<std::string> competitor;
    bool testHasPassed = false;
  };

  static constexpr Seconds retryDelay{5.0};

  PresetActivation(const ControlSurroundings& with, ControlSession& session, PresetControl& presets,
                   ControlOrders& orders, std::function<Conditions()> conditions);

  /// The selected preset, whether or not it drives the fans at the moment.
  const FanPreset& active() const { return *active_; }
  bool isPresetSelected() const { return active_->kind != PresetKind::system; }

  /// At the start: `preset` is shown, and restored once everything that it needs is there.
  void remember(const FanPreset& preset);
  /// Ignored while busy, but for Apple Default, which is always possible.
  void activate(const FanPreset& preset, Manner manner);
  /// To be called after each poll that was applied.
  void restoreIfReady();
  /// A preset of the library has changed.
  void update(const FanPreset& preset);
  /// A preset is about to be deleted.
  void forget(const UUID& id);

  /// For a hand-back. What is kept is restored when its conditions hold.
  void keepSelection();
  void dropSelection();
  void retryAtOnce() { retry_ = {}; }
  void retryAfter(Seconds delay);
  /// Not before something else changes.
  void blockRetry() { retry_ = {.isBlocked = true, .notBefore = {}}; }
  /// Takes back what was said of a choice that is possible by now.
  void reviewRefusal();

  ControlStatus status() const;
  /// Of a conflict with `name`.
  std::string conflictMessage(const std::string& name) const;

 private:
  struct Retry {
    bool isBlocked = false;
    std::optional<Instant> notBefore;
  };
  /// Why a choice was refused or put off.
  enum class Refusal { none, monitoringOnly, unsupported, noFans, notReady };

  void selectSystem();
  Refusal refusal() const;
  void say(Refusal refusal);
  void select(const FanPreset& preset);
  bool postpone();
  void begin(const FanPreset& preset, Manner manner);
  void judgeStart(const FanPreset& preset, Manner manner, const PropertyList& status, std::optional<Error> error);
  void takeFans();
  void takeNextFan(std::vector<int> indices, const FanPreset& preset);
  void setFirstTarget(int index, const std::vector<int>& others, const FanPreset& preset);
  void finish(const FanPreset& preset);
  void handBackStale() { orders_.handBack({.reason = staleTelemetryReason}, {}); }

  ControlSurroundings with_;
  ControlSession& session_;
  PresetControl& presets_;
  ControlOrders& orders_;
  std::function<Conditions()> conditions_;
  PresetSelectionStore store_;
  Published<FanPreset> active_;
  /// To be activated once everything that it needs is there.
  std::optional<FanPreset> pending_;
  Retry retry_;
  Refusal refused_ = Refusal::none;
  /// Chosen before it was known whether the machine is supported.
  bool isUndecided_ = false;
};

}  // namespace halcyra
