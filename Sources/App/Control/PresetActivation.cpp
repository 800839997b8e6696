#include "App/Control/PresetActivation.h"

#include <utility>

#include "fmt/format.h"

#include "App/ClientFailure.h"
#include "App/HelperPreflight.h"
#include "XPC/HelperXPCError.h"

namespace halcyra {

namespace {

constexpr const char* monitoringOnlyMessage =
    "Aerovane is in monitoring-only mode. Choose “Aerovane controls fans” in Settings before applying a preset.";
constexpr const char* noFansMessage =
    "No controllable fans are currently available. Aerovane will retry when they return.";
constexpr const char* notReadyMessage = "Approve the helper and complete the supervised fan test first.";

bool isTransientBeginFailure(const Error& error) {
  return HelperXPCError::isInvalidSession(error) ||
         (error.domain == HelperXPCError::domain &&
          error.code == static_cast<std::int64_t>(HelperXPCError::Code::busy)) ||
         (error.domain == cocoaErrorDomain &&
          (error.code == connectionInterruptedCode || error.code == connectionInvalidCode));
}

}  // namespace

PresetActivation::PresetActivation(const ControlSurroundings& with, ControlSession& session, PresetControl& presets,
                                   ControlOrders& orders, std::function<Conditions()> conditions)
    : with_(with),
      session_(session),
      presets_(presets),
      orders_(orders),
      conditions_(std::move(conditions)),
      store_(with.platform.userDefaults),
      active_(with.signal, FanPreset::systemDefault()) {}

void PresetActivation::remember(const FanPreset& preset) {
  active_ = preset;
  keepSelection();
}

void PresetActivation::activate(const FanPreset& preset, Manner manner) {
  const bool isWayOut = preset.kind == PresetKind::system;
  if (!with_.telemetry.isActive() || (session_.isBusy() && !isWayOut)) {
    return;
  }
  retryAtOnce();
  if (isWayOut) {
    selectSystem();
    return;
  }
  const Refusal refusal = this->refusal();
  if (refusal == Refusal::monitoringOnly || refusal == Refusal::unsupported) {
    say(refusal);
    if (refusal == Refusal::unsupported && session_.hasSession()) {
      orders_.handBack({.reason = "unverified hardware topology"}, {});
    }
    return;
  }
  // A copy: the argument may be one of the model's own presets.
  const FanPreset selected = preset;
  select(selected);
  isUndecided_ = !with_.machine.isKnown;
  if (!postpone()) {
    begin(selected, manner);
  }
}

void PresetActivation::selectSystem() {
  with_.errors.clear(ErrorCause::conflict);
  if (session_.phase() == ControlPhase::handingBack) {
    // What is to be done is under way already.
    dropSelection();
    return;
  }
  pending_.reset();
  store_.save(FanPreset::systemDefault());
  orders_.handBack({.reason = "apple default selected", .selection = Selection::drop}, {});
}

PresetActivation::Refusal PresetActivation::refusal() const {
  const Machine& machine = with_.machine;
  const Conditions conditions = conditions_();
  if (conditions.ownership == FanControlOwnership::anotherApp) return Refusal::monitoringOnly;
  if (machine.isKnown && !*machine.thermalControlSupported) return Refusal::unsupported;
  if (machine.isKnown && machine.fans->empty()) return Refusal::noFans;
  if (!conditions.testHasPassed || *machine.helperState != HelperInstallState::enabled) return Refusal::notReady;
  return Refusal::none;
}

void PresetActivation::say(Refusal refusal) {
  refused_ = refusal;
  switch (refusal) {
    case Refusal::none:
      with_.errors.clear(ErrorCause::activation);
      return;
    case Refusal::monitoringOnly:
      with_.errors.set(ErrorCause::activation, monitoringOnlyMessage);
      return;
    case Refusal::unsupported:
      with_.errors.set(ErrorCause::activation,
                       fmt::format("Fan control is hardware-verified only on Mac15,11. This {} remains in safe "
                                   "monitoring-only mode until its sensor and fan topology is validated.",
                                   with_.machine.modelIdentifier));
      return;
    case Refusal::noFans:
      with_.errors.set(ErrorCause::activation, noFansMessage);
      return;
    case Refusal::notReady:
      with_.errors.set(ErrorCause::activation, notReadyMessage);
      return;
  }
}

void PresetActivation::reviewRefusal() {
  if (std::exchange(isUndecided_, isUndecided_ && !with_.machine.isKnown) && with_.machine.isKnown && pending_ &&
      refusal() == Refusal::unsupported) {
    say(Refusal::unsupported);
  }
  if (refused_ != Refusal::none && refused_ != refusal()) {
    say(Refusal::none);
  }
}

void PresetActivation::select(const FanPreset& preset) {
  active_ = preset;
  pending_ = preset;
  store_.save(preset);
  session_.raise(ControlEvent::presetSelected);
  session_.openGeneration();
}

bool PresetActivation::postpone() {
  if (const auto competitor = conditions_().competitor) {
    with_.errors.set(ErrorCause::conflict, conflictMessage(*competitor));
    blockRetry();
    return true;
  }
  const Refusal refusal = this->refusal();
  if (refusal != Refusal::none) {
    say(refusal);
    if (session_.hasSession()) {
      retryAfter(retryDelay);
      orders_.handBack({.reason = refusal == Refusal::noFans ? noFansMessage : notReadyMessage}, {});
    }
    return true;
  }
  const auto confidence = with_.telemetry.confidence();
  if (session_.hasSession() && !confidence) {
    handBackStale();
    return true;
  }
  // The next good reading starts it.
  return !session_.hasSession() && (!confidence || !confidence->mayBegin(with_.platform.clock.steadyNow()));
}

void PresetActivation::begin(const FanPreset& preset, Manner manner) {
  const auto confidence = with_.telemetry.confidence();
  if (!confidence) {
    return;
  }
  const ControlEffect effect = session_.raise(ControlEvent::startIsDue);
  if (effect == ControlEffect::enableFans) {
    takeFans();
  } else if (effect == ControlEffect::beginSession) {
    session_.begin(*confidence, [this, preset, manner](const PropertyList& status, const std::optional<Error>& error) {
      judgeStart(preset, manner, status, error);
    });
  }
}

void PresetActivation::judgeStart(const FanPreset& preset, Manner manner, const PropertyList& status,
                                  std::optional<Error> error) {
  if (active_->id != preset.id) {
    return;
  }
  if (status.is_object()) {
    session_.setControllableFans(helperControllableFans(status, *with_.machine.fans));
    presets_.noteMonitorOnlyFans();
  }
  if (!error && (!status.is_object() || !preflightIsClean(status) || session_.controllableFans().empty())) {
    error = ClientFailure::error(ClientFailure::Case::noControllableFans);
  }
  if (!error) {
    session_.raise(ControlEvent::sessionBegan);
    takeFans();
  } else if (manner == Manner::restored && isTransientBeginFailure(*error)) {
    with_.logger.log(fmt::format("preset restore deferred ({}); retrying shortly", error->localizedDescription()));
    session_.raise(ControlEvent::startDeferred);
    // Not as it was when the session was asked for: it may have been edited since.
    keepSelection();
    retryAfter(retryDelay);
  } else {
    orders_.failSafe(*error);
  }
}

void PresetActivation::takeFans() {
  const FanPreset preset = *active_;
  presets_.prepare(preset);
  std::vector<int> indices;
  for (const FanInfo& fan : *with_.machine.fans) {
    if (session_.controllableFans().contains(fan.index) && presets_.hasUsableLimits(fan)) {
      indices.push_back(fan.index);
    }
  }
  takeNextFan(std::move(indices), preset);
}

void PresetActivation::takeNextFan(std::vector<int> indices, const FanPreset& preset) {
  if (indices.empty()) {
    if (session_.controllableFans().empty()) {
      orders_.failSafe(ClientFailure::error(ClientFailure::Case::abnormalPreflight));
    } else {
      finish(preset);
    }
    return;
  }
  const int index = indices.front();
  indices.erase(indices.begin());
  const auto confidence = with_.telemetry.confidence();
  if (!confidence) {
    handBackStale();
    return;
  }
  if (with_.machine.fan(index) == nullptr) {
    orders_.failSafe(ClientFailure::error(ClientFailure::Case::abnormalPreflight));
    return;
  }
  session_.takeFan(index, *confidence,
                   [this, index, indices, preset](const PropertyList&, const std::optional<Error>& error) {
                     if (error) {
                       orders_.failSafe(*error);
                     } else {
                       setFirstTarget(index, indices, preset);
                     }
                   });
}

void PresetActivation::setFirstTarget(int index, const std::vector<int>& others, const FanPreset& preset) {
  const auto confidence = with_.telemetry.confidence();
  if (!confidence) {
    handBackStale();
    return;
  }
  // The reading of now: polls have gone on while the mode latched.
  const FanInfo* fan = with_.machine.fan(index);
  if (fan == nullptr || !presets_.hasUsableLimits(*fan)) {
    presets_.noteLost(index);
    session_.releaseFan(index);
    takeNextFan(others, preset);
    return;
  }
  session_.setFirstTarget(index, presets_.firstTarget(*fan, preset), *confidence,
                          [this, others, preset](const PropertyList&, const std::optional<Error>& error) {
                            if (error) {
                              orders_.failSafe(*error);
                            } else {
                              takeNextFan(others, preset);
                            }
                          });
}

void PresetActivation::finish(const FanPreset& preset) {
  session_.raise(ControlEvent::fansEnabled);
  if (preset != *active_) {
    // Edited meanwhile: the curves are made anew from what is shown.
    presets_.forgetCurves();
  }
  pending_.reset();
  retryAtOnce();
  refused_ = Refusal::none;
  if (with_.errors.clearAllBut(ErrorCause::conflict)) {
    with_.logger.log("cleared resolved error after successful preset activation");
  }
  store_.save(preset);
  with_.logger.log(fmt::format("remembered preset: {}", preset.name));
  with_.telemetry.poll();
}

void PresetActivation::restoreIfReady() {
  if (isPresetSelected() && !session_.hasSession() && !pending_) {
    keepSelection();
  }
  const Instant now = with_.platform.clock.steadyNow();
  const auto confidence = with_.telemetry.confidence();
  const bool isDue = !retry_.isBlocked && (!retry_.notBefore || now >= *retry_.notBefore);
  if (!pending_ || !isDue || session_.hasSession() || session_.isBusy() || conditions_().competitor ||
      refusal() != Refusal::none || !confidence || !confidence->mayBegin(now)) {
    return;
  }
  const FanPreset preset = *std::exchange(pending_, std::nullopt);
  with_.logger.log(fmt::format("restoring remembered preset: {}", preset.name));
  activate(preset, Manner::restored);
}

void PresetActivation::update(const FanPreset& preset) {
  if (active_->id == preset.id) {
    active_ = preset;
  }
  if (pending_ && pending_->id == preset.id) {
    pending_ = preset;
  }
}

void PresetActivation::forget(const UUID& id) {
  if (store_.savedPresetID() == id) {
    pending_.reset();
    store_.save(FanPreset::systemDefault());
  }
}

void PresetActivation::keepSelection() {
  if (isPresetSelected()) {
    pending_ = *active_;
    session_.raise(ControlEvent::presetSelected);
  }
}

void PresetActivation::dropSelection() {
  active_ = FanPreset::systemDefault();
  pending_.reset();
  store_.save(FanPreset::systemDefault());
  session_.raise(ControlEvent::systemSelected);
}

void PresetActivation::retryAfter(Seconds delay) {
  retry_ = {.isBlocked = false, .notBefore = with_.platform.clock.steadyNow() + delay};
}

std::string PresetActivation::conflictMessage(const std::string& name) const {
  return fmt::format(
      "{0}'s privileged SMC helper is still running. Open {0} and use its uninstall/remove-helper option, or unload "
      "that service with administrator approval. Aerovane is keeping both fans on Apple Default and will automatically "
      "reapply {1} when the helper is gone.",
      name, active_->name);
}

ControlStatus PresetActivation::status() const {
  using Kind = ControlStatus::Kind;
  if (session_.phase() == ControlPhase::handingBack) return {Kind::handingBack, ""};
  if (session_.isBusy()) return {Kind::starting, ""};
  if (session_.isDriving()) return {Kind::driving, ""};
  if (!isPresetSelected()) return {Kind::firmware, ""};
  const Conditions conditions = conditions_();
  const auto confidence = with_.telemetry.confidence();
  switch (refusal()) {
    case Refusal::monitoringOnly:
      return {Kind::monitoringOnly, "another app controls the fans"};
    case Refusal::unsupported:
      return {Kind::monitoringOnly, "this Mac is not validated for fan control"};
    case Refusal::noFans:
      return {Kind::monitoringOnly, "no controllable fan is available"};
    case Refusal::notReady:
      return {Kind::monitoringOnly,
              conditions.testHasPassed ? "the helper is not approved" : "the supervised fan test has not passed"};
    case Refusal::none:
      break;
  }
  if (conditions.competitor) return {Kind::paused, *conditions.competitor};
  if (!confidence || !confidence->mayBegin(with_.platform.clock.steadyNow())) return {Kind::waitingForTemperatures, ""};
  if (retry_.isBlocked || retry_.notBefore) return {Kind::monitoringOnly, "control is tried again shortly"};
  return {Kind::starting, ""};
}

}  // namespace halcyra
