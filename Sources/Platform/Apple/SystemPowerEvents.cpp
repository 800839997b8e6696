#include "Platform/Apple/SystemPowerEvents.h"

#include <IOKit/IOKitLib.h>
#include <IOKit/IOMessage.h>
#include <IOKit/pwr_mgt/IOPMLib.h>
#include <atomic>
#include <dispatch/dispatch.h>
#include <mutex>
#include <utility>

namespace halcyra {

/// Shared with the announcements under way. The kernel's port belongs to this, and goes with the last answer.
class SystemPowerEvents::State : public std::enable_shared_from_this<State> {
 public:
  State(Queue& main, LogSink& log)
      : main_(main),
        logger_(log, "com.norwick.Halcyra", "Power"),
        queue_(dispatch_queue_create("com.norwick.Halcyra.power", nullptr)) {}
  ~State() {
    if (rootPort_ != 0) IOServiceClose(rootPort_);
    if (port_ != nullptr) IONotificationPortDestroy(port_);
    dispatch_release(queue_);
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  void start() {
    rootPort_ = IORegisterForSystemPower(this, &port_, receive, &notifier_);
    if (rootPort_ == 0) {
      logger_.error("sleep and wake of the machine cannot be observed");
      return;
    }
    IONotificationPortSetDispatchQueue(port_, queue_);
  }

  /// No announcement comes any more, and none is under way when this returns.
  void stop() {
    if (rootPort_ == 0) return;
    IODeregisterForSystemPower(&notifier_);
    IONotificationPortSetDispatchQueue(port_, nullptr);
    dispatch_sync_f(queue_, nullptr, [](void*) {});
    observe({}, {});
  }

  void observe(std::function<void(std::function<void()>)> willSleep, std::function<void()> didWake) {
    const std::lock_guard lock(mutex_);
    willSleep_ = std::move(willSleep);
    didWake_ = std::move(didWake);
  }

 private:
  /// Lets one announced sleep go on: once, whoever asks first, and at the latest when nobody is left to ask.
  class Permission {
   public:
    Permission(std::shared_ptr<State> state, long notification)
        : state_(std::move(state)), notification_(notification) {}
    ~Permission() { allow(); }
    Permission(const Permission&) = delete;
    Permission& operator=(const Permission&) = delete;

    void allow() {
      if (!isGiven_.exchange(true)) IOAllowPowerChange(state_->rootPort_, notification_);
    }

   private:
    const std::shared_ptr<State> state_;
    const long notification_;
    std::atomic<bool> isGiven_{false};
  };

  static void receive(void* context, io_service_t, natural_t message, void* argument) {
    const auto self = static_cast<State*>(context)->shared_from_this();
    const auto notification = reinterpret_cast<long>(argument);
    switch (message) {
      case kIOMessageCanSystemSleep:
        IOAllowPowerChange(self->rootPort_, notification);
        break;
      case kIOMessageSystemWillSleep:
        self->announceSleep(notification);
        break;
      case kIOMessageSystemHasPoweredOn:
        self->announceWake();
        break;
      default:
        break;
    }
  }

  void announceSleep(long notification) {
    auto permission = std::make_shared<Permission>(shared_from_this(), notification);
    main_.async([self = shared_from_this(), permission = std::move(permission)] {
      const auto willSleep = self->locked(self->willSleep_);
      if (willSleep) {
        willSleep([permission] { permission->allow(); });
      } else {
        permission->allow();
      }
    });
  }

  void announceWake() {
    main_.async([self = shared_from_this()] {
      if (const auto didWake = self->locked(self->didWake_)) didWake();
    });
  }

  template <typename Handler>
  Handler locked(const Handler& handler) {
    const std::lock_guard lock(mutex_);
    return handler;
  }

  Queue& main_;
  const Logger logger_;
  const dispatch_queue_t queue_;
  IONotificationPortRef port_ = nullptr;
  io_object_t notifier_ = 0;
  io_connect_t rootPort_ = 0;
  std::mutex mutex_;
  std::function<void(std::function<void()>)> willSleep_;
  std::function<void()> didWake_;
};

SystemPowerEvents::SystemPowerEvents(Queue& main, LogSink& log) : state_(std::make_shared<State>(main, log)) {
  state_->start();
}

SystemPowerEvents::~SystemPowerEvents() {
  state_->stop();
}

void SystemPowerEvents::observe(std::function<void(std::function<void()> allowSleep)> willSleep,
                                std::function<void()> didWake) {
  state_->observe(std::move(willSleep), std::move(didWake));
}

}  // namespace halcyra
