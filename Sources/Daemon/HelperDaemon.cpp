#include "Daemon/HelperDaemon.h"

#include <utility>

#include "fmt/format.h"

#include "Daemon/HelperFailure.h"

namespace halcyra {
namespace {

constexpr const char* subsystem = "com.norwick.Halcyra.helper";

IOKitSMCBridge::WriteAuditHandler auditHandler(LogSink& log) {
  return [logger = Logger(log, subsystem, "Audit")](const SMCWriteAuditEvent& event) {
    const std::string text = fmt::format("{} = {}: {}", event.key, event.value, event.detail);
    event.succeeded ? logger.log(text) : logger.error(text);
  };
}

}  // namespace

std::shared_ptr<HelperDaemon> HelperDaemon::make(const HelperPlatform& platform, HelperDaemonOptions options,
                                                 std::function<void(int)> finished) {
  return std::shared_ptr<HelperDaemon>(new HelperDaemon(platform, std::move(options), std::move(finished)));
}

HelperDaemon::HelperDaemon(const HelperPlatform& platform, HelperDaemonOptions options,
                           std::function<void(int)> finished)
    : clock_(platform.clock),
      main_(platform.dispatch.mainQueue()),
      logger_(platform.log, subsystem, "Daemon"),
      options_(std::move(options)),
      finished_(std::move(finished)),
      lock_(options_.lockFile, options_.lockOwnerUID, platform.clock),
      watchdog_(main_),
      retryTimer_(main_),
      idleTimer_(main_),
      farewellTimer_(main_),
      bridge_(platform.iokit, platform.clock, SMCWriteCapability::privilegedHelper, auditHandler(platform.log)) {
  queue_ = std::make_unique<FanWorkQueue>(
      platform.dispatch.makeSerialQueue("com.norwick.Halcyra.helper.smc", QualityOfService::standard));
  executor_ = std::make_unique<FanExecutor>(bridge_, queue_->epoch(), platform.log);
}

HelperDaemon::~HelperDaemon() = default;

void HelperDaemon::serve(FanControlHelperListener& listener) {
  const std::weak_ptr<HelperDaemon> weak = weak_from_this();
  listener.setService(weak);
  listener.setClientGoneHandler([weak](const std::string& connectionName) {
    if (const auto self = weak.lock()) {
      self->clientGone(connectionName);
    }
  });
  listener.setLostHandler([weak] {
    if (const auto self = weak.lock()) {
      self->stop(1, "no client can reach the helper any more");
    }
  });
}

void HelperDaemon::start() {
  handBackUnlessOwned("the helper has started", nullptr);
  settle();
}

void HelperDaemon::stop(int status, const std::string& reason) {
  if (stopStatus_ || hasFinished_) {
    return;
  }
  logger_.log(fmt::format("stopping: {}", reason));
  stopStatus_ = status;
  idleTimer_.cancel();
  if (session_) {
    endCurrentSession(reason, nullptr);
  } else {
    handBackUnlessOwned(reason, nullptr);
  }
  settle();
}

void HelperDaemon::perform(std::uint64_t ticket, std::function<PropertyList()> work, ResultHandler handler) {
  ++workOut_;
  queue_->async([this, weak = weak_from_this(), ticket, work = std::move(work), handler = std::move(handler)] {
    WorkResult result;
    try {
      executor_->begin(ticket);
      result.value = work();
    } catch (const SupersededByHandBack& error) {
      result = {nullptr, HelperXPCError::make(HelperXPCError::Code::internalFailure, error.what()), true};
    } catch (const HelperFailure& failure) {
      result = {nullptr, failure.error(), false};
    } catch (const std::exception& error) {
      result = {nullptr, HelperXPCError::make(HelperXPCError::Code::internalFailure, error.what()), false};
    }
    main_.async([weak, handler, result = std::move(result)] {
      if (const auto self = weak.lock()) {
        --self->workOut_;
        handler(result);
        self->settle();
      }
    });
  });
}

void HelperDaemon::handBack(const std::string& reason, HandBackCompletion completion) {
  logger_.log(fmt::format("handing every fan back to automatic: {}", reason));
  ++handBacksOut_;
  retryTimer_.cancel();
  const bool isLeaving = stopStatus_.has_value();
  queue_->asyncHandBack([this, weak = weak_from_this(), isLeaving, completion = std::move(completion)] {
    if (isLeaving) executor_->beginToLeave();
    main_.async([weak, completion, report = executor_->handBack()] {
      const auto self = weak.lock();
      if (self == nullptr) {
        return;
      }
      --self->handBacksOut_;
      self->startupHandBackDue_ = self->startupHandBackDue_ && report.unreachable.has_value();
      self->note(report);
      if (completion) {
        completion(report);
      }
      self->settle();
    });
  });
}

void HelperDaemon::handBackUnlessOwned(const std::string& reason, HandBackCompletion completion) {
  if (acquireLockUnlessOwned()) {
    handBack(reason, std::move(completion));
  } else if (completion) {
    completion({});
  }
}

bool HelperDaemon::acquireLockUnlessOwned() {
  try {
    lock_.acquire(lockOwnerDescription);
  } catch (const FanControlProcessLockError& error) {
    logger_.error(error.what());
    // Handing back is always safe; only a live owner's fans are not for this process to touch.
    return error.kind() != FanControlProcessLockError::Case::alreadyOwned;
  }
  return true;
}

void HelperDaemon::handBackAgain() {
  if (handBacksOut_ > 0 || againOut_ || !report_.owed || hasFinished_) {
    return;
  }
  if (!session_ && !acquireLockUnlessOwned()) {
    settle();
    return;
  }
  againOut_ = true;
  const auto report = std::make_shared<HandBackReport>();
  perform(
      queue_->epoch().current(),
      [this, report] {
        *report = executor_->handBackAgain();
        return PropertyList();
      },
      [this, report](const WorkResult& result) {
        againOut_ = false;
        if (!result.superseded && !result.error) {
          startupHandBackDue_ = startupHandBackDue_ && report->unreachable.has_value();
          note(*report);
        }
      });
}

void HelperDaemon::note(const HandBackReport& report) {
  report_ = report;
  const std::string text = report.failureText();
  if (text != lastFailureText_) {
    text.empty() ? logger_.log("every fan is automatic again") : logger_.error(text);
    lastFailureText_ = text;
  }
  if (!report.unreachable) {
    unreachableSince_.reset();
  } else if (!unreachableSince_) {
    unreachableSince_ = clock_.steadyNow();
  }
}

void HelperDaemon::settle() {
  if (hasFinished_ || handBacksOut_ > 0 || againOut_) {
    return;
  }
  if (report_.owed && !retryTimer_.isArmed()) {
    retryTimer_.arm(report_.failed() ? retryPeriod : watchPeriod, [this] { handBackAgain(); });
  }
  if (session_) {
    return;
  }
  if (mustStay()) {
    const bool givesUp =
        stopStatus_ && unreachableSince_ && clock_.steadyNow() - *unreachableSince_ >= unreachableLimit;
    if (givesUp) {
      logger_.error("giving up: the SMC cannot be reached");
      finish(1);
    }
    return;
  }
  if (!report_.owed) {
    lock_.release();
  }
  if (stopStatus_) {
    if (!farewellTimer_.isArmed()) {
      farewellTimer_.arm(farewellTime, [this] { farewell(); });
    }
  } else if (!idleTimer_.isArmed()) {
    touch();
  }
}

// A message that came after the hand-back may have asked for another one.
void HelperDaemon::farewell() {
  if (handBacksOut_ > 0 || workOut_ > 0 || mustStay()) {
    settle();
  } else {
    finish(*stopStatus_);
  }
}

void HelperDaemon::touch() {
  if (!stopStatus_ && !hasFinished_) {
    idleTimer_.arm(idleTime, [this] { idle(); });
  }
}

void HelperDaemon::idle() {
  if (session_ || handBacksOut_ > 0 || workOut_ > 0 || mustStay() || isWaiting()) {
    touch();
    return;
  }
  logger_.log("ending: nobody needs the helper");
  finish(0);
}

void HelperDaemon::finish(int status) {
  if (hasFinished_) {
    return;
  }
  hasFinished_ = true;
  retryTimer_.cancel();
  idleTimer_.cancel();
  farewellTimer_.cancel();
  watchdog_.cancel();
  lock_.release();
  finished_(status);
}

}  // namespace halcyra
