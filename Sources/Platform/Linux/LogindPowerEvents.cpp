#include "Platform/Linux/LogindPowerEvents.h"

#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "fmt/format.h"

#include "Platform/Linux/BusCall.h"
#include "sdbus-c++/sdbus-c++.h"

namespace halcyra {

namespace {

constexpr const char* logindName = "org.freedesktop.login1";
constexpr const char* logindPath = "/org/freedesktop/login1";
constexpr const char* logindInterface = "org.freedesktop.login1.Manager";
/// Between attempts to reach a bus that is not there.
constexpr Seconds retryPeriod{2.0};

}  // namespace

class LogindPowerEvents::State : public std::enable_shared_from_this<State> {
 public:
  State(BusThread& bus, Queue& mainQueue, LogSink& log)
      : bus_(bus), mainQueue_(mainQueue), logger_(log, "com.norwick.Halcyra", "Power") {}

  void setHandlers(std::function<void(std::function<void()>)> willSleep, std::function<void()> didWake) {
    const std::lock_guard lock(mutex_);
    willSleep_ = std::move(willSleep);
    didWake_ = std::move(didWake);
  }

  // Bus thread only, from here on.

  void setObserving(bool observing) {
    observing_ = observing;
    if (observing_ && !proxy_) {
      connect();
    } else if (!observing_) {
      disconnect();
      asleep_ = false;
    }
  }

 private:
  void connect() {
    if (!observing_ || proxy_) {
      return;
    }
    try {
      sdbus::IConnection& connection = bus_.connection();
      bus_.onLoss(weak_from_this(), [this] {
        disconnect();
        retryLater();
      });
      proxy_ = sdbus::createProxy(connection, logindName, logindPath);
      proxy_->registerSignalHandler(logindInterface, "PrepareForSleep",
                                    [this](sdbus::Signal& signal) { prepareForSleep(signal); });
      proxy_->finishRegistration();
      ownerChanges_ = connection.addMatch(
          fmt::format("type='signal',sender='{0}',interface='{0}',member='NameOwnerChanged',arg0='{1}'", busDriverName,
                      logindName),
          [this](sdbus::Message& message) { ownerChanged(message); });
      takeInhibitor();
      findOwner();
    } catch (const sdbus::Error& error) {
      disconnect();
      reportMissing(error.getMessage());
      retryLater();
    }
  }

  void disconnect() {
    inhibitor_ = {};
    ownerChanges_.reset();
    proxy_.reset();
    owner_.clear();
  }

  void retryLater() {
    bus_.postAfter(retryPeriod, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) {
        self->connect();
      }
    });
  }

  void takeInhibitor() {
    sendBusCall(
        bus_, {logindName, logindPath, logindInterface, "Inhibit"},
        [](sdbus::Message& message) {
          message << std::string("sleep") << std::string("Aerovane")
                  << std::string("Fans are handed back to automatic control") << std::string("delay");
        },
        [weak = weak_from_this()](sdbus::MethodReply* reply, const sdbus::Error* error) {
          if (const auto self = weak.lock()) {
            self->inhibitorAnswered(reply, error);
          }
        });
  }

  void inhibitorAnswered(sdbus::MethodReply* reply, const sdbus::Error* error) {
    if (error != nullptr) {
      reportMissing(error->getMessage());
      return;
    }
    sdbus::UnixFd inhibitor;
    *reply >> inhibitor;
    // One that comes too late, when the machine is already on its way to sleep, would only hold it up.
    if (observing_ && !asleep_) {
      inhibitor_ = std::move(inhibitor);
    }
  }

  void findOwner() {
    sendBusCall(
        bus_, {busDriverName, busDriverPath, busDriverName, "GetNameOwner"},
        [](sdbus::Message& message) { message << std::string(logindName); },
        [weak = weak_from_this()](sdbus::MethodReply* reply, const sdbus::Error*) {
          const auto self = weak.lock();
          // One that is not there yet is told of when it comes.
          if (self && self->proxy_ && reply != nullptr) {
            *reply >> self->owner_;
            self->askState(std::nullopt);
          }
        });
  }

  /// Asks logind itself whether the machine is about to sleep: for what may have been announced while nobody listened,
  /// or forgotten by a logind that came anew, and after each notice. `announced` is what the notice said.
  void askState(std::optional<bool> announced) {
    sendBusCall(
        bus_, {logindName, logindPath, "org.freedesktop.DBus.Properties", "Get"},
        [](sdbus::Message& message) { message << std::string(logindInterface) << std::string("PreparingForSleep"); },
        [weak = weak_from_this(), announced](sdbus::MethodReply* reply, const sdbus::Error*) {
          const auto self = weak.lock();
          if (self && reply != nullptr) {
            sdbus::Variant preparing;
            *reply >> preparing;
            self->announce(preparing.get<bool>(), announced);
          } else if (self && announced) {
            // A logind that cannot say more has said this much.
            self->announce(*announced, announced);
          }
        });
  }

  void announce(bool preparing, std::optional<bool> announced) {
    if (!observing_) {
      return;
    }
    if (preparing && !asleep_) {
      announceSleep();
    } else if (!preparing && (asleep_ || announced == false)) {
      announceWake();
    }
  }

  void reportMissing(const std::string& reason) {
    if (!std::exchange(reported_, true)) {
      logger_.log(fmt::format("no notice of sleep and wake: {}", reason));
    }
  }

  void prepareForSleep(sdbus::Signal& signal) noexcept {
    try {
      // Anybody may send a signal of this name to one connection.
      if (owner_.empty() || signal.getSender() != owner_) {
        return;
      }
      bool beforeSleep = false;
      signal >> beforeSleep;
      askState(beforeSleep);
    } catch (const sdbus::Error& error) {
      logger_.error(fmt::format("a notice of sleep could not be read: {}", error.getMessage()));
    }
  }

  void announceSleep() {
    asleep_ = true;
    const auto allow = [weak = weak_from_this(), sleep = ++sleeps_] {
      if (const auto self = weak.lock()) {
        self->bus_.post([weak, sleep] {
          if (const auto state = weak.lock()) state->allowSleep(sleep);
        });
      }
    };
    mainQueue_.async([weak = weak_from_this(), allow] {
      const auto self = weak.lock();
      const auto handler = self ? self->willSleepHandler() : nullptr;
      if (handler) {
        handler(allow);
      } else {
        allow();
      }
    });
  }

  void allowSleep(std::uint64_t sleep) {
    if (asleep_ && sleep == sleeps_) {
      inhibitor_ = {};
    }
  }

  void announceWake() {
    asleep_ = false;
    takeInhibitor();
    mainQueue_.async([weak = weak_from_this()] {
      const auto self = weak.lock();
      if (const auto handler = self ? self->didWakeHandler() : nullptr) {
        handler();
      }
    });
  }

  void ownerChanged(sdbus::Message& message) noexcept {
    try {
      if (message.getSender() != busDriverName) {
        return;
      }
      std::string name;
      std::string before;
      message >> name >> before >> owner_;
      inhibitor_ = {};
      if (!owner_.empty()) {
        takeInhibitor();
        askState(std::nullopt);
      }
    } catch (const sdbus::Error& error) {
      logger_.error(fmt::format("a change of owners could not be read: {}", error.getMessage()));
    }
  }

  std::function<void(std::function<void()>)> willSleepHandler() {
    const std::lock_guard lock(mutex_);
    return willSleep_;
  }
  std::function<void()> didWakeHandler() {
    const std::lock_guard lock(mutex_);
    return didWake_;
  }

  BusThread& bus_;
  Queue& mainQueue_;
  const Logger logger_;

  std::mutex mutex_;
  std::function<void(std::function<void()>)> willSleep_;
  std::function<void()> didWake_;

  bool observing_ = false;
  bool asleep_ = false;
  bool reported_ = false;
  /// Tells a late permission for an earlier sleep from one for the sleep at hand.
  std::uint64_t sleeps_ = 0;
  std::unique_ptr<sdbus::IProxy> proxy_;
  sdbus::Slot ownerChanges_;
  /// logind's unique name; empty while it is not known.
  std::string owner_;
  sdbus::UnixFd inhibitor_;
};

LogindPowerEvents::LogindPowerEvents(BusThread& bus, Queue& mainQueue, LogSink& log)
    : bus_(bus), state_(std::make_shared<State>(bus, mainQueue, log)) {}

LogindPowerEvents::~LogindPowerEvents() {
  LogindPowerEvents::observe(nullptr, nullptr);
}

void LogindPowerEvents::observe(std::function<void(std::function<void()> allowSleep)> willSleep,
                                std::function<void()> didWake) {
  const bool observing = willSleep || didWake;
  state_->setHandlers(std::move(willSleep), std::move(didWake));
  bus_.post([state = state_, observing] { state->setObserving(observing); });
}

}  // namespace halcyra
