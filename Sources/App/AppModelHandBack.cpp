#include <algorithm>
#include <utility>

#include "fmt/format.h"

#include "App/AppModel.h"
#include "App/AppModelReplies.h"
#include "SMC/FanCapability.h"
#include "XPC/HelperXPCError.h"

namespace halcyra {

void AppModel::resetToAutomatic(const std::string& reason, bool preservingSelection, bool resumePolling,
                                std::function<void()> completion) {
  logger_.log(fmt::format("smart control disengaged: {}", reason));
  interruptSupervisedTest(reason);
  openControlGeneration();
  if (preservingSelection) {
    keepSelectionForRestore();
  } else {
    activePreset_ = FanPreset::systemDefault();
    presetPendingRestore_.reset();
    selectionStore_.save(FanPreset::systemDefault());
  }
  control_.reset();
  smartAuto_.reset();
  if (!hasHelperSession()) {
    isBusy_ = false;
    if (completion) {
      completion();
    }
    return;
  }
  isBusy_ = true;
  handBack([weak = weak_from_this(), generation = controlGeneration_, preservingSelection, resumePolling,
            completion = std::move(completion)](const HandBack& result) {
    if (const auto self = weak.lock()) {
      self->finishReset(generation, preservingSelection, resumePolling, result);
    }
    if (completion) {
      completion();
    }
  });
}

void AppModel::handBack(std::function<void(const HandBack&)> finished) {
  const auto sessionID = helper_->sessionID();
  // Holds the client, not the model: fans are handed back even when the model goes away meanwhile.
  helper_->resetAll([helper = helper_, sessionID, &queue = platform_.dispatch.mainQueue(),
                     finished = std::move(finished)](const PropertyList&, const std::optional<Error>& resetError) {
    const auto end = [&queue, finished, resetError](std::optional<Error> endError) {
      queue.async([finished, result = HandBack{resetError, std::move(endError)}] { finished(result); });
    };
    if (sessionID) {
      helper->endSession(*sessionID, end);
    } else {
      end(std::nullopt);
    }
  });
}

void AppModel::finishReset(std::uint64_t generation, bool preservingSelection, bool resumePolling,
                           const HandBack& result) {
  // Under a newer generation the busy flag, and what is shown, belong to whatever opened it.
  const bool current = generation == controlGeneration_;
  if (current) {
    isBusy_ = false;
    handBackIsOwed_ = handBackIsOwed_ && (result.resetError || result.endError);
  }
  const std::optional<Error>& error = result.resetError ? result.resetError : result.endError;
  if (error && !HelperXPCError::isInvalidSession(*error)) {
    showError(*error);
  } else if (!error && current && !preservingSelection) {
    lastError_ = std::nullopt;
  }
  if (resumePolling) {
    poll();
  }
}

void AppModel::failSafe(const Error& error) {
  if (HelperXPCError::isInvalidSession(error) && hasHelperSession()) {
    handleSessionLoss(error);
    return;
  }
  applyCompetingController(CompetingFanControllerDetector::runningController(platform_.system));
  std::string message = error.localizedDescription();
  const bool isConflict = error.domain == HelperXPCError::domain &&
                          error.code == static_cast<std::int64_t>(HelperXPCError::Code::controlUnavailable);
  if (isConflict && competingController_->has_value()) {
    message = activeConflictMessage_.value_or(message);
    nextRestoreAttempt_ = restoreBlocked;
  } else {
    postponeRestore(restoreRetryDelay);
  }
  lastError_ = message;
  resetToAutomatic(message, true, true, {});
}

void AppModel::handleSessionLoss(const Error& error) {
  if (!hasHelperSession()) {
    return;
  }
  logger_.log(fmt::format("control session lost ({}); re-establishing automatically", error.localizedDescription()));
  openControlGeneration();
  control_.lastTargets.clear();
  control_.controllableFanIndices.clear();
  smartAuto_.reset();
  if (activePreset_->kind != PresetKind::system) {
    keepSelectionForRestore();
    nextRestoreAttempt_ = restoreAtOnce;
  }
  if (supervisedTestRunning_) {
    finishFailedTest(error);
    return;
  }
  isBusy_ = false;
  helper_->endSession([](const std::optional<Error>&) {});
}

std::string AppModel::conflictMessage(const std::string& name) const {
  return fmt::format(
      "{0}'s privileged SMC helper is still running. Open {0} and use its uninstall/remove-helper option, or unload "
      "that service with administrator approval. Aerovane is keeping both fans on Apple Default and will automatically "
      "reapply {1} when the helper is gone.",
      name, activePreset_->name);
}

void AppModel::keepSelectionForRestore() {
  if (activePreset_->kind != PresetKind::system) {
    presetPendingRestore_ = *activePreset_;
  }
}

void AppModel::askForManualMode(int fan, const HelperClient::DictionaryCompletion& completion) {
  handBackIsOwed_ = true;
  helper_->setMode(fan, true, completion);
}

// A helper that could not hand back tries again by itself; but where it has died over it, and no preset asks for a new
// session, nobody would start another one. A session that ends at once does, and its end is a hand-back.
void AppModel::seeToOwedHandBack(bool fansWereRead) {
  const Instant now = platform_.clock.steadyNow();
  if (!handBackIsOwed_ || hasHelperSession() || *isBusy_ || powerLifecycle_.isSleeping() || isTerminating_) {
    nextOwedHandBack_ = now + restoreRetryDelay;
    return;
  }
  const bool isBack =
      fansWereRead && !fans_->empty() &&
      std::all_of(fans_->begin(), fans_->end(), [](const FanInfo& fan) { return fan.mode == FanMode::automatic; });
  if (isBack) {
    handBackIsOwed_ = false;
    return;
  }
  if (now < nextOwedHandBack_) {
    return;
  }
  logger_.log("handing the fans back once more: the last hand-back was not confirmed");
  nextOwedHandBack_ = now + restoreRetryDelay;
  isBusy_ = true;
  helper_->beginSession(
      onSessionStart(controlGeneration_, [](AppModel& self, const PropertyList&, const std::optional<Error>& error) {
        if (error) {
          self.isBusy_ = false;
          return;
        }
        self.helper_->endSession(
            self.onMainWithin(self.controlGeneration_, [](AppModel& model, const std::optional<Error>& endError) {
              model.isBusy_ = false;
              model.handBackIsOwed_ = endError.has_value();
            }));
      }));
}

void AppModel::openControlGeneration() {
  ++controlGeneration_;
  targetWriteCoalescer_.reset();
}

}  // namespace halcyra
